#include "KeyboardShortcuts/Shortcut.h"

#include "KeyboardShortcuts/KeyCodeTable.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>
#include <QKeyEvent>

#include <cmath>
#include <limits>

namespace KeyboardShortcuts {
namespace {

const QLatin1String keyCodeMember("carbonKeyCode");
const QLatin1String modifiersMember("carbonModifiers");

// Reads the stored form quickly, because every key press decodes every stored shortcut.
// Gives up (without an answer) on anything beyond an object of integer members, which the
// general JSON reader then decides.
class CompactReader {
public:
    explicit CompactReader(QStringView text) : m_text(text) { }

    std::optional<std::optional<Shortcut>> read()
    {
        std::optional<qint64> keyCode;
        std::optional<qint64> modifiers;
        if (!consume(u'{'))
            return std::nullopt;
        do {
            const QStringView name = readName();
            if (name.isEmpty() || !consume(u':'))
                return std::nullopt;
            const auto value = readInteger();
            if (!value)
                return std::nullopt;
            if (name == keyCodeMember)
                keyCode = value;
            else if (name == modifiersMember)
                modifiers = value;
        } while (consume(u','));
        if (!consume(u'}') || !atEnd())
            return std::nullopt;
        if (!keyCode || !modifiers || !fitsInt(*keyCode) || !fitsInt(*modifiers))
            return std::optional<Shortcut>();
        return Shortcut(static_cast<int>(*keyCode), static_cast<int>(*modifiers));
    }

private:
    static bool fitsInt(qint64 value)
    {
        return value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
    }

    void skipSpace()
    {
        while (m_at < m_text.size()
            && (m_text[m_at] == u' ' || m_text[m_at] == u'\n' || m_text[m_at] == u'\r'
                || m_text[m_at] == u'\t'))
            ++m_at;
    }

    bool consume(QChar c)
    {
        skipSpace();
        if (m_at < m_text.size() && m_text[m_at] == c) {
            ++m_at;
            return true;
        }
        return false;
    }

    bool atEnd()
    {
        skipSpace();
        return m_at == m_text.size();
    }

    QStringView readName()
    {
        if (!consume(u'"'))
            return {};
        const qsizetype start = m_at;
        while (m_at < m_text.size() && m_text[m_at] != u'"') {
            if (m_text[m_at] == u'\\')
                return {};
            ++m_at;
        }
        if (m_at == m_text.size())
            return {};
        return m_text.sliced(start, m_at++ - start);
    }

    std::optional<qint64> readInteger()
    {
        skipSpace();
        const bool negative = m_at < m_text.size() && m_text[m_at] == u'-';
        if (negative)
            ++m_at;
        const qsizetype start = m_at;
        qint64 value = 0;
        while (m_at < m_text.size() && m_text[m_at].isDigit() && m_text[m_at].unicode() < 0x80) {
            if (m_at - start > 15)
                return std::nullopt;
            value = value * 10 + (m_text[m_at].unicode() - u'0');
            ++m_at;
        }
        const qsizetype length = m_at - start;
        if (length == 0 || (length > 1 && m_text[start] == u'0'))
            return std::nullopt;
        return negative ? -value : value;
    }

    QStringView m_text;
    qsizetype m_at = 0;
};

std::optional<int> integerMember(const QJsonObject& object, QLatin1String name)
{
    const QJsonValue value = object.value(name);
    if (!value.isDouble())
        return std::nullopt;
    const double number = value.toDouble();
    if (number != std::trunc(number) || number < std::numeric_limits<int>::min()
        || number > std::numeric_limits<int>::max())
        return std::nullopt;
    return static_cast<int>(number);
}

std::optional<Shortcut> readGeneralJson(QStringView json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    const auto keyCode = integerMember(object, keyCodeMember);
    const auto modifiers = integerMember(object, modifiersMember);
    if (!keyCode || !modifiers)
        return std::nullopt;
    return Shortcut(*keyCode, *modifiers);
}

} // namespace

Shortcut::Shortcut(Key key, ModifierFlags modifiers)
    : carbonKeyCode(key.rawValue), carbonModifiers(KeyboardShortcuts::carbonModifiers(modifiers))
{
}

std::optional<Shortcut> Shortcut::fromEvent(int eventType, int keyCode, ModifierFlags flags)
{
    if (eventType != keyDownEventType && eventType != keyUpEventType)
        return std::nullopt;
    flags &= ~ModifierFlags(ModifierFlag::function);
    return Shortcut(keyCode, KeyboardShortcuts::carbonModifiers(flags));
}

std::optional<Shortcut> Shortcut::fromEvent(const QKeyEvent& event)
{
    int type = 0;
    if (event.type() == QEvent::KeyPress)
        type = keyDownEventType;
    else if (event.type() == QEvent::KeyRelease)
        type = keyUpEventType;
    const auto keyCode
        = KeyCodeTable::carbonKeyCodeOfXKeycode(static_cast<int>(event.nativeScanCode()));
    if (!keyCode)
        return std::nullopt;
    return fromEvent(type, *keyCode, fromQtModifiers(event.modifiers()));
}

QByteArray Shortcut::toJson() const
{
    return QByteArrayLiteral("{\"carbonKeyCode\":") + QByteArray::number(carbonKeyCode)
        + QByteArrayLiteral(",\"carbonModifiers\":") + QByteArray::number(carbonModifiers) + '}';
}

std::optional<Shortcut> Shortcut::fromJson(QStringView json)
{
    if (const auto compact = CompactReader(json).read())
        return *compact;
    return readGeneralJson(json);
}

size_t qHash(const Shortcut& shortcut, size_t seed)
{
    return qHashMulti(seed, shortcut.carbonKeyCode, shortcut.carbonModifiers);
}

QDebug operator<<(QDebug debug, const Shortcut& shortcut)
{
    QDebugStateSaver saver(debug);
    debug.nospace() << "Shortcut(" << shortcut.carbonKeyCode << ", " << Qt::hex << Qt::showbase
                    << shortcut.carbonModifiers << ')';
    return debug;
}

} // namespace KeyboardShortcuts
