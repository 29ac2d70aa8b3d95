// The Workspaces tab on a real window over a real store: the list, selecting, the detail
// with its notice, and deleting through the confirmation sheet.
#include "ConsoleCapture.h"
#include "MainWindowOnFakes.h"
#include "SceneItems.h"
#include "StoreFile.h"
#include "TestMain.h"

#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>

#include <memory>

namespace {

AppInfoPtr appWithLayoutOn(const QString& name, ScreenSize size)
{
    return AppInfo::create(QUuid::createUuid(), name, QStringLiteral("org.example.") + name, false,
        QString(),
        {std::make_shared<AppLayout>(QUuid::createUuid(), size.width, size.height, 10, 20, 800, 600)});
}

WorkspacePtr workspace(const QString& name, const QList<AppInfoPtr>& apps)
{
    return std::make_shared<Workspace>(
        QUuid::createUuid(), name, QDateTime(QDate(2024, 3, 5), QTime(9, 7)), std::nullopt, apps);
}

} // namespace

class WorkspaceScreensTest final : public QObject {
    Q_OBJECT

    std::unique_ptr<MainWindowOnFakes> m_fakes;
    FakeApplications* m_applications = nullptr;
    MainWindow* m_mainWindow = nullptr;

    void store(const QList<WorkspacePtr>& workspaces)
    {
        QVERIFY(StoreFile::replaceWorkspaces(sharedModelContainer(), workspaces));
    }

    QList<QQuickItem*> items(const QString& name) const
    {
        return SceneItems::named(m_mainWindow->window(), name);
    }

    QQuickItem* find(const QString& name) const { return items(name).value(0); }

    QList<QQuickItem*> visibleItems(const QString& name) const
    {
        return SceneItems::visibleNamed(m_mainWindow->window(), name);
    }

    QStringList texts(const QString& name) const
    {
        return SceneItems::texts(m_mainWindow->window(), name);
    }

    QQuickItem* rowOf(const QString& workspaceName) const
    {
        for (QQuickItem* label : visibleItems(QStringLiteral("workspaceName"))) {
            if (label->property("text").toString() == workspaceName)
                return label->parentItem()->parentItem();
        }
        return nullptr;
    }

    void click(QQuickItem* item) { SceneItems::click(m_mainWindow->window(), item); }

    void showWindow() { QVERIFY(m_fakes->show()); }

