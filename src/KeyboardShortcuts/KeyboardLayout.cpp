#include "KeyboardShortcuts/KeyboardLayout.h"

#include "KeyboardShortcuts/KeyCodeTable.h"
#include "KeyboardShortcuts/Logging.h"
#include "KeyboardShortcuts/XConnection.h"
#include "KeyboardShortcuts/XkbHandles.h"

#include <QObject>

#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

namespace KeyboardShortcuts {
namespace {

using Xkb::Context;
using Xkb::Keymap;

bool isLatin(xkb_keysym_t keysym)
{
    // Latin-1 keysyms are their own code points.
    return keysym >= 0x20 && keysym <= 0xff;
}

xkb_keysym_t baseKeysym(xkb_keymap* keymap, xkb_keycode_t keycode, xkb_layout_index_t layout)
{
    const xkb_keysym_t* symbols = nullptr;
    if (xkb_keymap_key_get_syms_by_level(keymap, keycode, layout, 0, &symbols) != 1)
        return XKB_KEY_NoSymbol;
    return symbols[0];
}

} // namespace

struct KeyboardLayout::Private {
    Context context{xkb_context_new(XKB_CONTEXT_NO_FLAGS)};
    Keymap keymap;
    bool fromNames = false;
    bool fromServer = false;
    bool followsServer = false;

    Keymap systemKeymap()
    {
        XConnection* connection = XConnection::shared();
        if (connection) {
            const std::int32_t device = xkb_x11_get_core_keyboard_device_id(connection->get());
            if (device >= 0) {
                if (!followsServer) {
                    followsServer = true;
                    QObject::connect(connection, &XConnection::keyboardChanged, connection, [this] {
                        if (!fromNames)
                            keymap.reset();
                    });
                }
                fromServer = true;
                return Keymap(xkb_x11_keymap_new_from_device(
                    context.get(), connection->get(), device, XKB_KEYMAP_COMPILE_NO_FLAGS));
            }
        }
        // The defaults of the system (XKB_DEFAULT_LAYOUT and the like, else "us").
        fromServer = false;
        return Keymap(
            xkb_keymap_new_from_names(context.get(), nullptr, XKB_KEYMAP_COMPILE_NO_FLAGS));
    }

    xkb_keymap* currentKeymap()
    {
        // A keymap made before the application had its X connection gives way to the server's.
        if (keymap && !fromNames && !fromServer && XConnection::shared())
            keymap.reset();
        if (!keymap && context)
            keymap = systemKeymap();
        return keymap.get();
    }
};

KeyboardLayout::KeyboardLayout() : d(std::make_unique<Private>())
{
}

KeyboardLayout::~KeyboardLayout() = default;

KeyboardLayout& KeyboardLayout::current()
{
    static KeyboardLayout layout;
    return layout;
}

std::optional<QString> KeyboardLayout::baseCharacter(int carbonKeyCode)
{
    const auto keycode = KeyCodeTable::xKeycode(carbonKeyCode);
    xkb_keymap* keymap = d->currentKeymap();
    if (!keycode || !keymap)
        return std::nullopt;
    const auto xkbKeycode = static_cast<xkb_keycode_t>(*keycode);
    const xkb_layout_index_t layouts = xkb_keymap_num_layouts_for_key(keymap, xkbKeycode);
    xkb_keysym_t keysym = layouts > 0 ? baseKeysym(keymap, xkbKeycode, 0) : XKB_KEY_NoSymbol;
    for (xkb_layout_index_t layout = 0; layout < layouts; ++layout) {
        const xkb_keysym_t candidate = baseKeysym(keymap, xkbKeycode, layout);
        if (isLatin(candidate)) {
            keysym = candidate;
            break;
        }
    }
    const char32_t character = xkb_keysym_to_utf32(keysym);
    if (character == 0)
        return std::nullopt;
    return QString::fromUcs4(&character, 1);
}

bool KeyboardLayout::useKeymapFromNames(const QString& layouts, const QString& variants)
{
    const QByteArray layout = layouts.toUtf8();
    const QByteArray variant = variants.toUtf8();
    xkb_rule_names names{};
    names.layout = layout.constData();
    names.variant = variant.isEmpty() ? nullptr : variant.constData();
    Keymap keymap(xkb_keymap_new_from_names(d->context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap) {
        qCInfo(lcShortcuts) << "No keymap for the layouts" << layouts;
        return false;
    }
    d->keymap = std::move(keymap);
    d->fromNames = true;
    return true;
}

void KeyboardLayout::useSystemKeymap()
{
    d->fromNames = false;
    d->keymap.reset();
}

} // namespace KeyboardShortcuts
