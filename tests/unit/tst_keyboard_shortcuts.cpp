#include "KeyboardShortcutsTestSupport.h"

#include "KeyboardShortcuts/KeyboardLayout.h"
#include "KeyboardShortcuts/NotificationCenter.h"

#include "TestMain.h"

#include <QJsonValue>
#include <QSaveFile>

using namespace KeyboardShortcuts;

namespace {

using namespace TestShortcuts;

// Counts the change notifications of one name.
class ChangeCounter {
public:
    explicit ChangeCounter(const QString& rawValue)
    {
        m_token = NotificationCenter::defaultCenter().addObserver(
            shortcutByNameDidChange, [this, rawValue](const Notification& notification) {
                if (notification.userInfo.value(QStringLiteral("name")).value<Name>().rawValue()
                    == rawValue)
                    ++m_count;
            });
    }
    ~ChangeCounter() { NotificationCenter::defaultCenter().removeObserver(m_token); }
    ChangeCounter(const ChangeCounter&) = delete;
    ChangeCounter& operator=(const ChangeCounter&) = delete;
    int count() const { return m_count; }

private:
    ObserverToken m_token;
    int m_count = 0;
};

void writePreferencesFile(const QJsonObject& object)
{
    QSaveFile file(Preferences::standard().filePath());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QJsonDocument(object).toJson());
    QVERIFY(file.commit());
}

} // namespace

