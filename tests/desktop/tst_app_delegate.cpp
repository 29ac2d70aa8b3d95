#include "AppDelegate.h"
#include "Shell/MainWindow.h"
#include "Store/Database.h"
#include "Store/ModelContainer.h"
#include "Util/DefaultKeyboardShortcuts.h"
#include "Util/Services.h"

#include "ConsoleCapture.h"
#include "FakeDesktop.h"
#include "TestMain.h"

#include <KeyboardShortcuts/KeyboardShortcuts.h>

#include <QMenu>
#include <QSystemTrayIcon>

using KeyboardShortcuts::Key;
using KeyboardShortcuts::ModifierFlag;
using KeyboardShortcuts::Shortcut;

namespace {

QString bundleIdentifierOf(int index)
{
    return QStringLiteral("org.test.App%1").arg(index);
}

// A workspace of one app that is installed but not running: activating it launches the app.
WorkspacePtr makeWorkspace(int index, const QString& name)
{
    const auto app = AppInfo::create(QUuid::createUuid(), name, bundleIdentifierOf(index), false,
        QStringLiteral("/apps/%1.desktop").arg(index));
    return std::make_shared<Workspace>(QUuid::createUuid(), name, QDateTime::currentDateTime(),
        std::nullopt, QList<AppInfoPtr>{app});
}

Shortcut optionShift(Key key)
{
    return Shortcut(key, ModifierFlag::option | ModifierFlag::shift);
}

QStringList rowTitles(const QMenu& menu)
{
    QStringList titles;
    for (const QAction* action : menu.actions())
        titles.append(action->isSeparator() ? QStringLiteral("---") : action->text());
    return titles;
}

} // namespace

// The tray app's delegate on a real desktop with a tray, over fake app and window services
// that record what activation asked of them.
class AppDelegateTest : public QObject {
    Q_OBJECT

private:
    FakeApplications* m_applications = nullptr;
    std::unique_ptr<Services> m_services;
    std::unique_ptr<MainWindow> m_mainWindow;
    std::unique_ptr<AppDelegate> m_delegate;
    QList<WorkspacePtr> m_stored;

    WorkspacePtr store(int index, const QString& name)
    {
        auto workspace = makeWorkspace(index, name);
        ModelContext& context = sharedModelContainer().mainContext();
        context.insert(workspace);
        const auto error = context.save();
        if (error)
            qFatal("Cannot save the test workspace: %s", qPrintable(*error));
        m_applications->installed.insert(
            bundleIdentifierOf(index), QStringLiteral("/apps/%1.desktop").arg(index));
        m_stored.append(workspace);
        return workspace;
    }

    void launch()
    {
        m_delegate = std::make_unique<AppDelegate>(*m_services, *m_mainWindow);
        m_delegate->applicationDidFinishLaunching();
    }

    // How often the workspace at `index` was activated: each activation launches its app.
    int activations(int index) const
    {
        const QString path = QStringLiteral("/apps/%1.desktop").arg(index);
        return static_cast<int>(
            std::count_if(m_applications->launches.cbegin(), m_applications->launches.cend(),
                [&path](const FakeApplications::Launch& launch) { return launch.path == path; }));
    }

