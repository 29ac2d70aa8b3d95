#include "Util/DefaultKeyboardShortcuts.h"

#include "TestMain.h"

#include <KeyboardShortcuts/KeyboardShortcuts.h>

using KeyboardShortcuts::Key;
using KeyboardShortcuts::ModifierFlag;
using KeyboardShortcuts::Shortcut;

namespace {

WorkspacePtr makeWorkspace(const QString& name)
{
    return std::make_shared<Workspace>(
        QUuid::createUuid(), name, QDateTime::currentDateTime(), std::nullopt, QList<AppInfoPtr>{});
}

QList<WorkspacePtr> makeWorkspaces(int count)
{
    QList<WorkspacePtr> workspaces;
    for (int i = 0; i < count; ++i)
        workspaces.append(makeWorkspace(QStringLiteral("Workspace %1").arg(i + 1)));
    return workspaces;
}

Shortcut optionShift(Key key)
{
    return Shortcut(key, ModifierFlag::option | ModifierFlag::shift);
}

std::optional<Shortcut> stored(const WorkspacePtr& workspace)
{
    return KeyboardShortcuts::getShortcut(workspaceShortcutName(workspace->id()));
}

} // namespace

// Default shortcuts for workspaces, on a real X server so that storing one also grabs it.
class DefaultKeyboardShortcutsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    void cleanup()
    {
        for (const auto& name : KeyboardShortcuts::allNames())
            KeyboardShortcuts::setShortcut(std::nullopt, name);
    }

    void theShortcutNameFollowsTheUpperCaseId()
    {
        const QUuid id
            = QUuid::fromString(QStringLiteral("{0f8fad5b-d9cb-469f-a165-70867728950e}"));
        QCOMPARE(workspaceShortcutName(id).rawValue(),
            QStringLiteral("workspaceShortcut_0F8FAD5B-D9CB-469F-A165-70867728950E"));
        QVERIFY(!workspaceShortcutName(id).defaultShortcut());
    }

    void elevenWorkspacesGetTheTenDigitsInOrder()
    {
        const auto workspaces = makeWorkspaces(11);
        DefaultKeyboardShortcuts::setDefaultShortcuts(workspaces, false);
        const QList<Key> digits{Key::one, Key::two, Key::three, Key::four, Key::five, Key::six,
            Key::seven, Key::eight, Key::nine, Key::zero};
        for (int i = 0; i < 10; ++i)
            QCOMPARE(stored(workspaces.at(i)), optionShift(digits.at(i)));
        QCOMPARE(stored(workspaces.at(10)), std::nullopt);
        QCOMPARE(optionShift(Key::one).toJson(),
            QByteArray(R"({"carbonKeyCode":18,"carbonModifiers":2560})"));
    }

    void anEmptyListDoesNothing()
    {
        DefaultKeyboardShortcuts::setDefaultShortcuts({}, true);
        QVERIFY(KeyboardShortcuts::allNames().isEmpty());
    }

    void aSingleWorkspaceGetsOptionShiftOne()
    {
        const auto workspace = makeWorkspace(QStringLiteral("Solo"));
        DefaultKeyboardShortcuts::setDefaultShortcuts({workspace}, false);
        QCOMPARE(stored(workspace), optionShift(Key::one));
    }

    void aRemovedShortcutStaysRemovedAtStartButNotOnReset()
    {
        const auto removed = makeWorkspace(QStringLiteral("Removed"));
        removed->setShortcut(QStringLiteral("none"));
        const auto other = makeWorkspace(QStringLiteral("Other"));
        DefaultKeyboardShortcuts::setDefaultShortcuts({removed, other}, false);
        QCOMPARE(stored(removed), std::nullopt);
        QCOMPARE(stored(other), optionShift(Key::one));

        DefaultKeyboardShortcuts::setDefaultShortcuts({removed, other}, true);
        QCOMPARE(stored(removed), optionShift(Key::two));
    }

    void anOwnShortcutIsKeptAtStartAndReplacedOnReset()
    {
        const auto custom = makeWorkspace(QStringLiteral("Custom"));
        const auto first = makeWorkspace(QStringLiteral("First"));
        const Shortcut commandShiftK(Key::k, ModifierFlag::command | ModifierFlag::shift);
        KeyboardShortcuts::setShortcut(commandShiftK, workspaceShortcutName(custom->id()));
        KeyboardShortcuts::setShortcut(optionShift(Key::one), workspaceShortcutName(first->id()));

        DefaultKeyboardShortcuts::setDefaultShortcuts({custom, first}, false);
        QCOMPARE(stored(custom), commandShiftK);

        // On reset nothing is cleared first: ⌥⇧1 is held by "First", so "Custom" gets ⌥⇧2,
        // and "First" finds ⌥⇧1 (its own) and ⌥⇧2 taken and moves on to ⌥⇧3.
        DefaultKeyboardShortcuts::setDefaultShortcuts({custom, first}, true);
        QCOMPARE(stored(custom), optionShift(Key::two));
        QCOMPARE(stored(first), optionShift(Key::three));
    }

    void aKeyHeldByALaterWorkspaceIsSkipped()
    {
        const auto early = makeWorkspace(QStringLiteral("Early"));
        const auto late = makeWorkspace(QStringLiteral("Late"));
        KeyboardShortcuts::setShortcut(optionShift(Key::one), workspaceShortcutName(late->id()));
        DefaultKeyboardShortcuts::setDefaultShortcuts({early, late}, false);
        QCOMPARE(stored(early), optionShift(Key::two));
        QCOMPARE(stored(late), optionShift(Key::one));
    }

    void keyEquivalentStrings_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << Key::zero.rawValue << QStringLiteral("0");
        QTest::newRow("one") << Key::one.rawValue << QStringLiteral("1");
        QTest::newRow("nine") << Key::nine.rawValue << QStringLiteral("9");
        QTest::newRow("a") << Key::a.rawValue << QStringLiteral("a");
        QTest::newRow("z") << Key::z.rawValue << QStringLiteral("z");
        QTest::newRow("space") << Key::space.rawValue << QString();
        QTest::newRow("f1") << Key::f1.rawValue << QString();
        QTest::newRow("keypad 1") << Key::keypad1.rawValue << QString();
        QTest::newRow("unknown") << 1000 << QString();
    }

    void keyEquivalentStrings()
    {
        QFETCH(int, key);
        QFETCH(QString, text);
        QCOMPARE(keyEquivalentString(Key(key)), text);
    }
};

VANTOR_DESKTOP_TEST_MAIN(DefaultKeyboardShortcutsTest)
#include "tst_default_keyboard_shortcuts.moc"
