#include "KeyboardShortcutsTestSupport.h"

#include "KeyboardShortcuts/NotificationCenter.h"

#include "TestMain.h"

#include <QDir>
#include <QSaveFile>
#include <QThread>

using namespace KeyboardShortcuts;

namespace {

QString preferencesPath()
{
    return Preferences::standard().filePath();
}

// Writes the file as another process would: atomically, behind the library's back.
void writeFromOutside(const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(preferencesPath()).absolutePath());
    QSaveFile file(preferencesPath());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    QVERIFY(file.commit());
}

QStringList setAsideFiles()
{
    const QFileInfo info(preferencesPath());
    return info.dir().entryList({info.fileName() + QStringLiteral(".corrupt-*")}, QDir::Files);
}

} // namespace

// The preferences file and the notification centre.
class ShortcutPreferencesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Preferences::setFolderName(QStringLiteral("Vantor")); }

    void init()
    {
        failOnUnexpectedWarnings();
        startAfresh();
        const QFileInfo info(preferencesPath());
        for (const QString& name : setAsideFiles())
            QFile::remove(info.dir().filePath(name));
    }

    void valuesKeepTheirTypes()
    {
        Preferences& preferences = Preferences::standard();
        preferences.set(QStringLiteral("text"), QStringLiteral("{\"a\":1}"));
        preferences.set(QStringLiteral("flag"), false);
        const QJsonObject stored = storedPreferences();
        QVERIFY(stored.value(QStringLiteral("text")).isString());
        QVERIFY(stored.value(QStringLiteral("flag")).isBool());
        QCOMPARE(preferences.object(QStringLiteral("text")).typeId(), QMetaType::QString);
        QCOMPARE(preferences.object(QStringLiteral("flag")).typeId(), QMetaType::Bool);
        QVERIFY(preferences.contains(QStringLiteral("flag")));
        preferences.remove(QStringLiteral("flag"));
        QVERIFY(!storedPreferences().contains(QStringLiteral("flag")));
        QVERIFY(!preferences.contains(QStringLiteral("flag")));
    }

    void theFileIsWrittenInOneStep()
    {
        Preferences::standard().set(QStringLiteral("key"), QStringLiteral("value"));
        const QDir folder = QFileInfo(preferencesPath()).dir();
        QCOMPARE(folder.entryList(QDir::Files), QStringList{QStringLiteral("preferences.json")});
        QCOMPARE(folder.absolutePath(),
            qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/Vantor"));
    }

    void aChangeByAnotherProcessIsReadOnTheNextRead()
    {
        const Name name(QStringLiteral("elsewhere"));
        setShortcut(Shortcut(Key::a, ModifierFlag::control), name);
        writeFromOutside("{\"KeyboardShortcuts_elsewhere\":\"{\\\"carbonKeyCode\\\":18,"
                         "\\\"carbonModifiers\\\":256}\"}");
        QCOMPARE(getShortcut(name), Shortcut(Key::one, ModifierFlag::command));
        QFile::remove(preferencesPath());
        QCOMPARE(getShortcut(name), std::nullopt);
    }

    void aWriteKeepsWhatAnotherProcessWrote()
    {
        Preferences::standard().set(QStringLiteral("mine"), QStringLiteral("1"));
        writeFromOutside("{\"mine\":\"1\",\"theirs\":\"2\"}");
        Preferences::standard().set(QStringLiteral("more"), QStringLiteral("3"));
        const QJsonObject stored = storedPreferences();
        QCOMPARE(stored.value(QStringLiteral("theirs")).toString(), QStringLiteral("2"));
        QCOMPARE(stored.value(QStringLiteral("more")).toString(), QStringLiteral("3"));
    }

    void aWrongTypeOrBrokenJsonUnderAKeyReadsAsNoShortcut()
    {
        writeFromOutside(
            "{\"KeyboardShortcuts_number\":18,"
            "\"KeyboardShortcuts_object\":{\"carbonKeyCode\":18,\"carbonModifiers\":256},"
            "\"KeyboardShortcuts_true\":true,"
            "\"KeyboardShortcuts_broken\":\"{\\\"carbonKeyCode\\\":18\","
            "\"KeyboardShortcuts_good\":\"{\\\"carbonKeyCode\\\":18,\\\"carbonModifiers\\\":256}"
            "\"}");
        for (const char* raw : {"number", "object", "true", "broken"})
            QCOMPARE(getShortcut(Name(QString::fromLatin1(raw))), std::nullopt);
        QCOMPARE(
            getShortcut(Name(QStringLiteral("good"))), Shortcut(Key::one, ModifierFlag::command));
        QVERIFY(setAsideFiles().isEmpty());
    }

    void aTruncatedFileIsSetAsideAndNothingElseIsLost()
    {
        const QByteArray truncated
            = "{\"KeyboardShortcuts_a\":\"{\\\"carbonKeyCode\\\":0,\\\"carbonModi";
        writeFromOutside(truncated);
        ShortcutConsoleCapture console;
        QCOMPARE(getShortcut(Name(QStringLiteral("a"))), std::nullopt);
        QCOMPARE(console.lines().size(), 1);
        QVERIFY(console.lines().first().startsWith(
            QStringLiteral("Unreadable preferences file moved aside: ")));
        QVERIFY(!QFile::exists(preferencesPath()));
        const QStringList aside = setAsideFiles();
        QCOMPARE(aside.size(), 1);
        QFile kept(QFileInfo(preferencesPath()).dir().filePath(aside.first()));
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), truncated);

        // Life goes on with a fresh file; the set-aside one stays.
        QVERIFY(Preferences::standard().dictionaryRepresentation().isEmpty());
        setShortcut(Shortcut(Key::b, ModifierFlag::command), Name(QStringLiteral("b")));
        QCOMPARE(storedPreferences().keys(), QStringList{QStringLiteral("KeyboardShortcuts_b")});
        QCOMPARE(setAsideFiles().size(), 1);
        QCOMPARE(console.lines().size(), 1);
    }

    void aFileThatIsNoObjectIsSetAsideToo()
    {
        writeFromOutside("[1, 2, 3]");
        ShortcutConsoleCapture console;
        QVERIFY(allNames().isEmpty());
        QCOMPARE(console.lines().size(), 1);
        QCOMPARE(setAsideFiles().size(), 1);
    }

    void observersRunInOrderUntilRemoved()
    {
        NotificationCenter& center = NotificationCenter::defaultCenter();
        QStringList calls;
        const ObserverToken first
            = center.addObserver(QStringLiteral("ping"), [&calls](const Notification& n) {
                  calls << QStringLiteral("first:")
                          + n.userInfo.value(QStringLiteral("n")).toString();
              });
        const ObserverToken second = center.addObserver(QStringLiteral("ping"),
            [&calls](const Notification&) { calls << QStringLiteral("second"); });
        const ObserverToken other = center.addObserver(QStringLiteral("pong"),
            [&calls](const Notification&) { calls << QStringLiteral("other"); });
        center.post(QStringLiteral("ping"), {{QStringLiteral("n"), 1}});
        QCOMPARE(calls, (QStringList{QStringLiteral("first:1"), QStringLiteral("second")}));
        center.removeObserver(first);
        center.post(QStringLiteral("ping"));
        QCOMPARE(calls.last(), QStringLiteral("second"));
        QCOMPARE(calls.size(), 3);
        center.removeObserver(second);
        center.removeObserver(other);
        center.post(QStringLiteral("ping"));
        QCOMPARE(calls.size(), 3);
    }

    void anObserverGoesWithItsContext()
    {
        int calls = 0;
        auto context = std::make_unique<QObject>();
        NotificationCenter::defaultCenter().addObserver(
            QStringLiteral("context"), [&calls](const Notification&) { ++calls; }, context.get());
        NotificationCenter::defaultCenter().post(QStringLiteral("context"));
        context.reset();
        NotificationCenter::defaultCenter().post(QStringLiteral("context"));
        QCOMPARE(calls, 1);
    }

    void aPostFromAnotherThreadIsDeliveredOnTheMainThread()
    {
        QThread* deliveredOn = nullptr;
        const ObserverToken token
            = NotificationCenter::defaultCenter().addObserver(QStringLiteral("fromThread"),
                [&deliveredOn](const Notification&) { deliveredOn = QThread::currentThread(); });
        std::unique_ptr<QThread> thread(QThread::create(
            [] { NotificationCenter::defaultCenter().post(QStringLiteral("fromThread")); }));
        thread->start();
        QVERIFY(thread->wait(5000));
        QTRY_COMPARE(deliveredOn, QThread::currentThread());
        NotificationCenter::defaultCenter().removeObserver(token);
    }

    void theChangeNotificationCarriesTheName()
    {
        Name received;
        const ObserverToken token = NotificationCenter::defaultCenter().addObserver(
            shortcutByNameDidChange, [&received](const Notification& notification) {
                received = notification.userInfo.value(QStringLiteral("name")).value<Name>();
            });
        setShortcut(Shortcut(Key::a, ModifierFlag::command), Name(QStringLiteral("told")));
        QCOMPARE(received.rawValue(), QStringLiteral("told"));
        QCOMPARE(QString(shortcutByNameDidChange),
            QStringLiteral("KeyboardShortcuts_shortcutByNameDidChange"));
        NotificationCenter::defaultCenter().removeObserver(token);
    }
};

VANTOR_UNIT_TEST_MAIN(ShortcutPreferencesTest)
#include "tst_shortcut_preferences.moc"
