#include "KeyboardShortcuts/KeyCodeTable.h"
#include "KeyboardShortcuts/Shortcut.h"

#include "TestMain.h"

#include <QKeyEvent>
#include <QSet>

using namespace KeyboardShortcuts;

// The plain values: shortcuts, their stored form, keys and modifier encodings.
class ShortcutModelTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    void namedKeysCarryTheStandardCodes()
    {
        QCOMPARE(Key::a.rawValue, 0);
        QCOMPARE(Key::s.rawValue, 1);
        QCOMPARE(Key::z.rawValue, 6);
        QCOMPARE(Key::one.rawValue, 18);
        QCOMPARE(Key::zero.rawValue, 29);
        QCOMPARE(Key::return_.rawValue, 36);
        QCOMPARE(Key::tab.rawValue, 48);
        QCOMPARE(Key::space.rawValue, 49);
        QCOMPARE(Key::delete_.rawValue, 51);
        QCOMPARE(Key::escape.rawValue, 53);
        QCOMPARE(Key::command.rawValue, 55);
        QCOMPARE(Key::function.rawValue, 63);
        QCOMPARE(Key::f1.rawValue, 122);
        QCOMPARE(Key::f5.rawValue, 96);
        QCOMPARE(Key::f20.rawValue, 90);
        QCOMPARE(Key::keypad0.rawValue, 82);
        QCOMPARE(Key::keypadEnter.rawValue, 76);
        QCOMPARE(Key::leftArrow.rawValue, 123);
        QCOMPARE(Key::upArrow.rawValue, 126);
        QCOMPARE(Key(300), Key(300));
        QCOMPARE(qHash(Key(7)), qHash(Key::x));
    }

    void theStoredFormIsExact()
    {
        const Shortcut shortcut(Key::one, ModifierFlag::option | ModifierFlag::shift);
        QCOMPARE(shortcut.carbonKeyCode, 18);
        QCOMPARE(shortcut.carbonModifiers, 2560);
        QCOMPARE(shortcut.toJson(), QByteArray("{\"carbonKeyCode\":18,\"carbonModifiers\":2560}"));
        QCOMPARE(Shortcut(Key::one, ModifierFlag::command).toJson(),
            QByteArray("{\"carbonKeyCode\":18,\"carbonModifiers\":256}"));
    }

    void decoding_data()
    {
        QTest::addColumn<QString>("json");
        QTest::addColumn<bool>("decodes");
        QTest::addColumn<int>("keyCode");
        QTest::addColumn<int>("modifiers");
        QTest::newRow("stored form")
            << "{\"carbonKeyCode\":18,\"carbonModifiers\":2560}" << true << 18 << 2560;
        QTest::newRow("other order, blanks")
            << " { \"carbonModifiers\" : 256 ,\n \"carbonKeyCode\" : 0 } " << true << 0 << 256;
        QTest::newRow("extra member")
            << "{\"carbonKeyCode\":1,\"carbonModifiers\":0,\"x\":\"y\"}" << true << 1 << 0;
        QTest::newRow("negative") << "{\"carbonKeyCode\":-1,\"carbonModifiers\":0}" << true << -1
                                  << 0;
        QTest::newRow("missing modifiers") << "{\"carbonKeyCode\":18}" << false << 0 << 0;
        QTest::newRow("missing key code") << "{\"carbonModifiers\":256}" << false << 0 << 0;
        QTest::newRow("string value")
            << "{\"carbonKeyCode\":\"18\",\"carbonModifiers\":256}" << false << 0 << 0;
        QTest::newRow("fraction") << "{\"carbonKeyCode\":18.5,\"carbonModifiers\":256}" << false
                                  << 0 << 0;
        QTest::newRow("null") << "{\"carbonKeyCode\":null,\"carbonModifiers\":256}" << false << 0
                              << 0;
        QTest::newRow("too large")
            << "{\"carbonKeyCode\":99999999999,\"carbonModifiers\":0}" << false << 0 << 0;
        QTest::newRow("truncated") << "{\"carbonKeyCode\":18," << false << 0 << 0;
        QTest::newRow("array") << "[18,256]" << false << 0 << 0;
        QTest::newRow("empty") << "" << false << 0 << 0;
        QTest::newRow("trailing text")
            << "{\"carbonKeyCode\":1,\"carbonModifiers\":0}x" << false << 0 << 0;
    }

    void decoding()
    {
        QFETCH(QString, json);
        QFETCH(bool, decodes);
        const auto shortcut = Shortcut::fromJson(json);
        QCOMPARE(shortcut.has_value(), decodes);
        if (decodes) {
            QFETCH(int, keyCode);
            QFETCH(int, modifiers);
            QCOMPARE(*shortcut, Shortcut(keyCode, modifiers));
        }
    }

    void equalityAndHashUseBothNumbers()
    {
        QCOMPARE(Shortcut(18, 256), Shortcut(18, 256));
        QVERIFY(!(Shortcut(18, 256) == Shortcut(18, 512)));
        QVERIFY(!(Shortcut(18, 256) == Shortcut(19, 256)));
        QCOMPARE(qHash(Shortcut(18, 256)), qHash(Shortcut(18, 256)));
        const QSet<Shortcut> set{Shortcut(18, 256), Shortcut(256, 18), Shortcut(18, 256)};
        QCOMPARE(set.size(), 2);
        QCOMPARE(Shortcut(5).carbonModifiers, 0);
    }

    void modifierFlagsConvertBothWays()
    {
        QCOMPARE(carbonModifiers(ModifierFlag::control), 0x1000);
        QCOMPARE(carbonModifiers(ModifierFlag::option), 0x800);
        QCOMPARE(carbonModifiers(ModifierFlag::shift), 0x200);
        QCOMPARE(carbonModifiers(ModifierFlag::command), 0x100);
        QCOMPARE(carbonModifiers(ModifierFlag::function), 0x20000);
        QCOMPARE(carbonModifiers(ModifierFlag::capsLock | ModifierFlag::numericPad
                     | ModifierFlag::help | ModifierFlag::command),
            0x100);
        QCOMPARE(modifierFlags(0x1000 | 0x800 | 0x200 | 0x100 | 0x20000),
            ModifierFlag::control | ModifierFlag::option | ModifierFlag::shift
                | ModifierFlag::command | ModifierFlag::function);
        QCOMPARE(modifierFlags(0x400 | 0x10000 | 0x1), ModifierFlags());
        QCOMPARE(static_cast<quint32>(ModifierFlag::control), 0x40000u);
        QCOMPARE(static_cast<quint32>(ModifierFlag::option), 0x80000u);
        QCOMPARE(static_cast<quint32>(ModifierFlag::shift), 0x20000u);
        QCOMPARE(static_cast<quint32>(ModifierFlag::command), 0x100000u);
        QCOMPARE(static_cast<quint32>(ModifierFlag::function), 0x800000u);

        const Shortcut shortcut(Key::a, ModifierFlag::control | ModifierFlag::capsLock);
        QCOMPARE(shortcut.carbonModifiers, 0x1000);
        QCOMPARE(shortcut.modifiers(), ModifierFlags(ModifierFlag::control));
        QCOMPARE(shortcut.key(), Key::a);
    }

    void onlyKeyEventsMakeShortcutsAndNeverWithTheFunctionFlag()
    {
        const ModifierFlags flags = ModifierFlag::command | ModifierFlag::function;
        QCOMPARE(Shortcut::fromEvent(10, Key::a.rawValue, flags),
            Shortcut(Key::a, ModifierFlag::command));
        QCOMPARE(Shortcut::fromEvent(11, Key::a.rawValue, flags),
            Shortcut(Key::a, ModifierFlag::command));
        QCOMPARE(Shortcut::fromEvent(12, Key::a.rawValue, flags), std::nullopt);
        QCOMPARE(Shortcut::fromEvent(1, Key::a.rawValue, flags), std::nullopt);

        // An X key event: its scan code is the X keycode (evdev + 8).
        const QKeyEvent press(
            QEvent::KeyPress, Qt::Key_A, Qt::MetaModifier | Qt::ShiftModifier, 38, 0, 0);
        QCOMPARE(Shortcut::fromEvent(press),
            Shortcut(Key::a, ModifierFlag::command | ModifierFlag::shift));
        const QKeyEvent override(QEvent::ShortcutOverride, Qt::Key_A, Qt::MetaModifier, 38, 0, 0);
        QCOMPARE(Shortcut::fromEvent(override), std::nullopt);
        const QKeyEvent unknown(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, 0, 0, 0);
        QCOMPARE(Shortcut::fromEvent(unknown), std::nullopt);
    }

    void keysMapToTheSamePlaceOnALinuxKeyboard()
    {
        QCOMPARE(KeyCodeTable::evdevCode(Key::a.rawValue), 30);
        QCOMPARE(KeyCodeTable::evdevCode(Key::one.rawValue), 2);
        QCOMPARE(KeyCodeTable::xKeycode(Key::one.rawValue), 10);
        QCOMPARE(KeyCodeTable::xKeycode(Key::escape.rawValue), 9);
        QCOMPARE(KeyCodeTable::xKeycode(Key::f1.rawValue), 67);
        QCOMPARE(KeyCodeTable::xKeycode(Key::keypadEnter.rawValue), 104);
        QCOMPARE(KeyCodeTable::xKeycode(Key::upArrow.rawValue), 111);
        QCOMPARE(KeyCodeTable::xKeycode(0x34), std::nullopt);
        QCOMPARE(KeyCodeTable::carbonKeyCodeOfXKeycode(38), Key::a.rawValue);
        // Every code from 0 to 126 that has a place maps back to itself.
        int mapped = 0;
        for (int code = 0; code <= 126; ++code) {
            if (const auto evdev = KeyCodeTable::evdevCode(code)) {
                QCOMPARE(KeyCodeTable::carbonKeyCode(*evdev), code);
                ++mapped;
            }
        }
        QVERIFY(mapped >= 113);
    }
};

VANTOR_UNIT_TEST_MAIN(ShortcutModelTest)
#include "tst_shortcut_model.moc"
