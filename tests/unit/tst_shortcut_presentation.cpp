#include "KeyboardShortcutsTestSupport.h"

#include "KeyboardShortcuts/KeyboardLayout.h"
#include "KeyboardShortcuts/Localization.h"
#include "KeyboardShortcuts/MenuItem+Shortcut.h"

#include "TestMain.h"

#include <QAction>
#include <QMenu>

using namespace KeyboardShortcuts;

namespace {

const ModifierFlags optionShift = ModifierFlag::option | ModifierFlag::shift;
const QString replacement = QStringLiteral("\uFFFD");

QString describe(Key key, ModifierFlags modifiers = {})
{
    return Shortcut(key, modifiers).presentableDescription();
}

} // namespace

// How shortcuts are shown: descriptions, menu key equivalents, key sequences, menu items.
class ShortcutPresentationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Preferences::setFolderName(QStringLiteral("Vantor")); }

    void init()
    {
        failOnUnexpectedWarnings();
        startAfresh();
        QVERIFY(KeyboardLayout::current().useKeymapFromNames(QStringLiteral("us")));
    }

    void lettersShowInUpperCaseAfterTheModifiers()
    {
        QCOMPARE(describe(Key::a, ModifierFlag::command), QStringLiteral("⌘A"));
        QCOMPARE(Shortcut(Key::a, ModifierFlag::command).keyToCharacter(), QStringLiteral("a"));
        QCOMPARE(describe(Key::a), QStringLiteral("A"));
    }

    void theBaseCharacterIsShownNotTheShiftedOne()
    {
        QCOMPARE(describe(Key::one, optionShift), QStringLiteral("⌥⇧1"));
        QCOMPARE(describe(Key::slash, ModifierFlag::shift), QStringLiteral("⇧/"));
    }

    void modifiersComeInTheirFixedOrderAndTheGlobeLast()
    {
        const ModifierFlags all = ModifierFlag::function | ModifierFlag::command
            | ModifierFlag::shift | ModifierFlag::option | ModifierFlag::control;
        QCOMPARE(describe(Key::a, all), QStringLiteral("⌃⌥⇧⌘\U0001F310\uFE0EA"));
        QCOMPARE(describe(Key::f5, ModifierFlag::function | ModifierFlag::command),
            QStringLiteral("⌘\U0001F310\uFE0EF5"));
    }

    void specialKeysShowTheirSymbols()
    {
        QCOMPARE(describe(Key::escape, ModifierFlag::control), QStringLiteral("⌃⎋"));
        QCOMPARE(describe(Key::f5, ModifierFlag::command), QStringLiteral("⌘F5"));
        QCOMPARE(describe(Key::f20), QStringLiteral("F20"));
        QCOMPARE(describe(Key::return_), QStringLiteral("↩"));
        QCOMPARE(describe(Key::help), QStringLiteral("?\u20DD"));
        QCOMPARE(describe(Key::keypad0), QStringLiteral("0\u20E3"));
        QCOMPARE(describe(Key::keypadClear), QStringLiteral("☒\u20E3"));
        QCOMPARE(describe(Key::keypadEnter), QStringLiteral("↩\u20E3"));
        QCOMPARE(describe(Key::keypadMultiply), QStringLiteral("*\u20E3"));
        QCOMPARE(describe(Key::upArrow), QStringLiteral("↑"));
        QCOMPARE(Shortcut(Key::escape).keyToCharacter(), std::nullopt);
    }

    void thereAre53SpecialKeys()
    {
        QCOMPARE(keyToSpecialKeyMapping().size(), 53);
        for (auto it = keyToSpecialKeyMapping().cbegin(); it != keyToSpecialKeyMapping().cend();
             ++it)
            QVERIFY(!presentableDescription(it.value()).isEmpty());
        QVERIFY(!specialKey(Key::a));
    }

    void spaceIsAWordInTheDescriptionAndABlankInMenus()
    {
        QCOMPARE(describe(Key::space, ModifierFlag::command),
            QStringLiteral("⌘") + localized("space_key"));
        QCOMPARE(localized("space_key"), QStringLiteral("Space"));
        QCOMPARE(Shortcut(Key::space).nsMenuItemKeyEquivalent(), QStringLiteral(" "));
    }

    void aKeyWithoutACharacterShowsTheReplacementCharacter()
    {
        QCOMPARE(Shortcut(0x34, CarbonModifier::cmdKey).presentableDescription(),
            QStringLiteral("⌘") + replacement);
        QCOMPARE(Shortcut(999).presentableDescription(), replacement);
        QCOMPARE(Shortcut(-3).keyToCharacter(), std::nullopt);
        // On the US layout the ISO key left of Z gives the same character as backslash.
        QVERIFY(Shortcut(0x0A).keyToCharacter().has_value());
    }

    void menuKeyEquivalents()
    {
        QCOMPARE(
            Shortcut(Key::a, ModifierFlag::command).nsMenuItemKeyEquivalent(), QStringLiteral("a"));
        QCOMPARE(Shortcut(Key::return_).nsMenuItemKeyEquivalent(), QStringLiteral("↩"));
        QCOMPARE(Shortcut(Key::f1).nsMenuItemKeyEquivalent(), QString(QChar(0xF704)));
        QCOMPARE(Shortcut(Key::f20).nsMenuItemKeyEquivalent(), QString(QChar(0xF717)));
        QCOMPARE(Shortcut(Key::keypad5).nsMenuItemKeyEquivalent(), std::nullopt);
    }

    void germanSwapsYAndZ()
    {
        QVERIFY(KeyboardLayout::current().useKeymapFromNames(QStringLiteral("de")));
        QCOMPARE(describe(Key::y, ModifierFlag::command), QStringLiteral("⌘Z"));
        QCOMPARE(describe(Key::z, ModifierFlag::command), QStringLiteral("⌘Y"));
        QCOMPARE(describe(Key::semicolon), QStringLiteral("Ö"));
        // Sharp s has no single upper-case character and stays as it is.
        QCOMPARE(describe(Key::minus), QStringLiteral("ß"));
    }

    void aNonLatinFirstLayoutStillShowsLatinLetters()
    {
        QVERIFY(KeyboardLayout::current().useKeymapFromNames(QStringLiteral("ru,us")));
        QCOMPARE(describe(Key::a, ModifierFlag::control), QStringLiteral("⌃A"));
        QCOMPARE(describe(Key::q), QStringLiteral("Q"));
        QCOMPARE(describe(Key::one, optionShift), QStringLiteral("⌥⇧1"));
        QVERIFY(KeyboardLayout::current().useKeymapFromNames(QStringLiteral("ru")));
        QCOMPARE(describe(Key::a), QStringLiteral("Ф"));
    }

    void keySequencesForQt()
    {
        QCOMPARE(Shortcut(Key::a, ModifierFlag::command | ModifierFlag::shift).toKeySequence(),
            QKeySequence(Qt::META | Qt::SHIFT | Qt::Key_A));
        QCOMPARE(Shortcut(Key::escape, ModifierFlag::control).toKeySequence(),
            QKeySequence(Qt::CTRL | Qt::Key_Escape));
        QCOMPARE(Shortcut(Key::one, optionShift).toKeySequence(),
            QKeySequence(Qt::ALT | Qt::SHIFT | Qt::Key_1));
        QCOMPARE(
            Shortcut(Key::keypad0).toKeySequence(), QKeySequence(Qt::KeypadModifier | Qt::Key_0));
        QCOMPARE(Shortcut(999).toKeySequence(), std::nullopt);
    }

    void aMenuItemFollowsItsNamedShortcut()
    {
        const Name name(QStringLiteral("menuFollow"));
        const Name other(QStringLiteral("menuOther"));
        setShortcut(Shortcut(Key::a, ModifierFlag::command), name);
        QAction item(QStringLiteral("Open"));
        setShortcutFor(&item, name);
        QCOMPARE(item.shortcut(), QKeySequence(Qt::META | Qt::Key_A));
        QCOMPARE(keyEquivalent(&item).keyEquivalent, QStringLiteral("a"));
        QCOMPARE(keyEquivalent(&item).modifierMask, ModifierFlags(ModifierFlag::command));
        QVERIFY(!keyEquivalent(&item).allowsAutomaticKeyEquivalentLocalization);

        setShortcut(Shortcut(Key::f5, ModifierFlag::control), name);
        QCOMPARE(item.shortcut(), QKeySequence(Qt::CTRL | Qt::Key_F5));
        setShortcut(Shortcut(Key::b), other);
        QCOMPARE(item.shortcut(), QKeySequence(Qt::CTRL | Qt::Key_F5));

        // A new binding replaces the old one.
        setShortcutFor(&item, other);
        QCOMPARE(item.shortcut(), QKeySequence(Qt::Key_B));
        setShortcut(Shortcut(Key::c), name);
        QCOMPARE(item.shortcut(), QKeySequence(Qt::Key_B));

        setShortcut(std::nullopt, other);
        QVERIFY(item.shortcut().isEmpty());
        QCOMPARE(keyEquivalent(&item).keyEquivalent, QString());
        QCOMPARE(keyEquivalent(&item).modifierMask, ModifierFlags());
        QVERIFY(keyEquivalent(&item).allowsAutomaticKeyEquivalentLocalization);
    }

    void aMenuItemWithoutANameShowsNothing()
    {
        QAction item(QStringLiteral("Close"));
        setShortcut(&item, Shortcut(Key::w, ModifierFlag::command));
        QCOMPARE(item.shortcut(), QKeySequence(Qt::META | Qt::Key_W));
        setShortcutFor(&item, std::nullopt);
        QVERIFY(item.shortcut().isEmpty());
        QVERIFY(keyEquivalent(&item).allowsAutomaticKeyEquivalentLocalization);
    }

    void aKeypadKeyLeavesTheKeyEquivalentEmptyButSetsTheMask()
    {
        QAction item(QStringLiteral("Zoom"));
        setShortcut(&item, Shortcut(Key::keypad5, ModifierFlag::command | ModifierFlag::option));
        QCOMPARE(keyEquivalent(&item).keyEquivalent, QString());
        QCOMPARE(keyEquivalent(&item).modifierMask, ModifierFlag::command | ModifierFlag::option);
        QVERIFY(item.shortcut().isEmpty());
    }

    void theFirstMatchingMenuItemIsFoundDepthFirst()
    {
        QMenu menu;
        QAction* copy = menu.addAction(QStringLiteral("Copy"));
        copy->setShortcut(QKeySequence(Qt::META | Qt::Key_C));
        QMenu* submenu = menu.addMenu(QStringLiteral("More"));
        QAction* nested = submenu->addAction(QStringLiteral("Nested"));
        nested->setShortcut(QKeySequence(Qt::META | Qt::SHIFT | Qt::Key_N));
        QAction* later = menu.addAction(QStringLiteral("Later"));
        later->setShortcut(QKeySequence(Qt::META | Qt::SHIFT | Qt::Key_N));
        QAction* escape = menu.addAction(QStringLiteral("Cancel"));
        escape->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Escape));

        QCOMPARE(Shortcut(Key::c, ModifierFlag::command).menuItemWithMatchingShortcut(&menu), copy);
        QCOMPARE(Shortcut(Key::n, ModifierFlag::command | ModifierFlag::shift)
                     .menuItemWithMatchingShortcut(&menu),
            nested);
        QCOMPARE(Shortcut(Key::escape, ModifierFlag::control).menuItemWithMatchingShortcut(&menu),
            escape);
        QCOMPARE(
            Shortcut(Key::c, ModifierFlag::control).menuItemWithMatchingShortcut(&menu), nullptr);
        QCOMPARE(
            Shortcut(Key::n, ModifierFlag::command).menuItemWithMatchingShortcut(&menu), nullptr);
        QCOMPARE(Shortcut(Key::keypad1).menuItemWithMatchingShortcut(&menu), nullptr);
    }

    void theTextsOfTheRecorderExist()
    {
        for (const char* key : {"record_shortcut", "press_shortcut", "space_key",
                 "keyboard_shortcut_used_by_menu_item", "keyboard_shortcut_disallowed",
                 "keyboard_shortcut_used_by_system", "keyboard_shortcuts_can_be_changed", "ok",
                 "force_use_shortcut"}) {
            QVERIFY2(localized(key) != QString::fromLatin1(key), key);
        }
        QVERIFY(localized("keyboard_shortcut_used_by_menu_item").contains(QStringLiteral("%1")));
    }
};

VANTOR_UNIT_TEST_MAIN(ShortcutPresentationTest)
#include "tst_shortcut_presentation.moc"
