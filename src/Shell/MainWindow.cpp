#include "Shell/MainWindow.h"

#include "ContentViewModel.h"
#include "Platform/DesktopIdentity.h"
#include "Shell/QmlEngine.h"
#include "Util/Logging.h"

#include <QCoreApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QTimer>

#include <malloc.h>

MainWindow::MainWindow(ModelContext& context, const Services& services, QObject* parent)
    : QObject(parent), m_context(context), m_services(services)
{
}

MainWindow::~MainWindow()
{
    // An open window is hidden first, as a close would, so that its scene graph lets go of
    // what it drew; the scene goes before the content it shows, and the scene graph hands
    // its textures back through deferred deletes, which no event loop runs any more here.
    if (m_window) {
        disconnect(m_window, nullptr, this, nullptr);
        m_window->hide();
    }
    m_engine.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

bool MainWindow::isVisible() const
{
    return m_window && m_window->isVisible();
}

void MainWindow::create()
{
    m_content = std::make_unique<ContentViewModel>(m_context, m_services);
    m_engine = std::make_unique<QQmlApplicationEngine>();
    prepareQmlEngine(*m_engine);
    m_engine->setInitialProperties({{QStringLiteral("viewModel"), QVariant::fromValue(m_content.get())}});
    m_engine->load(QUrl(QStringLiteral("qrc:/qt/qml/Vantor/Shell/MainScene.qml")));
    const auto roots = m_engine->rootObjects();
    m_window = roots.isEmpty() ? nullptr : qobject_cast<QWindow*>(roots.first());
    if (!m_window) {
        qCCritical(lcShell) << "The main window could not be loaded";
        m_engine.reset();
        m_content.reset();
        return;
    }
    Platform::setDesktopIdentity(*m_window);
    connect(m_window, &QWindow::visibleChanged, this, [this](bool visible) {
        if (visible) {
            m_content->contentShown();
            Q_EMIT shown();
            return;
        }
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
    m_content.reset();
    // Hand the scene's memory back to the system while Vantor idles in the tray.
    ::malloc_trim(0);
}

void MainWindow::showAndActivate()
{
    if (!m_window)
        create();
    if (!m_window)
        return;
    m_window->show();
    m_window->raise();
    m_window->requestActivate();
}
