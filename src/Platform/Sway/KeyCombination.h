#pragma once

#include <QSet>
#include <QString>
#include <QtGlobal>

#include <optional>

// Key combinations in sway's terms: modifier names and an X key code (the evdev code + 8),
// which names the key's place on the keyboard whatever the layout.
namespace Platform::Sway {

struct KeyCombination {
    quint32 modifierMask = 0; // xkb's real modifier bits: Shift 1, Control 4, Mod1 8, Mod4 64
    quint32 keyCode = 0;

    // "Shift+Mod1+10", as sway's bindcode takes it.
    QString toBindcode() const;
    friend bool operator==(const KeyCombination&, const KeyCombination&) = default;
};

inline constexpr quint32 shiftMask = 1u << 0;
inline constexpr quint32 lockMask = 1u << 1;
inline constexpr quint32 controlMask = 1u << 2;
inline constexpr quint32 mod1Mask = 1u << 3; // Alt
inline constexpr quint32 mod2Mask = 1u << 4; // Num Lock
inline constexpr quint32 mod4Mask = 1u << 6; // Super

// The combinations that the bindings of a sway configuration (its text, as sway's
// get_config gives it) take for themselves in the default mode. Key symbols are looked up
// in the keyboard layout xkbcommon takes by default.
QList<KeyCombination> configuredCombinations(const QString& config);

} // namespace Platform::Sway