    static QStringList storedNames() { return MainWindowOnFakes::storedNames(); }

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        m_fakes = std::make_unique<MainWindowOnFakes>();
        m_applications = m_fakes->applications;
        m_mainWindow = m_fakes->mainWindow.get();
    }

    void cleanup() { m_fakes.reset(); }

    void withoutWorkspacesTheListShowsOnlyAddWorkspace()
    {
        store({});
        showWindow();
        QVERIFY(visibleItems(QStringLiteral("workspaceName")).isEmpty());
        QCOMPARE(visibleItems(QStringLiteral("addWorkspaceButton")).size(), 1);
    }

    void rowsFollowTheStoreOrderAndOnlyTheLastHasNoDivider()
    {
        const ScreenSize here{1920, 1080};
        store({workspace(QStringLiteral("Alpha"), {appWithLayoutOn(QStringLiteral("Editor"), here)}),
            workspace(QStringLiteral("Beta \"$(rm -rf ~)\" 🚀 שלום"), {}),
            workspace(QString(200, QLatin1Char('W')), {})});
        showWindow();
        QTRY_COMPARE(texts(QStringLiteral("workspaceName")),
            QStringList({QStringLiteral("Alpha"), QStringLiteral("Beta \"$(rm -rf ~)\" 🚀 שלום"),
                QString(200, QLatin1Char('W'))}));
        QCOMPARE(visibleItems(QStringLiteral("rowDivider")).size(), 2);
        QCOMPARE(visibleItems(QStringLiteral("editButton")).size(), 3);
        // A long name is elided within the row, never wider than the window.
        for (QQuickItem* label : visibleItems(QStringLiteral("workspaceName")))
            QVERIFY(label->mapToScene(QPointF(label->width(), 0)).x() <= 800);
    }

    void outsideEditingModeARowClickOpensTheWorkspace()
    {
        store({workspace(QStringLiteral("Alpha"), {appWithLayoutOn(QStringLiteral("Editor"), {1920, 1080})})});
        m_applications->installed.insert(QStringLiteral("org.example.Editor"),
            QStringLiteral("/usr/share/applications/org.example.Editor.desktop"));
        showWindow();
        QTRY_VERIFY(rowOf(QStringLiteral("Alpha")));
        click(rowOf(QStringLiteral("Alpha")));
        QTRY_COMPARE(m_applications->launches.size(), 1);
        QCOMPARE(m_applications->launches.at(0).path,
            QStringLiteral("/usr/share/applications/org.example.Editor.desktop"));
        QVERIFY(!find(QStringLiteral("workspaceDetail")));
    }

    void selectingNarrowsTheListHidesAddAndEditAndARowClickThenSelects()
    {
        const ScreenSize here{1920, 1080};
        store({workspace(QStringLiteral("Alpha"), {appWithLayoutOn(QStringLiteral("Editor"), here)}),
            workspace(QStringLiteral("Beta"), {appWithLayoutOn(QStringLiteral("Editor"), {1280, 800})})});
        showWindow();
        QTRY_COMPARE(visibleItems(QStringLiteral("editButton")).size(), 2);
        click(visibleItems(QStringLiteral("editButton")).at(0));
        QTRY_VERIFY(find(QStringLiteral("workspaceDetail")));
        QTRY_COMPARE(find(QStringLiteral("workspaceListView"))->width(), 200.0);
        QVERIFY(visibleItems(QStringLiteral("addWorkspaceButton")).isEmpty());
        QVERIFY(visibleItems(QStringLiteral("editButton")).isEmpty());
        QCOMPARE(texts(QStringLiteral("detailName")), QStringList{QStringLiteral("Alpha")});
        QCOMPARE(texts(QStringLiteral("updatedAt")), QStringList{QStringLiteral("Updated at: 5 Mar 2024, 09:07")});
        // Every app of Alpha has a frame for this screen: no notice.
        QVERIFY(!find(QStringLiteral("layoutNotice"))->isVisible());

        // In editing mode a click on a row selects it instead of opening it.
        const int runningReads = m_applications->runningReads;
        click(rowOf(QStringLiteral("Beta")));
        QTRY_COMPARE(texts(QStringLiteral("detailName")), QStringList{QStringLiteral("Beta")});
        QCOMPARE(m_applications->runningReads, runningReads);
        // Beta's only app has a frame for another screen only: the notice shows.
        QTRY_VERIFY(find(QStringLiteral("layoutNotice"))->isVisible());

        click(find(QStringLiteral("backButton")));
        QTRY_VERIFY(!find(QStringLiteral("workspaceDetail")));
        QTRY_COMPARE(visibleItems(QStringLiteral("addWorkspaceButton")).size(), 1);
        QTRY_VERIFY(find(QStringLiteral("workspaceListView"))->width() > 700);
    }

    void deletingAsksFirstAndCancelDeletesNothing()
    {
        const QString name = QStringLiteral("Beta \"quoted\"");
        store({workspace(QStringLiteral("Alpha"), {}), workspace(name, {})});
        showWindow();
        QTRY_COMPARE(visibleItems(QStringLiteral("editButton")).size(), 2);
        click(visibleItems(QStringLiteral("editButton")).at(1));
        QTRY_VERIFY(find(QStringLiteral("deleteWorkspaceButton")));
        click(find(QStringLiteral("deleteWorkspaceButton")));
        QTRY_COMPARE(texts(QStringLiteral("sheetMessage")),
            QStringList{QStringLiteral("Deleting ") + name
                + QStringLiteral("? That’s bold. Just making sure you meant it.")});
        QCOMPARE(texts(QStringLiteral("sheetTitle")), QStringList{QStringLiteral("Heads up!")});

        click(visibleItems(QStringLiteral("cancelButton")).value(0));
        QTRY_VERIFY(texts(QStringLiteral("sheetMessage")).isEmpty());
        QCOMPARE(storedNames(), QStringList({QStringLiteral("Alpha"), name}));

        // Escape cancels too.
        click(find(QStringLiteral("deleteWorkspaceButton")));
        QTRY_COMPARE(texts(QStringLiteral("sheetTitle")).size(), 1);
        QTest::keyClick(m_mainWindow->window(), Qt::Key_Escape);
        QTRY_VERIFY(texts(QStringLiteral("sheetMessage")).isEmpty());
        QCOMPARE(storedNames().size(), 2);

        click(find(QStringLiteral("deleteWorkspaceButton")));
        QTRY_COMPARE(texts(QStringLiteral("sheetTitle")).size(), 1);
        click(visibleItems(QStringLiteral("confirmButton")).value(0));
        QTRY_COMPARE(storedNames(), QStringList{QStringLiteral("Alpha")});
        QTRY_COMPARE(texts(QStringLiteral("workspaceName")), QStringList{QStringLiteral("Alpha")});
        QVERIFY(!find(QStringLiteral("workspaceDetail")));
    }

    void theListFollowsWorkspacesSavedAndDeletedElsewhere()
    {
        store({workspace(QStringLiteral("Alpha"), {})});
        showWindow();
        QTRY_COMPARE(texts(QStringLiteral("workspaceName")), QStringList{QStringLiteral("Alpha")});
        const QList<WorkspacePtr> later{workspace(QStringLiteral("Alpha"), {}), workspace(QStringLiteral("Beta"), {})};
        store(later);
        QTRY_COMPARE(texts(QStringLiteral("workspaceName")),
            QStringList({QStringLiteral("Alpha"), QStringLiteral("Beta")}));

        click(visibleItems(QStringLiteral("editButton")).value(1));
        QTRY_COMPARE(texts(QStringLiteral("detailName")), QStringList{QStringLiteral("Beta")});
        store({later.at(0)});
        QTRY_VERIFY(!find(QStringLiteral("workspaceDetail")));
        QTRY_COMPARE(texts(QStringLiteral("workspaceName")), QStringList{QStringLiteral("Alpha")});
    }

    void fiveHundredWorkspacesOpenAndScroll()
    {
        QList<WorkspacePtr> many;
        for (int i = 0; i < 500; ++i)
            many.append(workspace(QStringLiteral("Workspace %1").arg(i, 3, 10, QLatin1Char('0')), {}));
        store(many);
        showWindow();
        auto* list = qobject_cast<QQuickItem*>(find(QStringLiteral("workspaceList")));
        QVERIFY(list);
        QTRY_COMPARE(list->property("count").toInt(), 500);
        QMetaObject::invokeMethod(list, "positionViewAtEnd");
        QTRY_VERIFY(texts(QStringLiteral("workspaceName")).contains(QStringLiteral("Workspace 499")));
        QTRY_VERIFY(!texts(QStringLiteral("workspaceName")).contains(QStringLiteral("Workspace 000")));
    }
};

VANTOR_DESKTOP_TEST_MAIN(WorkspaceScreensTest)
#include "tst_workspace_screens.moc"
