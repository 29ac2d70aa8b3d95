#include "Platform/Sway/KeyCombination.h"

#include <QHash>
#include <QRegularExpression>

#include "KeyboardShortcuts/XkbHandles.h"

#include <algorithm>
#include <memory>

namespace Platform::Sway {
namespace {

using KeyboardShortcuts::Xkb::Keymap;

// The layout xkbcommon takes by default does not change while Vantor runs: compiled once.
xkb_keymap* defaultKeymap()
{
    static const Keymap keymap = [] {
        const KeyboardShortcuts::Xkb::Context context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
        return context
            ? Keymap(xkb_keymap_new_from_names(context.get(), nullptr, XKB_KEYMAP_COMPILE_NO_FLAGS))
            : Keymap();
    }();
    return keymap.get();
}

// Every key that gives the symbol on its first level, in the first layout.
QList<quint32> keyCodesOfSymbol(xkb_keymap* keymap, const QString& name)
{
    const xkb_keysym_t wanted
        = xkb_keysym_from_name(name.toUtf8().constData(), XKB_KEYSYM_CASE_INSENSITIVE);
    QList<quint32> codes;
    if (!keymap || wanted == XKB_KEY_NoSymbol)
        return codes;
    for (xkb_keycode_t code = xkb_keymap_min_keycode(keymap);
         code <= xkb_keymap_max_keycode(keymap); ++code) {
        const xkb_keysym_t* symbols = nullptr;
        const int count = xkb_keymap_key_get_syms_by_level(keymap, code, 0, 0, &symbols);
        if (count == 1 && xkb_keysym_to_lower(symbols[0]) == xkb_keysym_to_lower(wanted))
            codes.append(code);
    }
    return codes;
}

std::optional<quint32> modifierMask(const QString& name)
{
    static const QHash<QString, quint32> masks{{QStringLiteral("shift"), shiftMask},
        {QStringLiteral("lock"), lockMask}, {QStringLiteral("caps"), lockMask},
        {QStringLiteral("ctrl"), controlMask}, {QStringLiteral("control"), controlMask},
        {QStringLiteral("mod1"), mod1Mask}, {QStringLiteral("alt"), mod1Mask},
        {QStringLiteral("mod2"), mod2Mask}, {QStringLiteral("mod3"), 1u << 5},
        {QStringLiteral("mod4"), mod4Mask}, {QStringLiteral("super"), mod4Mask},
        {QStringLiteral("mod5"), 1u << 7}};
    const auto found = masks.constFind(name.toLower());
    return found == masks.constEnd() ? std::nullopt : std::optional(*found);
}

// One binding's combination, "$mod+Shift+q" with the variables set so far.
QList<KeyCombination> combinationsOf(const QString& combination, bool byCode,
    const QHash<QString, QString>& variables, xkb_keymap* keymap)
{
    // Longest names first, so that $mod does not eat the start of $mod2.
    QStringList names = variables.keys();
    std::sort(names.begin(), names.end(),
        [](const QString& a, const QString& b) { return a.size() > b.size(); });
    QString expanded = combination;
    for (const QString& name : std::as_const(names))
        expanded.replace(name, variables.value(name));
    QStringList parts = expanded.split(QLatin1Char('+'));
    const QString key = parts.takeLast();
    quint32 mask = 0;
    for (const QString& part : std::as_const(parts)) {
        const auto bit = modifierMask(part);
        if (!bit)
            return {};
        mask |= *bit;
    }
    QList<quint32> codes;
    if (byCode) {
        bool ok = false;
        const quint32 code = key.toUInt(&ok);
        if (ok)
            codes.append(code);
    } else {
        codes = keyCodesOfSymbol(keymap, key);
    }
    QList<KeyCombination> result;
    for (quint32 code : std::as_const(codes))
        result.append({mask, code});
    return result;
}

// The words of a line up to its command: flags ("--release") are not the combination.
std::optional<QString> combinationWord(const QStringList& words, int from)
{
    for (int i = from; i < words.size(); ++i) {
        if (!words[i].startsWith(QLatin1String("--")))
            return words[i];
    }
    return std::nullopt;
}

// Reads a configuration line by line, with what later lines depend on: the variables set so
// far, and whether a line stands in another mode or in a block of bindings.
class ConfigReader {
public:
    void read(const QString& line);
    QList<KeyCombination> combinations() const { return m_combinations; }

private:
    enum class Block { none, bySymbol, byCode };

    void closeBlock();
    void readStatement(const QString& line, const QStringList& words);
    void add(const QString& combination, bool byCode)
    {
        m_combinations += combinationsOf(combination, byCode, m_variables, defaultKeymap());
    }

    QHash<QString, QString> m_variables;
    QList<KeyCombination> m_combinations;
    int m_otherModeDepth = 0; // inside `mode "resize" { ... }`
    Block m_block = Block::none; // inside `bindsym { ... }`
};

void ConfigReader::read(const QString& line)
{
    if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
        return;
    static const QRegularExpression blanks(QStringLiteral("\\s+"));
    const QStringList words = line.split(blanks);
    if (line == QLatin1String("}"))
        closeBlock();
    else if (m_otherModeDepth > 0)
        m_otherModeDepth += line.endsWith(QLatin1Char('{')) ? 1 : 0;
    else if (m_block != Block::none)
        add(words.first(), m_block == Block::byCode);
    else
        readStatement(line, words);
}

void ConfigReader::closeBlock()
{
    if (m_block != Block::none)
        m_block = Block::none;
    else if (m_otherModeDepth > 0)
        --m_otherModeDepth;
}

void ConfigReader::readStatement(const QString& line, const QStringList& words)
{
    const QString& first = words.first();
    if (first == QLatin1String("set") && words.size() >= 3) {
        m_variables.insert(words[1], words.mid(2).join(QLatin1Char(' ')));
    } else if (first == QLatin1String("mode") && line.endsWith(QLatin1Char('{'))) {
        ++m_otherModeDepth;
    } else if (first == QLatin1String("bindsym") || first == QLatin1String("bindcode")) {
        const bool byCode = first == QLatin1String("bindcode");
        if (words.last() == QLatin1String("{"))
            m_block = byCode ? Block::byCode : Block::bySymbol;
        else if (const auto word = combinationWord(words, 1))
            add(*word, byCode);
    }
}

} // namespace

QString KeyCombination::toBindcode() const
{
    QStringList parts;
    if (modifierMask & shiftMask)
        parts.append(QStringLiteral("Shift"));
    if (modifierMask & controlMask)
        parts.append(QStringLiteral("Ctrl"));
    if (modifierMask & mod1Mask)
        parts.append(QStringLiteral("Mod1"));
    if (modifierMask & mod4Mask)
        parts.append(QStringLiteral("Mod4"));
    parts.append(QString::number(keyCode));
    return parts.join(QLatin1Char('+'));
}

QList<KeyCombination> configuredCombinations(const QString& config)
{
    ConfigReader reader;
    for (const QString& line : config.split(QLatin1Char('\n')))
        reader.read(line.trimmed());
    return reader.combinations();
}

} // namespace Platform::Sway
