#include "VantorApp.h"

#include "AppDelegate.h"
#include "KeyboardShortcuts/CarbonKeyboardShortcuts.h"
#include "Platform/Backend.h"
#include "Platform/DesktopIdentity.h"
#include "Platform/Kde/KdeHotKeyService.h"
#include "Platform/SingleInstance.h"
#include "Platform/Sway/SwayHotKeyService.h"
#include "Platform/UnixSignalWatcher.h"
#include "Shell/MainWindow.h"
#include "Shell/StoreFailure.h"
#include "Store/ModelContainer.h"
#include "Util/Logging.h"
#include "Util/Services.h"

#include <QApplication>
#include <QTimer>

#include <cstdio>

namespace VantorApp {
namespace {

bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY")
        || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        || qEnvironmentVariable("QT_QPA_PLATFORM") == QLatin1String("offscreen");
}

// In a sway session Vantor's own windows are Wayland windows, like everybody else's. Only
// the environment is read here: asking sway itself needs the application object.
void preferWaylandInSway()
{
    const bool sway = !qEnvironmentVariableIsEmpty("SWAYSOCK")
        || qEnvironmentVariable("VANTOR_BACKEND") == QLatin1String("sway");
    if (sway && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "wayland;xcb");
}

void useBackend(const Platform::BackendChoice& backend)
{
    if (backend.backend == Platform::Backend::None)
        std::fprintf(stderr, "vantor: %s\n", qPrintable(backend.problem));
    if (backend.backend == Platform::Backend::Sway)
        KeyboardShortcuts::CarbonKeyboardShortcuts::setService(
            std::make_unique<Platform::Sway::SwayHotKeyService>(backend.swaySocket));
    // KWin gives global shortcuts to Wayland clients through the desktop portal, or else
    // through KGlobalAccel.
    if (backend.backend == Platform::Backend::KWin)
        KeyboardShortcuts::CarbonKeyboardShortcuts::setService(
            Platform::Kde::createKdeHotKeyService());
}

} // namespace

int run(int argc, char** argv)
{
    if (!hasDisplay()) {
        std::fputs(
            "vantor: no display (neither DISPLAY nor WAYLAND_DISPLAY is set). Start "
            "Vantor in an X11, sway or KDE Plasma session, or see `vantor --help` for the command "
            "line.\n",
            stderr);
        return 1;
    }
    preferWaylandInSway();
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Vantor"));
    QApplication::setApplicationVersion(QStringLiteral(VANTOR_VERSION));
    QApplication::setDesktopFileName(QString::fromLatin1(Platform::kDesktopFileId));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/vantor.svg")));
    QApplication::setQuitOnLastWindowClosed(false);

    SingleInstance instance(QStringLiteral("vantor-instance"));
    if (!instance.claim())
        return instance.forwardedToPrimary() ? 0 : 1;

    // Opened before anything is shown, so that a store that cannot be used ends Vantor
    // with its reason rather than a tray icon over nothing.
    const auto& store = openSharedModelContainer();
    if (!store.ok()) {
        StoreFailure::report(*store.error);
        return 1;
    }

    UnixSignalWatcher signals;
    QObject::connect(
        &signals, &UnixSignalWatcher::terminationRequested, &app, &QCoreApplication::quit);

    const Platform::BackendChoice backend = Platform::chooseBackend();
    useBackend(backend);
    Services services(backend);
    services.windowSystem().whenSessionEnds([] {
        qCInfo(lcShell) << "The desktop session has ended";
        QCoreApplication::quit();
    });
    MainWindow mainWindow(store.value->mainContext(), services);
    AppDelegate delegate(services, mainWindow);
    QObject::connect(
        &instance, &SingleInstance::showRequested, &delegate, &AppDelegate::openSettings);
    QTimer::singleShot(0, &delegate, &AppDelegate::applicationDidFinishLaunching);
    return app.exec();
}

} // namespace VantorApp
