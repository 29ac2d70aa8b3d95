#include "Platform/Sway/KeyCombination.h"

#include <QHash>
#include <QRegularExpression>

#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <memory>

namespace Platform::Sway {
namespace {

struct ContextDeleter {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
};
struct KeymapDeleter {
    void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
};
using Keymap = std::unique_ptr<xkb_keymap, KeymapDeleter>;

Keymap defaultKeymap()
{
    const std::unique_ptr<xkb_context, ContextDeleter> context(
        xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (!context)
        return {};
    return Keymap(xkb_keymap_new_from_names(context.get(), nullptr, XKB_KEYMAP_COMPILE_NO_FLAGS));
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
    const Keymap keymap = defaultKeymap();
    const QRegularExpression blanks(QStringLiteral("\\s+"));
    QHash<QString, QString> variables;
    QList<KeyCombination> result;
    int otherModeDepth = 0; // inside `mode "resize" { ... }`
    enum class Block { none, bySymbol, byCode } bindingBlock = Block::none; // `bindsym { ... }`
    for (QString line : config.split(QLatin1Char('\n'))) {
        line = line.trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const QStringList words = line.split(blanks);
        if (line == QLatin1String("}")) {
            if (bindingBlock != Block::none)
                bindingBlock = Block::none;
            else if (otherModeDepth > 0)
                --otherModeDepth;
            continue;
        }
        if (otherModeDepth > 0) {
            if (line.endsWith(QLatin1Char('{')))
                ++otherModeDepth;
            continue;
        }
        if (bindingBlock != Block::none) {
            result += combinationsOf(
                words.first(), bindingBlock == Block::byCode, variables, keymap.get());
            continue;
        }
        const QString& first = words.first();
        if (first == QLatin1String("set") && words.size() >= 3) {
            variables.insert(words[1], words.mid(2).join(QLatin1Char(' ')));
        } else if (first == QLatin1String("mode") && line.endsWith(QLatin1Char('{'))) {
            ++otherModeDepth;
        } else if (first == QLatin1String("bindsym") || first == QLatin1String("bindcode")) {
            const bool byCode = first == QLatin1String("bindcode");
            if (words.last() == QLatin1String("{")) {
                bindingBlock = byCode ? Block::byCode : Block::bySymbol;
            } else if (const auto word = combinationWord(words, 1)) {
                result += combinationsOf(*word, byCode, variables, keymap.get());
            }
        }
    }
    return result;
}

} // namespace Platform::Sway
