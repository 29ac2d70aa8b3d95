#include "Platform/Backend.h"

#include "Platform/KWin/KWinWindowSystem.h"
#include "Platform/Sway/IpcConnection.h"
#include "Platform/Sway/SwayWindowSystem.h"
#include "Platform/WindowSystem.h"
#include "Platform/X11/X11WindowSystem.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>

namespace Platform {
namespace {

// i3 speaks the same protocol; only sway says "sway" when asked for its version.
bool isSway(const QString& socket)
{
    Sway::IpcConnection connection(socket);
    const auto version = connection.request(Sway::MessageType::GetVersion);
    return version
        && version->object().value(QLatin1String("variant")).toString() == QLatin1String("sway");
}

// Asked on the session bus of this process, which the environment given describes.
bool isKWinOnSessionBus()
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected()
        && bus.interface()->isServiceRegistered(QStringLiteral("org.kde.KWin"));
}

bool isWaylandSession(const QProcessEnvironment& environment)
{
    return !environment.value(QStringLiteral("WAYLAND_DISPLAY")).isEmpty()
        || environment.value(QStringLiteral("XDG_SESSION_TYPE")) == QLatin1String("wayland");
}

QString desktopName(const QProcessEnvironment& environment)
{
    const QString desktop = environment.value(QStringLiteral("XDG_CURRENT_DESKTOP"));
    return desktop.isEmpty() ? QStringLiteral("an unknown compositor") : desktop;
}

BackendChoice x11(const QProcessEnvironment& environment, bool forced)
{
    if (environment.value(QStringLiteral("DISPLAY")).isEmpty())
        return {Backend::None, {},
            QStringLiteral("VANTOR_BACKEND=x11, but there is no X display (DISPLAY is not set)."),
            forced};
    return {Backend::X11, {}, {}, forced};
}

BackendChoice sway(const QString& socket, bool forced)
{
    if (socket.isEmpty())
        return {Backend::None, {},
            QStringLiteral("VANTOR_BACKEND=sway, but sway's IPC socket is not known (SWAYSOCK is "
                           "not set)."),
            forced};
    return {Backend::Sway, socket, {}, forced};
}

BackendChoice backendNamed(const QString& name, const QProcessEnvironment& environment)
{
    if (name == QLatin1String("x11"))
        return x11(environment, true);
    if (name == QLatin1String("sway")) {
        const QString swaySocket = environment.value(QStringLiteral("SWAYSOCK"));
        return sway(
            swaySocket.isEmpty() ? environment.value(QStringLiteral("I3SOCK")) : swaySocket, true);
    }
    // Whether KWin answers is known only once the application runs (the session bus needs it):
    // a KWin that is not there controls no window, and the trust check says so.
    if (name == QLatin1String("kwin"))
        return {Backend::KWin, {}, {}, true};
    return {Backend::None, {},
        QStringLiteral("VANTOR_BACKEND=%1 names no backend Vantor has; use x11, sway or kwin.")
            .arg(name),
        true};
}

} // namespace

std::optional<BackendChoice> forcedBackend(const QProcessEnvironment& environment)
{
    const QString name = environment.value(QStringLiteral("VANTOR_BACKEND"));
    if (name.isEmpty())
        return std::nullopt;
    return backendNamed(name, environment);
}

BackendChoice chooseBackend(const QProcessEnvironment& environment)
{
    if (auto forced = forcedBackend(environment))
        return *forced;
    if (const QString socket = environment.value(QStringLiteral("SWAYSOCK")); !socket.isEmpty())
        return sway(socket, false);
    if (const QString socket = environment.value(QStringLiteral("I3SOCK"));
        !socket.isEmpty() && isSway(socket))
        return sway(socket, false);
    if (isWaylandSession(environment) && isKWinOnSessionBus())
        return {Backend::KWin, {}, {}, false};
    if (isWaylandSession(environment))
        return {Backend::None, {},
            QStringLiteral("This Wayland session (%1) offers Vantor no way to move windows; "
                           "Vantor works on X11, on sway and on KDE Plasma (KWin).")
                .arg(desktopName(environment)),
            false};
    if (!environment.value(QStringLiteral("DISPLAY")).isEmpty())
        return {Backend::X11, {}, {}, false};
    return {Backend::None, {},
        QStringLiteral("There is no graphical session here (neither DISPLAY nor WAYLAND_DISPLAY "
                       "is set)."),
        false};
}

namespace {

// A session whose windows cannot be controlled: nothing is listed, nothing moves.
class UnavailableWindowSystem final : public WindowSystem {
public:
    bool canControlWindows() override { return false; }
    ScreenSize mainScreenSize() override { return {}; }
    std::optional<QList<WindowInfo>> managedWindows() override { return std::nullopt; }
    QList<std::optional<QList<WindowId>>> windowsOfProcesses(
        const QList<ProcessId>& pids, int) override
    {
        return QList<std::optional<QList<WindowId>>>(pids.size());
    }
    void placeWindows(const QList<Placement>&) override { }
    void finishPlacements() override { }
    std::unique_ptr<WindowWatch> watchNewWindows(WindowShown) override
    {
        return std::make_unique<WindowWatch>();
    }
    void holdFrames(const QList<WindowId>&, const Frame&, std::chrono::milliseconds) override { }
};

} // namespace

std::unique_ptr<WindowSystem> createWindowSystem(const BackendChoice& choice)
{
    switch (choice.backend) {
    case Backend::X11:
        return std::make_unique<X11::X11WindowSystem>();
    case Backend::Sway:
        return std::make_unique<Sway::SwayWindowSystem>(choice.swaySocket);
    case Backend::KWin:
        return std::make_unique<KWin::KWinWindowSystem>();
    case Backend::None:
        break;
    }
    return std::make_unique<UnavailableWindowSystem>();
}

std::unique_ptr<WindowSystem> createWindowSystem()
{
    return createWindowSystem(chooseBackend());
}

} // namespace Platform
