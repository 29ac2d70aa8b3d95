// The Settings tab on a real window over a real store and the real preferences file: which
// workspaces get a line, Remove, the add line, Reset to default, and "didUpdateShortcuts"
// after every change.
#include "ContentViewModel.h"
#include "Shell/MainWindow.h"
#include "Store/ModelContainer.h"
#include "Tabs/Settings/SettingsViewModel.h"
#include "Util/DefaultKeyboardShortcuts.h"
#include "Util/Services.h"

#include "FakeDesktop.h"
#include "PreferencesFile.h"
#include "SceneItems.h"
#include "StoreFile.h"
#include "TestMain.h"

#include <KeyboardShortcuts/KeyboardShortcuts.h>
#include <KeyboardShortcuts/NotificationCenter.h>

#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>

#include <memory>

using KeyboardShortcuts::Key;
using KeyboardShortcuts::ModifierFlag;
using KeyboardShortcuts::Shortcut;

namespace {

WorkspacePtr workspace(const QString& name)
{
    return std::make_shared<Workspace>(
        QUuid::createUuid(), name, QDateTime::currentDateTime(), std::nullopt, QList<AppInfoPtr>());
}

std::optional<Shortcut> storedShortcut(const WorkspacePtr& workspace)
{
    return KeyboardShortcuts::getShortcut(workspaceShortcutName(workspace->id()));
}

void storeShortcut(const WorkspacePtr& workspace, Key key)
{
    KeyboardShortcuts::setShortcut(
        Shortcut(key, ModifierFlag::control | ModifierFlag::option), workspaceShortcutName(workspace->id()));
}

} // namespace

class SettingsTabTest final : public QObject {
    Q_OBJECT

    std::unique_ptr<Services> m_services;
    std::unique_ptr<MainWindow> m_mainWindow;
    QList<WorkspacePtr> m_workspaces;
    int m_posted = 0;
    KeyboardShortcuts::ObserverToken m_observer;

    void store(const QList<WorkspacePtr>& workspaces)
    {
        QVERIFY(StoreFile::replaceWorkspaces(sharedModelContainer(), workspaces));
        m_workspaces = workspaces;
    }

    QList<QQuickItem*> items(const QString& name) const
    {
        return SceneItems::visibleNamed(m_mainWindow->window(), name);
    }

    QStringList texts(const QString& name) const
    {
        return SceneItems::texts(m_mainWindow->window(), name);
    }

    void click(QQuickItem* item) { SceneItems::click(m_mainWindow->window(), item); }

    SettingsViewModel* viewModel() const { return m_mainWindow->content()->settingsViewModel(); }

    // Opens the window on the Settings tab.
    void showSettings()
    {
        QSignalSpy shown(m_mainWindow.get(), &MainWindow::shown);
        m_mainWindow->showAndActivate();
        QVERIFY(shown.count() == 1 || shown.wait());
        QVERIFY(QTest::qWaitForWindowExposed(m_mainWindow->window()));
        click(items(QStringLiteral("settingsTab")).value(0));
        QTRY_VERIFY(!items(QStringLiteral("settingsView")).isEmpty());
    }

    // The stored shortcut of the workspace, as the preferences file holds it now.
    static QJsonValue shortcutInFile(const WorkspacePtr& workspace)
    {
        return TestPreferences::read().value(
            QStringLiteral("KeyboardShortcuts_") + workspaceShortcutName(workspace->id()).rawValue());
    }

private Q_SLOTS:
    // Shortcuts go to the preferences file of the application named so, as in Vantor.
    void initTestCase() { QCoreApplication::setApplicationName(QStringLiteral("Vantor")); }

    void init()
    {
        failOnUnexpectedWarnings();
        qputenv("VANTOR_COLOR_SCHEME", "light");
        m_services = std::make_unique<Services>(
            std::make_unique<FakeWindowSystem>(), std::make_unique<FakeApplications>());
        m_mainWindow = std::make_unique<MainWindow>(sharedModelContainer().mainContext(), *m_services);
        m_posted = 0;
        m_observer = KeyboardShortcuts::NotificationCenter::defaultCenter().addObserver(
            SettingsViewModel::didUpdateShortcuts(), [this](const auto&) { ++m_posted; });
    }

    void cleanup()
    {
        KeyboardShortcuts::NotificationCenter::defaultCenter().removeObserver(m_observer);
        m_mainWindow.reset();
        m_services.reset();
        for (const auto& name : KeyboardShortcuts::allNames())
            KeyboardShortcuts::setShortcut(std::nullopt, name);
    }

