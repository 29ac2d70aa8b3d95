#include "Extensions/String+Ext.h"
#include "Extensions/URL+Ext.h"
#include "FakeDesktop.h"
#include "Platform/Gio/ProcessInfo.h"
#include "TestMain.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>

#include <unistd.h>

namespace ProcessInfo = Platform::Gio::ProcessInfo;

namespace {

QString applicationsDir()
{
    return qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications/");
}

QString writeEntry(const QString& id, const QString& body)
{
    QFile file(applicationsDir() + id + QStringLiteral(".desktop"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("Cannot write the entry %s", qPrintable(id));
    file.write((QStringLiteral("[Desktop Entry]\nType=Application\nExec=true\n") + body).toUtf8());
    return file.fileName();
}

std::optional<QString> bundleIdentifierOf(Platform::Applications& apps, Platform::ProcessId pid)
{
    for (const auto& app : apps.runningApplications()) {
        if (app.processIdentifier == pid)
            return app.bundleIdentifier;
    }
    return std::nullopt;
}

} // namespace

// Names and icons of desktop entries, the entry index following changes, and the clues
// that /proc gives about a process.
class RunningAppsEntriesTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_work;
    QString m_iconFile;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_work.isValid());
        m_iconFile = m_work.filePath(QStringLiteral("icon.png"));
        QImage image(24, 24, QImage::Format_ARGB32);
        image.fill(Qt::red);
        QVERIFY(image.save(m_iconFile));
        writeEntry(QStringLiteral("org.example.Notes"),
            QStringLiteral("Name=Notes\nName[de]=Notizen\nIcon=%1\n").arg(m_iconFile));
        writeEntry(QStringLiteral("org.example.Nameless"), QString());
        writeEntry(QStringLiteral("org.example.Gone"),
            QStringLiteral("Name=Gone\nTryExec=/nonexistent/vantor-test\n"));
        writeEntry(QStringLiteral("org.example.Weird"),
            QStringLiteral("Name=“Q” ; $(x) `y` 日本\nIcon=vantor-no-such-icon\n"));
        writeEntry(QStringLiteral("org.example.Plain"), QStringLiteral("Name=Plain\n"));
    }

    void init() { failOnUnexpectedWarnings(); }

    void theNameIsTheEntrysName()
    {
        QCOMPARE(getAppName(applicationsDir() + QStringLiteral("org.example.Notes.desktop")),
            QStringLiteral("Notes"));
        QCOMPARE(getAppName(QUrl::fromLocalFile(
                     applicationsDir() + QStringLiteral("org.example.Weird.desktop"))),
            QStringLiteral("“Q” ; $(x) `y` 日本"));
    }

    void withoutANameTheFileNameIsUsed_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<QString>("name");
        const QString dir = applicationsDir();
        QTest::newRow("no Name key")
            << QUrl::fromLocalFile(dir + QStringLiteral("org.example.Nameless.desktop"))
            << QStringLiteral("org.example.Nameless");
        QTest::newRow("program not installed")
            << QUrl::fromLocalFile(dir + QStringLiteral("org.example.Gone.desktop"))
            << QStringLiteral("org.example.Gone");
        QTest::newRow("missing file")
            << QUrl::fromLocalFile(QStringLiteral("/nowhere/Notes.app")) << QStringLiteral("Notes");
        QTest::newRow("no extension")
            << QUrl::fromLocalFile(QStringLiteral("/nowhere/Notes")) << QStringLiteral("Notes");
        QTest::newRow("not an entry") << QUrl::fromLocalFile(m_iconFile) << QStringLiteral("icon");
        QTest::newRow("folder") << QUrl::fromLocalFile(m_work.path() + QLatin1Char('/'))
                                << m_work.path().section(QLatin1Char('/'), -1);
        QTest::newRow("remote") << QUrl(QStringLiteral("https://example.org/apps/Editor.desktop"))
                                << QStringLiteral("Editor");
        QTest::newRow("dot file") << QUrl::fromLocalFile(QStringLiteral("/nowhere/.hidden"))
                                  << QStringLiteral(".hidden");
    }

    void withoutANameTheFileNameIsUsed()
    {
        QFETCH(QUrl, url);
        QFETCH(QString, name);
        QCOMPARE(getAppName(url), name);
    }

    void theImageIsTheEntrysIcon()
    {
        const auto icon
            = getAppImage(applicationsDir() + QStringLiteral("org.example.Notes.desktop"));
        QVERIFY(icon);
        const QImage image = icon->pixmap(24, 24).toImage();
        QVERIFY(!image.isNull());
        QCOMPARE(image.pixelColor(12, 12), QColor(Qt::red));
    }

    void withoutAnIconTheImageIsGeneric()
    {
        const QString dir = applicationsDir();
        for (const QString& path : {dir + QStringLiteral("org.example.Weird.desktop"),
                 dir + QStringLiteral("org.example.Plain.desktop"),
                 QStringLiteral("/nowhere/missing.desktop")}) {
            const auto icon = getAppImage(path);
            QVERIFY2(icon, qPrintable(path));
            QVERIFY2(!icon->isNull(), qPrintable(path));
            QVERIFY(icon->pixmap(24, 24).toImage().pixelColor(12, 12) != QColor(Qt::red));
        }
    }

    void aPathThatDoesNotParseHasNoImage()
    {
        QCOMPARE(getAppImage(QStringLiteral("http://[::1")), std::nullopt);
        QCOMPARE(getAppImage(QString()), std::nullopt);
    }

    void theIndexFollowsEntriesAddedAndRemoved()
    {
        FakeWindowSystem windows;
        auto& window = windows.addWindow(9'000'001, {0, 0, 10, 10});
        window.wmClassInstance = QStringLiteral("vantor-later");
        window.wmClass = QStringLiteral("VantorLater");
        const auto apps = Platform::createApplications(windows);
        QCOMPARE(bundleIdentifierOf(*apps, 9'000'001), std::nullopt);

        const QString path = writeEntry(QStringLiteral("org.example.Later"),
            QStringLiteral("Name=Later\nStartupWMClass=VantorLater\n"));
        QTRY_COMPARE(bundleIdentifierOf(*apps, 9'000'001), QStringLiteral("org.example.Later"));
        QVERIFY(QFile::remove(path));
        QTRY_COMPARE(bundleIdentifierOf(*apps, 9'000'001), std::nullopt);
    }

    void anEntryWithoutNameNamesTheAppByItsWindowClass()
    {
        FakeWindowSystem windows;
        windows.addWindow(9'000'002, {0, 0, 10, 10}).applicationId
            = QStringLiteral("org.example.Nameless");
        windows.windows.last().wmClass = QStringLiteral("NamelessClass");
        const auto apps = Platform::createApplications(windows);
        const auto running = apps->runningApplications();
        QCOMPARE(running.size(), 1);
        QCOMPARE(running.at(0).bundleIdentifier, QStringLiteral("org.example.Nameless"));
        QCOMPARE(running.at(0).localizedName, QStringLiteral("NamelessClass"));
    }

    void theProgramIsFoundPastInterpreters_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("program");
        QTest::newRow("plain") << QStringList{QStringLiteral("/usr/bin/xterm"),
            QStringLiteral("-e")}
                               << QStringLiteral("/usr/bin/xterm");
        QTest::newRow("python") << QStringList{QStringLiteral("/usr/bin/python3.11"),
            QStringLiteral("-u"), QStringLiteral("/opt/tool.py"), QStringLiteral("--x")}
                                << QStringLiteral("/opt/tool.py");
        QTest::newRow("env") << QStringList{QStringLiteral("env"), QStringLiteral("A=1"),
            QStringLiteral("B=2"), QStringLiteral("gedit")}
                             << QStringLiteral("gedit");
        QTest::newRow("env and shell") << QStringList{QStringLiteral("/usr/bin/env"),
            QStringLiteral("bash"), QStringLiteral("/opt/run.sh")}
                                       << QStringLiteral("/opt/run.sh");
        QTest::newRow("interpreter only") << QStringList{QStringLiteral("python3")} << QString();
        QTest::newRow("nothing") << QStringList{} << QString();
        QTest::newRow("a path with =")
            << QStringList{QStringLiteral("/opt/a=b/tool")} << QStringLiteral("/opt/a=b/tool");
    }

    void theProgramIsFoundPastInterpreters()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, program);
        QCOMPARE(ProcessInfo::programOf(arguments), program);
    }

    void sandboxedAppsNameTheirEntry()
    {
        QCOMPARE(ProcessInfo::flatpakAppIdFrom("[Application]\nname=org.gnome.Maps\nruntime=x\n"),
            QStringLiteral("org.gnome.Maps"));
        QCOMPARE(ProcessInfo::flatpakAppIdFrom("not a key file"), QString());
        QCOMPARE(ProcessInfo::flatpakAppIdFrom(QByteArray()), QString());
        QCOMPARE(ProcessInfo::snapDesktopIdFrom(QStringLiteral("snap.firefox.firefox (enforce)\n")),
            QStringLiteral("firefox_firefox"));
        QCOMPARE(ProcessInfo::snapDesktopIdFrom(QStringLiteral("snap.code.code")),
            QStringLiteral("code_code"));
        QCOMPARE(ProcessInfo::snapDesktopIdFrom(QStringLiteral("unconfined")), QString());
        QCOMPARE(ProcessInfo::snapDesktopIdFrom(QStringLiteral("snap.broken")), QString());
    }

    void theOwnProcessIsDescribed()
    {
        const auto pid = static_cast<Platform::ProcessId>(::getpid());
        QVERIFY(ProcessInfo::startTime(pid).value_or(0) > 0);
        QVERIFY(ProcessInfo::commandLine(pid).value(0).endsWith(
            QStringLiteral("tst_running_apps_entries")));
        QCOMPARE(ProcessInfo::startTime(9'000'001), std::nullopt);
        QCOMPARE(ProcessInfo::commandLine(9'000'001), QStringList());
        QCOMPARE(ProcessInfo::flatpakAppId(pid), QString());
    }
};

VANTOR_UNIT_TEST_MAIN(RunningAppsEntriesTest)
#include "tst_running_apps_entries.moc"
