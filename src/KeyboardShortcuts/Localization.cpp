#include "KeyboardShortcuts/Localization.h"

#include <QCoreApplication>

#include <cstring>

namespace KeyboardShortcuts {
namespace {

struct Text {
    const char* key;
    const char* english;
};

// The English texts are the translation sources; translators work on them in the
// "KeyboardShortcuts" context.
constexpr Text texts[] = {
    {"record_shortcut", QT_TRANSLATE_NOOP("KeyboardShortcuts", "Record Shortcut")},
    {"press_shortcut", QT_TRANSLATE_NOOP("KeyboardShortcuts", "Press Keys…")},
    {"space_key", QT_TRANSLATE_NOOP("KeyboardShortcuts", "Space")},
    {"keyboard_shortcut_used_by_menu_item",
        QT_TRANSLATE_NOOP("KeyboardShortcuts", "The menu item “%1” already uses this shortcut.")},
    {"keyboard_shortcut_disallowed",
        QT_TRANSLATE_NOOP("KeyboardShortcuts", "This shortcut is not allowed.")},
    {"keyboard_shortcut_used_by_system",
        QT_TRANSLATE_NOOP("KeyboardShortcuts", "The system already uses this shortcut.")},
    {"keyboard_shortcuts_can_be_changed",
        QT_TRANSLATE_NOOP("KeyboardShortcuts",
            "System shortcuts can be changed in your desktop’s keyboard settings.")},
    {"ok", QT_TRANSLATE_NOOP("KeyboardShortcuts", "OK")},
    {"force_use_shortcut", QT_TRANSLATE_NOOP("KeyboardShortcuts", "Use Anyway")},
};

} // namespace

QString localized(const char* key)
{
    for (const Text& text : texts) {
        if (std::strcmp(text.key, key) == 0)
            return QCoreApplication::translate("KeyboardShortcuts", text.english);
    }
    return QString::fromUtf8(key);
}

} // namespace KeyboardShortcuts