    void onlyWorkspacesWithAStoredShortcutGetALineInStoreOrder()
    {
        store({workspace(QStringLiteral("Alpha")), workspace(QStringLiteral("Beta")),
            workspace(QStringLiteral("Gamma"))});
        storeShortcut(m_workspaces.at(2), Key::k);
        storeShortcut(m_workspaces.at(0), Key::j);
        showSettings();
        QTRY_COMPARE(texts(QStringLiteral("shortcutWorkspaceName")),
            QStringList({QStringLiteral("Alpha"), QStringLiteral("Gamma")}));
        QCOMPARE(items(QStringLiteral("shortcutRecorder")).size(), 2);
        QCOMPARE(viewModel()->shortcutName(qobject_cast<WorkspaceObject*>(viewModel()->shortcutLines()->at(0))),
            workspaceShortcutName(m_workspaces.at(0)->id()).rawValue());
        QCOMPARE(viewModel()->workspacesWithoutShortcut()->count(), 1);
    }

    void removeDeletesTheStoredShortcutMarksTheWorkspaceAndDropsTheLine()
    {
        store({workspace(QStringLiteral("Alpha")), workspace(QStringLiteral("Beta"))});
        storeShortcut(m_workspaces.at(0), Key::j);
        storeShortcut(m_workspaces.at(1), Key::k);
        showSettings();
        QTRY_COMPARE(items(QStringLiteral("removeShortcutButton")).size(), 2);
        click(items(QStringLiteral("removeShortcutButton")).at(1));
        QTRY_COMPARE(texts(QStringLiteral("shortcutWorkspaceName")), QStringList{QStringLiteral("Alpha")});
        QCOMPARE(storedShortcut(m_workspaces.at(1)), std::nullopt);
        QVERIFY(shortcutInFile(m_workspaces.at(1)).isUndefined());
        QVERIFY(!shortcutInFile(m_workspaces.at(0)).isUndefined());
        QCOMPARE(sharedModelContainer().makeContext()->fetchWorkspace(m_workspaces.at(1)->id()).value->shortcut(),
            std::optional<QString>(QStringLiteral("none")));
        QCOMPARE(m_posted, 1);
        QCOMPARE(viewModel()->shortcutUpdateCounter(), 1);
    }

    void theAddLineSavesOnlyOnceAShortcutWasRecorded()
    {
        store({workspace(QStringLiteral("Alpha")), workspace(QStringLiteral("Beta"))});
        storeShortcut(m_workspaces.at(0), Key::j);
        showSettings();
        QTRY_VERIFY(!items(QStringLiteral("addShortcutButton")).isEmpty());
        QVERIFY(items(QStringLiteral("addShortcutLine")).isEmpty());
        click(items(QStringLiteral("addShortcutButton")).at(0));
        QTRY_COMPARE(items(QStringLiteral("addShortcutLine")).size(), 1);
        QVERIFY(!items(QStringLiteral("addShortcutButton")).at(0)->isEnabled());
        // The picker offers the workspaces without a shortcut only.
        QCOMPARE(viewModel()->workspacesWithoutShortcut()->count(), 1);
        QQuickItem* line = items(QStringLiteral("addShortcutLine")).at(0);
        line->setProperty("selectedWorkspaceToAdd",
            QVariant::fromValue(viewModel()->workspacesWithoutShortcut()->at(0)));
        QTRY_COMPARE(items(QStringLiteral("addShortcutRecorder")).size(), 1);

        // Save without a recorded shortcut: the line stays, nothing is posted.
        click(items(QStringLiteral("saveShortcutButton")).at(0));
        QCOMPARE(items(QStringLiteral("addShortcutLine")).size(), 1);
        QCOMPARE(m_posted, 0);

        storeShortcut(m_workspaces.at(1), Key::k);
        click(items(QStringLiteral("saveShortcutButton")).at(0));
        QTRY_VERIFY(items(QStringLiteral("addShortcutLine")).isEmpty());
        QCOMPARE(m_posted, 1);
        QTRY_COMPARE(texts(QStringLiteral("shortcutWorkspaceName")),
            QStringList({QStringLiteral("Alpha"), QStringLiteral("Beta")}));
        QVERIFY(items(QStringLiteral("addShortcutButton")).at(0)->isEnabled());
    }

