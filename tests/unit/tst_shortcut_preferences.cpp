#include "KeyboardShortcutsTestSupport.h"

#include "KeyboardShortcuts/NotificationCenter.h"
#include "KeyboardShortcuts/PreferencesFile.h"

#include "TestMain.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSaveFile>
#include <QThread>

#include <sys/stat.h>
#include <unistd.h>

using namespace KeyboardShortcuts;
using namespace TestShortcuts;

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
    return info.dir().entryList({info.fileName() + QStringLiteral(".corrupt-*")},
        QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
}

QString preferencesFolder()
{
    return QFileInfo(preferencesPath()).absolutePath();
}

// The kind of what was set aside, from lstat: it must have been moved, not copied or opened.
mode_t setAsideKind()
{
    const QStringList aside = setAsideFiles();
    if (aside.size() != 1)
        return 0;
    struct stat info { };
    const QByteArray path = QFile::encodeName(QDir(preferencesFolder()).filePath(aside.first()));
    return ::lstat(path.constData(), &info) == 0 ? (info.st_mode & S_IFMT) : 0;
}

// A preferences file of about `size` bytes: one shortcut entry, then as many other entries
// as fill it.
QByteArray preferencesOfSize(qsizetype size)
{
    QByteArray bytes = "{\"KeyboardShortcuts_kept\":\"{\\\"carbonKeyCode\\\":18,"
                       "\\\"carbonModifiers\\\":256}\"";
    for (int entry = 0; bytes.size() < size - 64; ++entry)
        bytes += ",\"filler" + QByteArray::number(entry) + "\":\"some value of the filler\"";
    return bytes + '}';
}

// Puts a regular file where the preferences folder belongs while it lives: every save fails.
class FolderInTheWay {
public:
    FolderInTheWay()
    {
        QDir(preferencesFolder()).removeRecursively();
        QFile file(preferencesFolder());
        m_ok = file.open(QIODevice::WriteOnly);
    }
    ~FolderInTheWay() { QFile::remove(preferencesFolder()); }
    FolderInTheWay(const FolderInTheWay&) = delete;
    FolderInTheWay& operator=(const FolderInTheWay&) = delete;
    bool isOk() const { return m_ok; }

private:
    bool m_ok = false;
};

} // namespace

