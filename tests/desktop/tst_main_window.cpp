// The main window on a real display: its frame, its two tabs, what it does on every
// showing, and that closing it frees its scene.
#include "ContentViewModel.h"

#include "ConsoleCapture.h"
#include "MainWindowOnFakes.h"
#include "TestMain.h"

#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>

#include <memory>

class MainWindowTest final : public QObject {
    Q_OBJECT

    std::unique_ptr<MainWindowOnFakes> m_fakes;
    FakeWindowSystem* m_windows = nullptr;
    FakeApplications* m_applications = nullptr;
    MainWindow* m_mainWindow = nullptr;

    QQuickItem* find(const char* name) const
    {
        return m_mainWindow->window()->findChild<QQuickItem*>(QString::fromLatin1(name));
    }

    void showWindow() { QVERIFY(m_fakes->show()); }

    void closeWindow()
    {
        QSignalSpy closed(m_mainWindow, &MainWindow::closed);
        m_mainWindow->window()->close();
        QVERIFY(closed.count() == 1 || closed.wait());
        QTRY_VERIFY(!m_mainWindow->window());
    }

    void click(QQuickItem* item)
    {
        const QPoint centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
        QTest::mouseClick(m_mainWindow->window(), Qt::LeftButton, {}, centre);
    }

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        m_fakes = std::make_unique<MainWindowOnFakes>();
        m_windows = m_fakes->windows;
        m_applications = m_fakes->applications;
        m_mainWindow = m_fakes->mainWindow.get();
    }

    void cleanup() { m_fakes.reset(); }

    void theWindowIsVantorAtAFixedSizeWithTwoTabsInOrder()
    {
        showWindow();
        QWindow* window = m_mainWindow->window();
        QCOMPARE(window->title(), QStringLiteral("Vantor"));
        QCOMPARE(window->size(), QSize(800, 500));
        QCOMPARE(window->minimumSize(), QSize(800, 500));
        QCOMPARE(window->maximumSize(), QSize(800, 500));
        QCOMPARE(find("topDivider")->width(), 800.0);
        QCOMPARE(find("topDivider")->y(), 0.0);
        QQuickItem* tabs = find("tabs");
        const QList<QQuickItem*> buttons = tabs->findChildren<QQuickItem*>(
            QRegularExpression(QStringLiteral("Tab$")), Qt::FindChildrenRecursively);
        QCOMPARE(buttons.size(), 2);
        QCOMPARE(tabs->property("count").toInt(), 2);
        QQuickItem* first = find("workspacesTab");
        QQuickItem* second = find("settingsTab");
        QCOMPARE(first->property("text").toString(), QStringLiteral("Workspaces"));
        QCOMPARE(second->property("text").toString(), QStringLiteral("Settings"));
        QVERIFY(first->x() < second->x());
        QVERIFY(tabs->y() >= find("topDivider")->height());
    }

    void aRealClickOnATabShowsItsScreen()
    {
        showWindow();
        QTRY_VERIFY(find("workspaceView")->isVisible());
        QVERIFY(!find("settingsView")->isVisible());
        click(find("settingsTab"));
        QTRY_VERIFY(find("settingsView")->isVisible());
        QVERIFY(!find("workspaceView")->isVisible());
        click(find("workspacesTab"));
        QTRY_VERIFY(find("workspaceView")->isVisible());
        QVERIFY(!find("settingsView")->isVisible());
    }

    void theTabsWorkFromTheKeyboard()
    {
        showWindow();
        QQuickItem* settings = find("settingsTab");
        settings->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(m_mainWindow->window(), Qt::Key_Space);
        QTRY_VERIFY(find("settingsView")->isVisible());
        QTest::keyClick(m_mainWindow->window(), Qt::Key_Backtab, Qt::ShiftModifier);
        QTest::keyClick(m_mainWindow->window(), Qt::Key_Space);
        QTRY_VERIFY(find("workspaceView")->isVisible());
    }

    void everyShowingChecksTrustAndOpensTheHelpPageWhenNotTrusted()
    {
        m_windows->controlsWindows = false;
        ConsoleCapture console;
        const QString notGranted = QStringLiteral("Accessibility permissions are not granted.");
        showWindow();
        QCOMPARE(console.lines().count(notGranted), 1);
        QCOMPARE(m_applications->opened.size(), 1);
        // Showing it again while it is open is not a new showing.
        m_mainWindow->showAndActivate();
        QCOMPARE(console.lines().count(notGranted), 1);

        closeWindow();
        showWindow();
        QCOMPARE(console.lines().count(notGranted), 2);
        QCOMPARE(m_applications->opened.size(), 2);
        QCOMPARE(m_applications->opened.at(1), m_applications->opened.at(0));
    }

    void aTrustedShowingSaysSoAndOpensNothing()
    {
        ConsoleCapture console;
        showWindow();
        QVERIFY(console.lines().contains(QStringLiteral("Accessibility permissions are granted.")));
        QVERIFY(m_applications->opened.isEmpty());
    }

    void closingFreesTheSceneAndReopeningBuildsAFreshOne()
    {
        showWindow();
        QPointer<ContentViewModel> firstContent = m_mainWindow->content();
        QVERIFY(firstContent);
        closeWindow();
        QVERIFY(!firstContent);
        QVERIFY(!m_mainWindow->content());
        showWindow();
        QVERIFY(m_mainWindow->content());
        QCOMPARE(m_mainWindow->window()->size(), QSize(800, 500));
    }
};

VANTOR_DESKTOP_TEST_MAIN(MainWindowTest)
#include "tst_main_window.moc"
