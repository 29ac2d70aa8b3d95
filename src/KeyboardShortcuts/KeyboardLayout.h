#pragma once

#include <QString>

#include <memory>
#include <optional>

namespace KeyboardShortcuts {

// The keyboard layouts that give keys their characters: the X server's keymap, followed as it
// changes, or, without an X display, the keymap of the system's default layout names.
class KeyboardLayout {
public:
    static KeyboardLayout& current();
    ~KeyboardLayout();
    KeyboardLayout(const KeyboardLayout&) = delete;
    KeyboardLayout& operator=(const KeyboardLayout&) = delete;

    // The character the key gives without modifiers in the first layout of the keymap that
    // gives it a Latin character (or in the first layout when none does); none when the key
    // gives no character.
    std::optional<QString> baseCharacter(int carbonKeyCode);

    // Uses a keymap built from layout names (for example "de", or "ru,us") until
    // useSystemKeymap(); false when the names do not make a keymap.
    bool useKeymapFromNames(const QString& layouts, const QString& variants = {});
    void useSystemKeymap();

private:
    KeyboardLayout();
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KeyboardShortcuts
