#pragma once

#include <QProcessEnvironment>
#include <QString>

#include <memory>
#include <optional>

namespace Platform {

// Which desktop's window control Vantor speaks to.
enum class Backend { X11, Sway, KWin, None };

struct BackendChoice {
    Backend backend = Backend::None;
    QString swaySocket; // Sway: its IPC socket
    // Without a backend: why, in one line naming the session.
    QString problem;
    // VANTOR_BACKEND asked for this backend (or for one that cannot be used here).
    bool forced = false;
};

// The backend that VANTOR_BACKEND asks for, when it is set (maybe one that cannot be used
// here: then with its problem); asks nothing of the session itself.
std::optional<BackendChoice> forcedBackend(const QProcessEnvironment& environment);

// The backend for a session described by its environment: VANTOR_BACKEND=x11|sway|kwin
// forces one; otherwise sway when SWAYSOCK is set (or I3SOCK leads to sway), KWin in a
// Wayland session whose session bus has KWin, X11 when there is an X display and no Wayland
// session.
BackendChoice chooseBackend(
    const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());

class WindowSystem;
// The chosen backend's window system; without a backend, one that controls nothing.
std::unique_ptr<WindowSystem> createWindowSystem(const BackendChoice& choice);

} // namespace Platform
