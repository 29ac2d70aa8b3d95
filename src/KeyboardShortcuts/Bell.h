#pragma once

// The desktop's bell, for input that is refused: on X11 the server's bell, which the desktop
// plays as a sound or shows as a flash.
namespace KeyboardShortcuts::Bell {

void ring();

} // namespace KeyboardShortcuts::Bell
