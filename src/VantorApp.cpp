#include "VantorApp.h"

#include "AppDelegate.h"
#include "Platform/DesktopIdentity.h"
#include "Platform/SingleInstance.h"
#include "Platform/UnixSignalWatcher.h"
#include "Shell/MainWindow.h"
#include "Shell/StoreFailure.h"
#include "Store/ModelContainer.h"
#include "Util/Services.h"

#include <QApplication>
#include <QTimer>

#include <cstdio>

namespace VantorApp {
namespace {

bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY")
        || qEnvironmentVariable("QT_QPA_PLATFORM") == QLatin1String("offscreen");
}

} // namespace

int run(int argc, char** argv)
{
    if (!hasDisplay()) {
        std::fputs("vantor: no X display (DISPLAY is not set). Vantor places windows through "
                   "X11; start it in an X11 session, or see `vantor --help` for the command "
                   "line.\n",
            stderr);
        return 1;
    }
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

    Services services;
    MainWindow mainWindow(store.value->mainContext(), services);
    AppDelegate delegate(services, mainWindow);
    QObject::connect(
        &instance, &SingleInstance::showRequested, &delegate, &AppDelegate::openSettings);
    QTimer::singleShot(0, &delegate, &AppDelegate::applicationDidFinishLaunching);
    return app.exec();
}

} // namespace VantorApp