// Names, their stored shortcuts and their handlers.
class KeyboardShortcutsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        Preferences::setFolderName(QStringLiteral("Vantor"));
        QVERIFY(KeyboardLayout::current().useKeymapFromNames(QStringLiteral("us")));
    }

    void init()
    {
        failOnUnexpectedWarnings();
        m_service = startAfresh();
    }

    void storingAShortcutWritesItsJsonRegistersItAndPostsTheChange()
    {
        const Name name(QStringLiteral("store"));
        ChangeCounter changes(QStringLiteral("store"));
        setShortcut(optionShiftOne, name);

        const QJsonValue stored
            = storedPreferences().value(QStringLiteral("KeyboardShortcuts_store"));
        QVERIFY(stored.isString());
        QCOMPARE(
            stored.toString(), QStringLiteral("{\"carbonKeyCode\":18,\"carbonModifiers\":2560}"));
        QCOMPARE(getShortcut(name), optionShiftOne);
        QCOMPARE(name.shortcut(), optionShiftOne);
        QCOMPARE(m_service->liveCount(optionShiftOne), 1);
        QVERIFY(registeredShortcuts().contains(optionShiftOne));
        QCOMPARE(changes.count(), 1);
    }

    void theFileLivesInTheApplicationsConfigurationFolder()
    {
        setShortcut(controlA, Name(QStringLiteral("where")));
        const QString expected
            = qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/Vantor/preferences.json");
        QCOMPARE(Preferences::standard().filePath(), expected);
        QVERIFY(QFile::exists(expected));
    }

    void aNewShortcutReplacesTheRegistrationOfTheOldOne()
    {
        const Name name(QStringLiteral("replace"));
        setShortcut(controlA, name);
        setShortcut(commandOne, name);
        QCOMPARE(m_service->liveCount(controlA), 0);
        QCOMPARE(m_service->liveCount(commandOne), 1);
        QVERIFY(!registeredShortcuts().contains(controlA));
    }

    void aNameStoresItsDefaultOnlyWhenNothingIsStored()
    {
        const Name first(QStringLiteral("withDefault"), commandOne);
        QCOMPARE(first.shortcut(), commandOne);
        QCOMPARE(m_service->liveCount(commandOne), 1);

        setShortcut(controlA, first);
        const Name again(QStringLiteral("withDefault"), commandOne);
        QCOMPARE(again.shortcut(), controlA);
    }

    void removingTheShortcutOfANameWithADefaultStoresFalse()
    {
        const Name name(QStringLiteral("disabled"), commandOne);
        ChangeCounter changes(QStringLiteral("disabled"));
        setShortcut(std::nullopt, name);

        const QJsonValue stored
            = storedPreferences().value(QStringLiteral("KeyboardShortcuts_disabled"));
        QVERIFY(stored.isBool());
        QCOMPARE(stored.toBool(), false);
        QCOMPARE(getShortcut(name), std::nullopt);
        QCOMPARE(m_service->liveCount(commandOne), 0);
        QCOMPARE(changes.count(), 1);

        // The next start: the stored false keeps the default away.
        const Name nextStart(QStringLiteral("disabled"), commandOne);
        QCOMPARE(nextStart.shortcut(), std::nullopt);
        QVERIFY(storedPreferences().value(QStringLiteral("KeyboardShortcuts_disabled")).isBool());
        QCOMPARE(m_service->liveCount(commandOne), 0);
    }

    void removingTheShortcutOfANameWithoutDefaultTwicePostsOnce()
    {
        const Name name(QStringLiteral("plain"));
        setShortcut(controlA, name);
        ChangeCounter changes(QStringLiteral("plain"));
        setShortcut(std::nullopt, name);
        setShortcut(std::nullopt, name);
        QCOMPARE(changes.count(), 1);
        QVERIFY(!storedPreferences().contains(QStringLiteral("KeyboardShortcuts_plain")));
        QCOMPARE(m_service->liveCount(controlA), 0);
    }

    void resetStoresTheDefaultOrRemovesTheEntry()
    {
        const Name withDefault(QStringLiteral("resetDefault"), commandOne);
        const Name withoutDefault(QStringLiteral("resetPlain"));
        setShortcut(controlA, withDefault);
        setShortcut(optionShiftOne, withoutDefault);
        QCOMPARE(m_service->liveCount(commandOne), 0);

        reset(withDefault, withoutDefault);

        QCOMPARE(
            storedPreferences().value(QStringLiteral("KeyboardShortcuts_resetDefault")).toString(),
            QStringLiteral("{\"carbonKeyCode\":18,\"carbonModifiers\":256}"));
        QCOMPARE(m_service->liveCount(commandOne), 1);
        QVERIFY(!storedPreferences().contains(QStringLiteral("KeyboardShortcuts_resetPlain")));
        QCOMPARE(m_service->liveCount(optionShiftOne), 0);
    }

    void resetAllClearsEveryStoredName()
    {
        setShortcut(controlA, Name(QStringLiteral("one")));
        setShortcut(commandOne, Name(QStringLiteral("two")));
        QSet<QString> names;
        for (const Name& name : allNames())
            names.insert(name.rawValue());
        QCOMPARE(names, (QSet<QString>{QStringLiteral("one"), QStringLiteral("two")}));

        resetAll();
        QVERIFY(allNames().isEmpty());
        QCOMPARE(m_service->live.size(), size_t(0));
    }

    void aStoredValueThatIsNoShortcutReadsAsNoneAndIsNeverDispatched()
    {
        writePreferencesFile({
            {QStringLiteral("KeyboardShortcuts_broken"), QStringLiteral("{\"carbonKeyCode\":18,")},
            {QStringLiteral("KeyboardShortcuts_number"), 42},
            {QStringLiteral("KeyboardShortcuts_stringCode"),
                QStringLiteral("{\"carbonKeyCode\":\"18\",\"carbonModifiers\":256}")},
            {QStringLiteral("KeyboardShortcuts_missing"), QStringLiteral("{\"carbonKeyCode\":18}")},
            {QStringLiteral("KeyboardShortcuts_fraction"),
                QStringLiteral("{\"carbonKeyCode\":18.5,\"carbonModifiers\":256}")},
        });
        int calls = 0;
        for (const char* raw : {"broken", "number", "stringCode", "missing", "fraction"}) {
            const Name name{QString::fromLatin1(raw)};
            QCOMPARE(getShortcut(name), std::nullopt);
            onKeyDown(name, [&calls] { ++calls; });
        }
        QCOMPARE(m_service->registerCalls, 0);
        handleOnKeyDown(commandOne);
        handleOnKeyDown(Shortcut(18, 0));
        QCOMPARE(calls, 0);
    }

    void nothingIsRegisteredUntilANameIsUsed()
    {
        writePreferencesFile(
            {{QStringLiteral("KeyboardShortcuts_later"), QString::fromUtf8(controlA.toJson())}});
        const Name name(QStringLiteral("later"));
        QCOMPARE(m_service->registerCalls, 0);
        onKeyUp(name, [] {});
        QCOMPARE(m_service->liveCount(controlA), 1);
    }

    void aPressRunsTheHandlersOfTheNameInOrder()
    {
        const Name name(QStringLiteral("ordered"));
        setShortcut(controlA, name);
        QStringList calls;
        onKeyDown(name, [&calls] { calls << QStringLiteral("first"); });
        onKeyDown(name, [&calls] { calls << QStringLiteral("second"); });
        onKeyUp(name, [&calls] { calls << QStringLiteral("up"); });

        QCOMPARE(m_service->press(controlA), noErr);
        QCOMPARE(calls, (QStringList{QStringLiteral("first"), QStringLiteral("second")}));
        QCOMPARE(m_service->release(controlA), noErr);
        QCOMPARE(calls.last(), QStringLiteral("up"));
        QCOMPARE(m_service->liveCount(controlA), 1);
    }

    void everyNameHoldingThePressedShortcutRuns()
    {
        const Name first(QStringLiteral("shareFirst"));
        const Name second(QStringLiteral("shareSecond"));
        setShortcut(controlA, first);
        setShortcut(controlA, second);
        int calls = 0;
        onKeyUp(first, [&calls] { ++calls; });
        onKeyUp(second, [&calls] { ++calls; });
        m_service->release(controlA);
        QCOMPARE(calls, 2);

        // Registrations are kept by shortcut: clearing one name unregisters it for both.
        setShortcut(std::nullopt, first);
        QCOMPARE(m_service->liveCount(controlA), 0);
        QVERIFY(!registeredShortcuts().contains(controlA));
        handleOnKeyUp(controlA);
        QCOMPARE(calls, 3);
    }

    void aChangedShortcutTakesEffectWithoutNewHandlers()
    {
        const Name name(QStringLiteral("moving"));
        setShortcut(controlA, name);
        int calls = 0;
        onKeyUp(name, [&calls] { ++calls; });
        setShortcut(commandOne, name);
        QCOMPARE(m_service->release(controlA), eventNotHandledErr);
        handleOnKeyUp(controlA);
        QCOMPARE(calls, 0);
        m_service->release(commandOne);
        QCOMPARE(calls, 1);
    }

    void pausedRunsNothingWhileTheGrabStays()
    {
        const Name name(QStringLiteral("paused"));
        setShortcut(controlA, name);
        int calls = 0;
        onKeyDown(name, [&calls] { ++calls; });
        onKeyUp(name, [&calls] { ++calls; });
        setPaused(true);
        QCOMPARE(m_service->press(controlA), noErr);
        m_service->release(controlA);
        QCOMPARE(calls, 0);
        QCOMPARE(m_service->liveCount(controlA), 1);
        setPaused(false);
        m_service->release(controlA);
        QCOMPARE(calls, 1);
    }

    void settingIsEnabledToItsValueCallsNothing()
    {
        const Name name(QStringLiteral("switch"));
        setShortcut(controlA, name);
        const int registerCalls = m_service->registerCalls;
        const int unregisterCalls = m_service->unregisterCalls;
        const int eventTypeChanges = m_service->eventTypeChanges;
        setEnabled(true);
        QCOMPARE(m_service->registerCalls, registerCalls);
        QCOMPARE(m_service->unregisterCalls, unregisterCalls);
        QCOMPARE(m_service->eventTypeChanges, eventTypeChanges);

        setEnabled(false);
        QCOMPARE(m_service->liveCount(controlA), 0);
        const int afterDisabling = m_service->eventTypeChanges;
        setEnabled(false);
        QCOMPARE(m_service->eventTypeChanges, afterDisabling);
        setEnabled(true);
        QCOMPARE(m_service->liveCount(controlA), 1);
    }

    void enableAndDisableLeaveTheEntries()
    {
        const Name name(QStringLiteral("toggled"));
        setShortcut(controlA, name);
        disable(name);
        QCOMPARE(m_service->liveCount(controlA), 0);
        QCOMPARE(getShortcut(name), controlA);
        enable(name);
        QCOMPARE(m_service->liveCount(controlA), 1);
        QCOMPARE(getShortcut(name), controlA);
    }

    void aRefusedRegistrationStillCountsAsRegistered()
    {
        m_service->heldByOthers.insert(FakeHotKeyService::combinationOf(commandOne));
        ShortcutConsoleCapture console;
        const Name name(QStringLiteral("taken"));
        setShortcut(commandOne, name);
        QCOMPARE(
            console.lines(), QStringList{QStringLiteral("Error registering hotkey ⌘1: -9878")});
        QVERIFY(registeredShortcuts().contains(commandOne));
        const int calls = m_service->registerCalls;
        onKeyUp(name, [] {});
        enable(name);
        QCOMPARE(m_service->registerCalls, calls);
    }

    void removeAllHandlersUnregistersTheirShortcuts()
    {
        const Name legacy(QStringLiteral("legacy"));
        const Name stored(QStringLiteral("storedOnly"));
        setShortcut(controlA, legacy);
        setShortcut(commandOne, stored);
        int calls = 0;
        onKeyUp(legacy, [&calls] { ++calls; });
        removeAllHandlers();
        QCOMPARE(m_service->liveCount(controlA), 0);
        QCOMPARE(m_service->liveCount(commandOne), 1);
        handleOnKeyUp(controlA);
        QCOMPARE(calls, 0);
    }

    void streamsGetTheirHandlersOnTheNextTurn()
    {
        const Name name(QStringLiteral("streamed"));
        setShortcut(controlA, name);
        const auto stream = events(name);
        const auto upOnly = events(EventType::keyUp, name);
        QList<EventType> all;
        QList<EventType> ups;
        connect(stream.get(), &EventStream::eventReceived, this, [&all](EventType t) { all << t; });
        connect(upOnly.get(), &EventStream::eventReceived, this, [&ups](EventType t) { ups << t; });

        handleOnKeyDown(controlA);
        QVERIFY(all.isEmpty());
        QCoreApplication::processEvents();
        handleOnKeyDown(controlA);
        handleOnKeyUp(controlA);
        QCOMPARE(all, (QList<EventType>{EventType::keyDown, EventType::keyUp}));
        QCOMPARE(ups, QList<EventType>{EventType::keyUp});
    }

    void anEndedStreamStopsButItsShortcutStaysRegistered()
    {
        const Name name(QStringLiteral("ended"));
        setShortcut(controlA, name);
        unregisterAll();
        auto stream = events(name);
        int received = 0;
        connect(stream.get(), &EventStream::eventReceived, this, [&received] { ++received; });
        QCoreApplication::processEvents();
        QCOMPARE(m_service->liveCount(controlA), 1);

        stream->cancel();
        handleOnKeyDown(controlA);
        QCOMPARE(received, 0);
        QCoreApplication::processEvents();
        QCOMPARE(m_service->liveCount(controlA), 1);
        QVERIFY(registeredShortcuts().contains(controlA));
    }

    void namesAreEqualByTheirText()
    {
        const Name plain(QStringLiteral("same"));
        const Name withDefault(QStringLiteral("same"), commandOne);
        QCOMPARE(plain, withDefault);
        QCOMPARE(qHash(plain), qHash(withDefault));
        QVERIFY(!(plain == Name(QStringLiteral("other"))));
        QCOMPARE(withDefault.preferencesKey(), QStringLiteral("KeyboardShortcuts_same"));
    }

private:
    FakeHotKeyService* m_service = nullptr;
};

VANTOR_UNIT_TEST_MAIN(KeyboardShortcutsTest)
#include "tst_keyboard_shortcuts.moc"