    void resetToDefaultAsksThenGivesEveryWorkspaceItsDefault()
    {
        store({workspace(QStringLiteral("Alpha")), workspace(QStringLiteral("Beta"))});
        storeShortcut(m_workspaces.at(0), Key::j);
        showSettings();
        QTRY_VERIFY(!items(QStringLiteral("resetShortcutsButton")).isEmpty());
        click(items(QStringLiteral("resetShortcutsButton")).at(0));
        QTRY_COMPARE(texts(QStringLiteral("sheetTitle")), QStringList{QStringLiteral("Woah there!")});
        QCOMPARE(texts(QStringLiteral("sheetMessage")),
            QStringList{QStringLiteral(
                "Reset all your shortcuts to factory settings? Bold move. Say goodbye to your custom setup.")});
        click(items(QStringLiteral("cancelButton")).value(0));
        QTRY_VERIFY(texts(QStringLiteral("sheetTitle")).isEmpty());
        QCOMPARE(m_posted, 0);
        QCOMPARE(storedShortcut(m_workspaces.at(1)), std::nullopt);

        click(items(QStringLiteral("resetShortcutsButton")).at(0));
        QTRY_COMPARE(texts(QStringLiteral("sheetTitle")).size(), 1);
        click(items(QStringLiteral("confirmButton")).value(0));
        QTRY_COMPARE(m_posted, 1);
        const auto optionShift = ModifierFlag::option | ModifierFlag::shift;
        QCOMPARE(storedShortcut(m_workspaces.at(0)), Shortcut(Key::one, optionShift));
        QCOMPARE(storedShortcut(m_workspaces.at(1)), Shortcut(Key::two, optionShift));
        QCOMPARE(shortcutInFile(m_workspaces.at(1)).toString(),
            QStringLiteral(R"({"carbonKeyCode":19,"carbonModifiers":2560})"));
        QTRY_COMPARE(texts(QStringLiteral("shortcutWorkspaceName")),
            QStringList({QStringLiteral("Alpha"), QStringLiteral("Beta")}));
    }

    void fiftyLinesScroll()
    {
        const QList<Key> letters{Key::a, Key::s, Key::d, Key::f, Key::h, Key::g, Key::z, Key::x,
            Key::c, Key::v, Key::b, Key::q, Key::w, Key::e, Key::r, Key::y, Key::t, Key::o, Key::u,
            Key::i, Key::p, Key::l, Key::j, Key::k, Key::n};
        QList<WorkspacePtr> many;
        for (int i = 0; i < 50; ++i)
            many.append(workspace(QStringLiteral("Workspace %1").arg(i, 2, 10, QLatin1Char('0'))));
        store(many);
        for (int i = 0; i < 50; ++i) {
            const auto modifiers = i < 25 ? ModifierFlag::control | ModifierFlag::option
                                          : ModifierFlag::control | ModifierFlag::option | ModifierFlag::shift;
            KeyboardShortcuts::setShortcut(
                Shortcut(letters.at(i % 25), modifiers), workspaceShortcutName(many.at(i)->id()));
        }
        showSettings();
        QTRY_COMPARE(items(QStringLiteral("shortcutRecorder")).size(), 50);
        QQuickItem* view = items(QStringLiteral("settingsView")).at(0);
        QQuickItem* last = items(QStringLiteral("removeShortcutButton")).last();
        // The last line lies below the window until the tab is scrolled to it.
        QVERIFY(last->mapToItem(view, QPointF(0, 0)).y() > view->height());
        auto* flickable = items(QStringLiteral("settingsScroller")).at(0)->property("contentItem").value<QQuickItem*>();
        QVERIFY(flickable->property("contentHeight").toReal() > flickable->height());
        flickable->setProperty("contentY", flickable->property("contentHeight").toReal() - flickable->height());
        QTRY_VERIFY(last->mapToItem(view, QPointF(0, last->height())).y() <= view->height());
    }

    void resetWithoutWorkspacesStillTellsTheMenu()
    {
        store({});
        showSettings();
        viewModel()->resetToDefaults();
        QCOMPARE(m_posted, 1);
    }

    void aWorkspaceDeletedOnTheOtherTabLeavesThisOne()
    {
        store({workspace(QStringLiteral("Alpha")), workspace(QStringLiteral("Beta"))});
        storeShortcut(m_workspaces.at(0), Key::j);
        storeShortcut(m_workspaces.at(1), Key::k);
        showSettings();
        QTRY_COMPARE(texts(QStringLiteral("shortcutWorkspaceName")).size(), 2);
        WorkspaceViewModel* workspaces = m_mainWindow->content()->workspaceViewModel();
        workspaces->editWorkspace(qobject_cast<WorkspaceObject*>(workspaces->workspaceList()->at(1)));
        workspaces->deleteWorkspace();
        QTRY_COMPARE(texts(QStringLiteral("shortcutWorkspaceName")), QStringList{QStringLiteral("Alpha")});
    }
};

VANTOR_DESKTOP_TEST_MAIN(SettingsTabTest)
#include "tst_settings_tab.moc"
