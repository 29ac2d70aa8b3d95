#include "Shell/MainWindow.h"

#include "Platform/DesktopIdentity.h"
#include "Tabs/Components/QmlTypes.h"
#include "Util/Logging.h"

#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QTimer>

#include <malloc.h>

MainWindow::MainWindow(QObject* parent) : QObject(parent)
{
}

MainWindow::~MainWindow() = default;

bool MainWindow::isVisible() const
{
    return m_window && m_window->isVisible();
}

void MainWindow::create()
{
    static const bool prepared = [] {
        // A small utility's screens need no GPU, and software rendering keeps it light.
        // It can be chosen only before the first scene exists.
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        registerViewModelTypes();
        return true;
    }();
    Q_UNUSED(prepared)
    m_engine = std::make_unique<QQmlApplicationEngine>();
    m_engine->load(QUrl(QStringLiteral("qrc:/qml/ContentView.qml")));
    const auto roots = m_engine->rootObjects();
    m_window = roots.isEmpty() ? nullptr : qobject_cast<QWindow*>(roots.first());
    if (!m_window) {
        qCCritical(lcShell) << "The main window could not be loaded";
        return;
    }
    connect(m_window, &QWindow::visibleChanged, this, [this](bool visible) {
        if (visible)
            return;
        Q_EMIT closed();
        // Leave the window's own close handling before tearing its scene down.
        QTimer::singleShot(0, this, &MainWindow::release);
    });
}

void MainWindow::release()
{
    if (isVisible())
        return;
    m_window = nullptr;
    m_engine.reset();
    // Hand the scene's memory back to the system while Vantor idles in the tray.
    ::malloc_trim(0);
}

void MainWindow::showAndActivate()
{
    if (!m_window)
        create();
    if (!m_window)
        return;
    Platform::setDesktopIdentity(*m_window);
    m_window->show();
    m_window->raise();
    m_window->requestActivate();
    Q_EMIT shown();
}
