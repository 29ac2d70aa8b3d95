#include "KeyboardShortcuts/X11KeyboardMap.h"

#include "KeyboardShortcuts/ModifierFlags.h"

#include <QHash>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace KeyboardShortcuts {
namespace {

struct FreeDeleter {
    void operator()(void* pointer) const { std::free(pointer); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

constexpr xcb_keysym_t altL = 0xffe9;
constexpr xcb_keysym_t altR = 0xffea;
constexpr xcb_keysym_t superL = 0xffeb;
constexpr xcb_keysym_t superR = 0xffec;
constexpr xcb_keysym_t numLock = 0xff7f;
constexpr xcb_keysym_t scrollLock = 0xff14;

// Keysyms by keycode.
QHash<int, QList<xcb_keysym_t>> readKeysyms(xcb_connection_t* c)
{
    QHash<int, QList<xcb_keysym_t>> result;
    const xcb_setup_t* setup = xcb_get_setup(c);
    const int first = setup->min_keycode;
    const int count = setup->max_keycode - setup->min_keycode + 1;
    Reply<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(c,
        xcb_get_keyboard_mapping(c, setup->min_keycode, static_cast<std::uint8_t>(count)),
        nullptr));
    if (!reply || reply->keysyms_per_keycode == 0)
        return result;
    const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(reply.get());
    const int perKeycode = reply->keysyms_per_keycode;
    const int length = xcb_get_keyboard_mapping_keysyms_length(reply.get());
    for (int index = 0; index + perKeycode <= length; index += perKeycode) {
        QList<xcb_keysym_t> symbols;
        for (int level = 0; level < perKeycode; ++level) {
            if (keysyms[index + level] != 0)
                symbols.append(keysyms[index + level]);
        }
        if (!symbols.isEmpty())
            result.insert(first + index / perKeycode, symbols);
    }
    return result;
}

} // namespace

X11KeyboardMap X11KeyboardMap::read(xcb_connection_t* c)
{
    X11KeyboardMap map;
    const auto keysyms = readKeysyms(c);
    for (auto it = keysyms.cbegin(); it != keysyms.cend(); ++it)
        map.m_keycodes.insert(it.key());

    Reply<xcb_get_modifier_mapping_reply_t> modifiers(
        xcb_get_modifier_mapping_reply(c, xcb_get_modifier_mapping(c), nullptr));
    if (!modifiers)
        return map;
    const xcb_keycode_t* keycodes = xcb_get_modifier_mapping_keycodes(modifiers.get());
    const int perModifier = modifiers->keycodes_per_modifier;
    // Rows 3..7 are Mod1..Mod5.
    for (int row = 3; row < 8; ++row) {
        const auto mask = static_cast<quint16>(1u << row);
        for (int i = 0; i < perModifier; ++i) {
            for (const xcb_keysym_t symbol : keysyms.value(keycodes[row * perModifier + i])) {
                if ((symbol == altL || symbol == altR) && !map.m_altMask)
                    map.m_altMask = mask;
                else if ((symbol == superL || symbol == superR) && !map.m_superMask)
                    map.m_superMask = mask;
                else if (symbol == numLock && !map.m_numLockMask)
                    map.m_numLockMask = mask;
                else if (symbol == scrollLock && !map.m_scrollLockMask)
                    map.m_scrollLockMask = mask;
            }
        }
    }
    return map;
}

std::optional<quint16> X11KeyboardMap::grabModifiers(int carbon) const
{
    quint16 result = 0;
    if (carbon & CarbonModifier::shiftKey)
        result |= shiftMask;
    if (carbon & CarbonModifier::controlKey)
        result |= controlMask;
    if (carbon & CarbonModifier::optionKey) {
        if (!m_altMask)
            return std::nullopt;
        result |= m_altMask;
    }
    if (carbon & CarbonModifier::cmdKey) {
        if (!m_superMask)
            return std::nullopt;
        result |= m_superMask;
    }
    return result;
}

int X11KeyboardMap::carbonModifiers(quint16 state) const
{
    int result = 0;
    if (state & shiftMask)
        result |= CarbonModifier::shiftKey;
    if (state & lockMask)
        result |= CarbonModifier::alphaLock;
    if (state & controlMask)
        result |= CarbonModifier::controlKey;
    if (m_altMask && (state & m_altMask))
        result |= CarbonModifier::optionKey;
    if (m_superMask && (state & m_superMask))
        result |= CarbonModifier::cmdKey;
    if (m_numLockMask && (state & m_numLockMask))
        result |= CarbonModifier::numLock;
    return result;
}

QList<quint16> X11KeyboardMap::lockVariants() const
{
    QList<quint16> variants{0};
    for (const quint16 lock : {lockMask, m_numLockMask, m_scrollLockMask}) {
        if (!lock)
            continue;
        const qsizetype count = variants.size();
        for (qsizetype i = 0; i < count; ++i)
            variants.append(variants[i] | lock);
    }
    return variants;
}

quint16 X11KeyboardMap::withoutLocks(quint16 state) const
{
    return state & 0xff & ~(lockMask | m_numLockMask | m_scrollLockMask);
}

} // namespace KeyboardShortcuts
