#pragma once

#include "KeyboardShortcuts/Shortcut.h"

#include <QMetaType>
#include <QString>

#include <optional>

namespace KeyboardShortcuts {

// The name under which the application keeps one global shortcut, with an optional default.
// Names are equal when their texts are, whatever their defaults.
class Name {
public:
    // An empty name, for containers and variants; it stores nothing.
    Name() = default;
    // Stores the default when the preferences hold nothing at all under the name, which also
    // registers it, and sets up the shortcut library once.
    explicit Name(const QString& rawValue, std::optional<Shortcut> defaultShortcut = std::nullopt);

    const QString& rawValue() const { return m_rawValue; }
    const std::optional<Shortcut>& defaultShortcut() const { return m_defaultShortcut; }
    // "KeyboardShortcuts_" + the raw value: the name's entry in the preferences.
    const QString& preferencesKey() const { return m_preferencesKey; }

    std::optional<Shortcut> shortcut() const;
    void setShortcut(const std::optional<Shortcut>& shortcut) const;

    friend bool operator==(const Name& a, const Name& b) { return a.m_rawValue == b.m_rawValue; }

private:
    QString m_rawValue;
    std::optional<Shortcut> m_defaultShortcut;
    QString m_preferencesKey;
};

inline constexpr QLatin1String preferencesKeyPrefix("KeyboardShortcuts_");

inline size_t qHash(const Name& name, size_t seed = 0)
{
    return ::qHash(name.rawValue(), seed);
}

} // namespace KeyboardShortcuts

Q_DECLARE_METATYPE(KeyboardShortcuts::Name)