// The preferences file and the notification centre.
class ShortcutPreferencesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Preferences::setFolderName(QStringLiteral("Vantor")); }

    void init()
    {
        failOnUnexpectedWarnings();
        m_service = startAfresh();
        const QFileInfo info(preferencesPath());
        for (const QString& name : setAsideFiles()) {
            const QString path = info.dir().filePath(name);
            if (!QFile::remove(path))
                QDir(path).removeRecursively();
        }
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
        QVERIFY2(console.lines().first().startsWith(
                     QStringLiteral("Unreadable preferences file (not JSON: ")),
            qPrintable(console.lines().first()));
        QVERIFY(console.lines().first().contains(
            QStringLiteral(") moved aside: ") + preferencesPath() + QStringLiteral(".corrupt-")));
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
        QVERIFY(console.lines().first().startsWith(
            QStringLiteral("Unreadable preferences file (not a JSON object) moved aside: ")));
        QCOMPARE(setAsideFiles().size(), 1);
    }

    void aFifoIsSetAsideWithoutBeingOpened()
    {
        QVERIFY(QDir().mkpath(preferencesFolder()));
        QCOMPARE(::mkfifo(QFile::encodeName(preferencesPath()).constData(), 0600), 0);
        ShortcutConsoleCapture console;
        // Opening it for reading would wait for a writer that never comes.
        QCOMPARE(getShortcut(Name(QStringLiteral("a"))), std::nullopt);
        QCOMPARE(console.lines().size(), 1);
        QVERIFY2(console.lines().first().startsWith(QStringLiteral(
                     "Unreadable preferences file (a FIFO, not a regular file) moved aside: ")),
            qPrintable(console.lines().first()));
        QCOMPARE(setAsideKind(), mode_t(S_IFIFO));
        QVERIFY(!QFileInfo::exists(preferencesPath()));

        setShortcut(controlA, Name(QStringLiteral("a")));
        QCOMPARE(getShortcut(Name(QStringLiteral("a"))), controlA);
        QCOMPARE(console.lines().size(), 1);
    }

    void aLinkToADeviceIsSetAsideUnread()
    {
        // /dev/zero never ends: read, it would fill the memory.
        QVERIFY(QDir().mkpath(preferencesFolder()));
        QVERIFY(QFile::link(QStringLiteral("/dev/zero"), preferencesPath()));
        ShortcutConsoleCapture console;
        QVERIFY(allNames().isEmpty());
        QCOMPARE(console.lines().size(), 1);
        QVERIFY2(console.lines().first().startsWith(QStringLiteral(
                     "Unreadable preferences file (a device, not a regular file) moved aside: ")),
            qPrintable(console.lines().first()));
        QCOMPARE(setAsideKind(), mode_t(S_IFLNK));
    }

    void aDirectoryIsSetAside()
    {
        QVERIFY(QDir().mkpath(preferencesPath()));
        ShortcutConsoleCapture console;
        QVERIFY(allNames().isEmpty());
        QCOMPARE(console.lines().size(), 1);
        QVERIFY(console.lines().first().startsWith(QStringLiteral(
            "Unreadable preferences file (a directory, not a regular file) moved aside: ")));
        QCOMPARE(setAsideKind(), mode_t(S_IFDIR));
    }

    void aLinkToAFileIsReadThroughTheLink()
    {
        const QString elsewhere = QDir::homePath() + QStringLiteral("/dotfiles-preferences.json");
        QFile target(elsewhere);
        QVERIFY(target.open(QIODevice::WriteOnly));
        target.write(preferencesOfSize(200));
        target.close();
        QVERIFY(QDir().mkpath(preferencesFolder()));
        QVERIFY(QFile::link(elsewhere, preferencesPath()));
        ShortcutConsoleCapture console;
        QCOMPARE(getShortcut(Name(QStringLiteral("kept"))), commandOne);
        QVERIFY(console.lines().isEmpty());
        QVERIFY(setAsideFiles().isEmpty());
        QFile::remove(elsewhere);
    }

    void aFileOfAMegabyteOrMoreIsSetAsideUnread()
    {
        // 42 MB, though sparse: only its size is looked at.
        QVERIFY(QDir().mkpath(preferencesFolder()));
        QFile file(preferencesPath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{");
        QVERIFY(file.resize(42 * 1024 * 1024));
        file.close();
        ShortcutConsoleCapture console;
        QElapsedTimer timer;
        timer.start();
        QVERIFY(allNames().isEmpty());
        QVERIFY2(timer.elapsed() < 200, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(console.lines().size(), 1);
        QVERIFY2(console.lines().first().startsWith(
                     QStringLiteral("Unreadable preferences file (44040192 bytes, more than the "
                                    "1048576 a preferences file may hold) moved aside: ")
                     + preferencesPath() + QStringLiteral(".corrupt-")),
            qPrintable(console.lines().first()));
        QCOMPARE(setAsideKind(), mode_t(S_IFREG));
    }

    void aFileJustUnderAMegabyteIsReadAndWrittenInLinearTime()
    {
        // Reading and one change of a small file, then of one eight times as large: a cost
        // that grows faster than the size shows in the ratio.
        const auto readAndChange = [](qsizetype size) {
            writeFromOutside(preferencesOfSize(size));
            QElapsedTimer timer;
            timer.start();
            const auto kept = getShortcut(Name(QStringLiteral("kept")));
            Preferences::standard().set(QStringLiteral("changed"), true);
            const qint64 elapsed = timer.elapsed();
            return kept == commandOne ? elapsed : qint64(-1);
        };
        const qsizetype largest = PreferencesFile::maximumSize - 1024;
        const qint64 small = readAndChange(largest / 8);
        const qint64 large = readAndChange(largest);
        QVERIFY(small >= 0 && large >= 0);
        QVERIFY(storedPreferences().value(QStringLiteral("changed")).toBool());
        QVERIFY2(large <= 16 * std::max<qint64>(small, 10),
            qPrintable(
                QStringLiteral("%1 ms, a file 8 times smaller %2 ms").arg(large).arg(small)));
        QVERIFY2(large < 1000, qPrintable(QString::number(large)));
        QVERIFY(setAsideFiles().isEmpty());
    }

    void anUnwritableFolderIsReportedOnceAndNothingIsRegistered()
    {
        const FolderInTheWay inTheWay;
        QVERIFY(inTheWay.isOk());
        int notifications = 0;
        const ObserverToken token = NotificationCenter::defaultCenter().addObserver(
            shortcutByNameDidChange, [&notifications](const Notification&) { ++notifications; });
        ShortcutConsoleCapture console;
        const Name first(QStringLiteral("first"));
        const Name second(QStringLiteral("second"));
        setShortcut(controlA, first);
        setShortcut(commandOne, second);
        onKeyUp(first, [] {});
        NotificationCenter::defaultCenter().removeObserver(token);

        QCOMPARE(console.lines().size(), 1);
        QVERIFY2(console.lines().first().startsWith(
                     QStringLiteral("Failed to save preferences: cannot write in the folder ")
                     + preferencesFolder() + QStringLiteral(" (")),
            qPrintable(console.lines().first()));
        QCOMPARE(getShortcut(first), std::nullopt);
        QCOMPARE(m_service->registerCalls, 0);
        QVERIFY(!isHotKeyRegistered(first));
        QCOMPARE(notifications, 0);
    }

    void aReadOnlyFolderIsReportedAsSuch()
    {
        if (::geteuid() == 0)
            QSKIP("root writes in a read-only folder; the folder-in-the-way test covers it");
        QVERIFY(QDir().mkpath(preferencesFolder()));
        QVERIFY(QFile::setPermissions(
            preferencesFolder(), QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        ShortcutConsoleCapture console;
        setShortcut(controlA, Name(QStringLiteral("first")));
        setShortcut(commandOne, Name(QStringLiteral("second")));
        QFile::setPermissions(preferencesFolder(),
            QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        QCOMPARE(console.lines(),
            QStringList{QStringLiteral("Failed to save preferences: cannot write in the folder ")
                + preferencesFolder() + QStringLiteral(" (Permission denied)")});
        QCOMPARE(m_service->registerCalls, 0);
    }

    void aSaveAfterTheFolderIsBackWorksAndAFailureIsReportedAgain()
    {
        // A save that works first: the failure of an earlier test is forgotten.
        setShortcut(commandOne, Name(QStringLiteral("zero")));
        ShortcutConsoleCapture console;
        {
            const FolderInTheWay inTheWay;
            setShortcut(controlA, Name(QStringLiteral("first")));
        }
        QCOMPARE(console.lines().size(), 1);
        setShortcut(controlA, Name(QStringLiteral("first")));
        QCOMPARE(getShortcut(Name(QStringLiteral("first"))), controlA);
        QCOMPARE(m_service->liveCount(controlA), 1);
        {
            const FolderInTheWay inTheWay;
            setShortcut(commandOne, Name(QStringLiteral("second")));
        }
        QCOMPARE(console.lines().size(), 2);
        QCOMPARE(console.lines().at(0), console.lines().at(1));
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

private:
    FakeHotKeyService* m_service = nullptr;
};

VANTOR_UNIT_TEST_MAIN(ShortcutPreferencesTest)
#include "tst_shortcut_preferences.moc"
