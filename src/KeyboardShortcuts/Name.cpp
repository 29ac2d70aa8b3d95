#include "KeyboardShortcuts/Name.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "KeyboardShortcuts/Preferences.h"

namespace KeyboardShortcuts {

Name::Name(const QString& rawValue, std::optional<Shortcut> defaultShortcut)
    : m_rawValue(rawValue),
      m_defaultShortcut(defaultShortcut),
      m_preferencesKey(QString(preferencesKeyPrefix) + rawValue)
{
    if (m_defaultShortcut && !Preferences::standard().contains(m_preferencesKey))
        KeyboardShortcuts::setShortcut(m_defaultShortcut, *this);
    initialize();
}

std::optional<Shortcut> Name::shortcut() const
{
    return getShortcut(*this);
}

void Name::setShortcut(const std::optional<Shortcut>& shortcut) const
{
    KeyboardShortcuts::setShortcut(shortcut, *this);
}

} // namespace KeyboardShortcuts
