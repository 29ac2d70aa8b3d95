#pragma once

#include <xkbcommon/xkbcommon.h>

#include <memory>

// Owners of xkbcommon's reference-counted objects.
namespace KeyboardShortcuts::Xkb {

struct ContextDeleter {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
};
struct KeymapDeleter {
    void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
};
using Context = std::unique_ptr<xkb_context, ContextDeleter>;
using Keymap = std::unique_ptr<xkb_keymap, KeymapDeleter>;

} // namespace KeyboardShortcuts::Xkb
