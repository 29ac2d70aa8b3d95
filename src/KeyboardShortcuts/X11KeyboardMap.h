#pragma once

#include <QList>
#include <QSet>

#include <optional>

struct xcb_connection_t;

namespace KeyboardShortcuts {

// What the X server's keyboard mapping says about the keys a hot key needs: which keycodes
// carry symbols, and which of Mod1..Mod5 hold Alt, Super, Num Lock and Scroll Lock.
class X11KeyboardMap {
public:
    static constexpr quint16 shiftMask = 0x01;
    static constexpr quint16 lockMask = 0x02;
    static constexpr quint16 controlMask = 0x04;

    // Reads the mapping with two requests; empty when they fail.
    static X11KeyboardMap read(xcb_connection_t* connection);

    quint16 altMask() const { return m_altMask; }
    quint16 superMask() const { return m_superMask; }
    quint16 numLockMask() const { return m_numLockMask; }
    quint16 scrollLockMask() const { return m_scrollLockMask; }

    bool hasKeycode(int keycode) const { return m_keycodes.contains(keycode); }
    // The X modifiers of hot-key modifiers; none when one of them is not on the keyboard.
    // The function bit has no X modifier and is left out.
    std::optional<quint16> grabModifiers(int carbonModifiers) const;
    // The hot-key modifiers of an X event state, locks included.
    int carbonModifiers(quint16 state) const;
    // Every combination of the lock modifiers, starting with none.
    QList<quint16> lockVariants() const;
    // The state without locks, pointer buttons and unused bits.
    quint16 withoutLocks(quint16 state) const;

    friend bool operator==(const X11KeyboardMap&, const X11KeyboardMap&) = default;

private:
    quint16 m_altMask = 0;
    quint16 m_superMask = 0;
    quint16 m_numLockMask = 0;
    quint16 m_scrollLockMask = 0;
    QSet<int> m_keycodes;
};

} // namespace KeyboardShortcuts