    QMenu& menu() const { return *m_delegate->statusItem()->contextMenu(); }

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        auto applications = std::make_unique<FakeApplications>();
        m_applications = applications.get();
        m_services = std::make_unique<Services>(
            std::make_unique<FakeWindowSystem>(), std::move(applications));
        m_mainWindow = std::make_unique<MainWindow>(sharedModelContainer().mainContext(), *m_services);
    }

    void cleanup()
    {
        m_delegate.reset();
        m_mainWindow.reset();
        KeyboardShortcuts::removeAllHandlers();
        for (const auto& name : KeyboardShortcuts::allNames())
            KeyboardShortcuts::setShortcut(std::nullopt, name);
        ModelContext& context = sharedModelContainer().mainContext();
        for (const auto& workspace : std::as_const(m_stored))
            context.remove(workspace);
        QVERIFY(!context.save());
        m_stored.clear();
        m_services.reset();
    }

    void launchingShowsTheTrayIconAndTheMainWindow()
    {
        ConsoleCapture console;
        launch();
        QVERIFY(m_delegate->statusItem()->isVisible());
        QVERIFY(m_delegate->modelContext());
        QVERIFY(m_delegate->modelContext() != &sharedModelContainer().mainContext());
        QTRY_VERIFY(m_mainWindow->isVisible());
        QCOMPARE(m_mainWindow->window()->title(), QStringLiteral("Vantor"));
        QCOMPARE(m_mainWindow->window()->size(), QSize(800, 500));
    }

    void theEmptyMenuHasItsFixedRows()
    {
        ConsoleCapture console;
        launch();
        QCOMPARE(rowTitles(menu()),
            (QStringList{QStringLiteral("Open Workspace"), QStringLiteral("---"),
                QStringLiteral("Settings..."), QStringLiteral("---"), QStringLiteral("Quit")}));
        const auto actions = menu().actions();
        QVERIFY(!actions.at(0)->isEnabled());
        QVERIFY(actions.at(0)->font().pointSizeF() < menu().font().pointSizeF());
        QCOMPARE(actions.at(2)->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Comma));
        QCOMPARE(actions.at(4)->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Q));
        QVERIFY(!console.lines().join(u'\n').contains(QStringLiteral("Registered shortcut")));
    }

    void workspacesWithAKeyAreListedWithIt()
    {
        store(1, QStringLiteral("Work"));
        store(2, QStringLiteral("Play"));
        // The defaults are handed out after the first menu was built...
        launch();
        QCOMPARE(rowTitles(menu()).size(), 5);
        // ...and a rebuild shows them.
        KeyboardShortcuts::NotificationCenter::defaultCenter().post(
            AppDelegate::didUpdateShortcuts());
        const auto actions = menu().actions();
        QCOMPARE(rowTitles(menu()).mid(1, 2),
            (QStringList{QStringLiteral("Work"), QStringLiteral("Play")}));
        QCOMPARE(actions.at(1)->shortcut(), QKeySequence(Qt::SHIFT | Qt::ALT | Qt::Key_1));
        QCOMPARE(actions.at(2)->shortcut(), QKeySequence(Qt::SHIFT | Qt::ALT | Qt::Key_2));
        QCOMPARE(actions.at(1)->data().toUuid(), m_stored.at(0)->id());
    }

    void aWorkspaceWithoutKeyIsMissingUntilItGetsOne()
    {
        const auto removed = store(1, QStringLiteral("No key"));
        removed->setShortcut(QStringLiteral("none"));
        QVERIFY(!sharedModelContainer().mainContext().save());
        launch();
        KeyboardShortcuts::NotificationCenter::defaultCenter().post(
            AppDelegate::didUpdateShortcuts());
        QVERIFY(!rowTitles(menu()).contains(QStringLiteral("No key")));

        KeyboardShortcuts::setShortcut(
            optionShift(Key::five), workspaceShortcutName(removed->id()));
        QVERIFY(!rowTitles(menu()).contains(QStringLiteral("No key")));
        KeyboardShortcuts::NotificationCenter::defaultCenter().post(
            AppDelegate::didUpdateShortcuts());
        QVERIFY(rowTitles(menu()).contains(QStringLiteral("No key")));
    }

    void capsLockIsDroppedFromAnItemsModifiers()
    {
        const auto workspace = store(1, QStringLiteral("Caps"));
        const Shortcut withCapsLock(Key::k.rawValue,
            KeyboardShortcuts::CarbonModifier::cmdKey | KeyboardShortcuts::CarbonModifier::shiftKey
                | KeyboardShortcuts::CarbonModifier::alphaLock);
        KeyboardShortcuts::setShortcut(withCapsLock, workspaceShortcutName(workspace->id()));
        launch();
        QCOMPARE(
            menu().actions().at(1)->shortcut(), QKeySequence(Qt::META | Qt::SHIFT | Qt::Key_K));
    }

    void choosingAnItemActivatesItsWorkspaceById()
    {
        const auto workspace = store(1, QStringLiteral("Work"));
        KeyboardShortcuts::setShortcut(
            optionShift(Key::one), workspaceShortcutName(workspace->id()));
        launch();
        // Renamed elsewhere after the menu was built: the title is stale, the action is not.
        workspace->setName(QStringLiteral("Renamed"));
        QVERIFY(!sharedModelContainer().mainContext().save());
        menu().actions().at(1)->trigger();
        QCOMPARE(activations(1), 1);
    }

    void tenWorkspacesGetEightHandlers()
    {
        for (int i = 1; i <= 10; ++i)
            store(i, QStringLiteral("W%1").arg(i));
        ConsoleCapture console;
        launch();
        QStringList expected;
        for (int slot = 0; slot < 8; ++slot)
            expected.append(
                QStringLiteral("✅ Registered shortcut for W%1 at slot %2").arg(slot + 1).arg(slot));
        QStringList registered = console.lines();
        registered.removeIf(
            [](const QString& line) { return !line.contains(QStringLiteral("Registered")); });
        QCOMPARE(registered, expected);

        const QList<Key> digits{Key::one, Key::two, Key::three, Key::four, Key::five, Key::six,
            Key::seven, Key::eight, Key::nine, Key::zero};
        for (const Key& digit : digits)
            KeyboardShortcuts::handleOnKeyUp(optionShift(digit));
        for (int i = 1; i <= 8; ++i)
            QCOMPARE(activations(i), 1);
        QCOMPARE(activations(9), 0);
        QCOMPARE(activations(10), 0);
    }

    void handlersActOnReleaseOnly()
    {
        store(1, QStringLiteral("Work"));
        launch();
        KeyboardShortcuts::handleOnKeyDown(optionShift(Key::one));
        QCOMPARE(activations(1), 0);
        KeyboardShortcuts::handleOnKeyUp(optionShift(Key::one));
        QCOMPARE(activations(1), 1);
        // Once that launch has ended (its app never showed a window), a release launches anew.
        Platform::LaunchResult timedOut;
        timedOut.outcome = Platform::LaunchResult::Outcome::TimedOut;
        m_applications->launches.last().completion(timedOut);
        KeyboardShortcuts::handleOnKeyUp(optionShift(Key::one));
        QCOMPARE(activations(1), 2);
    }

    void aReleaseWhileTheAppIsLaunchingDoesNotLaunchItAgain()
    {
        store(1, QStringLiteral("Work"));
        launch();
        KeyboardShortcuts::handleOnKeyUp(optionShift(Key::one));
        KeyboardShortcuts::handleOnKeyUp(optionShift(Key::one));
        QCOMPARE(activations(1), 1);
    }

    void aNewNameKeepsTheHotkey()
    {
        const auto workspace = store(1, QStringLiteral("Work"));
        launch();
        workspace->setName(QStringLiteral("Focus"));
        QVERIFY(!sharedModelContainer().mainContext().save());
        KeyboardShortcuts::handleOnKeyUp(optionShift(Key::one));
        QCOMPARE(activations(1), 1);
    }

    void rebuildingTheMenuKeepsTheHandlers()
    {
        store(1, QStringLiteral("Work"));
        launch();
        QMenu* before = &menu();
        KeyboardShortcuts::NotificationCenter::defaultCenter().post(
            AppDelegate::didUpdateShortcuts());
        QVERIFY(&menu() != before);
        KeyboardShortcuts::handleOnKeyUp(optionShift(Key::one));
        QCOMPARE(activations(1), 1);
    }

    void aDeletedWorkspaceDoesNothing()
    {
        const auto workspace = store(1, QStringLiteral("Gone"));
        launch();
        ModelContext& context = sharedModelContainer().mainContext();
        context.remove(workspace);
        QVERIFY(!context.save());
        m_stored.clear();
        ConsoleCapture console;
        m_delegate->activateWorkspace(workspace->id());
        KeyboardShortcuts::handleOnKeyUp(optionShift(Key::one));
        QCOMPARE(activations(1), 0);
        QVERIFY(console.lines().isEmpty());
    }

    void aStoreThatCannotBeReadBindsNothing()
    {
        store(1, QStringLiteral("Work"));
        launch();
        KeyboardShortcuts::removeAllHandlers();
        // Another connection breaks the file's tables behind the delegate's back.
        auto database = Store::Database::open(sharedModelContainer().path());
        database->execute("ALTER TABLE workspace RENAME TO broken");
        ConsoleCapture console;
        AppDelegate second(*m_services, *m_mainWindow);
        second.applicationDidFinishLaunching();
        database->execute("ALTER TABLE broken RENAME TO workspace");
        QVERIFY(console.lines().contains(
            QStringLiteral("⚠️ Failed to load workspaces for shortcuts")));
        QVERIFY(!console.lines().join(u'\n').contains(QStringLiteral("Registered shortcut")));
        QCOMPARE(rowTitles(*second.statusItem()->contextMenu()).size(), 5);
    }
};

VANTOR_DESKTOP_TEST_MAIN_WITH(AppDelegateTest, (TestDesktop::Options{.trayHost = true}))
#include "tst_app_delegate.moc"
