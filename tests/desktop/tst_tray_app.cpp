#include "PreferencesFile.h"
#include "TestMain.h"
#include "VantorProcess.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <sys/stat.h>

using namespace std::chrono_literals;
using DesktopFacts::WindowId;

namespace {

const QString kRegistered = QStringLiteral("✅ Registered shortcut for ");
const QString kHotkeyError = QStringLiteral("Error registering hotkey");
const QString kEyesLaunched
    = QStringLiteral("App launched successfully with bundle identifier: test-eyes");
const QString kClockRunning = QStringLiteral("App is already running: Test Clock");
const QString kLogoRunning = QStringLiteral("App is already running: Test Logo");
const QString kCalcRunning = QStringLiteral("App is already running: Test Calc");

void xdotool(const QStringList& arguments)
{
    TestDesktop::run(QStringLiteral("xdotool"), arguments);
}

// Vantor's windows embedded in the tray host: small, viewable, inside trayer's window.
QList<WindowId> trayIcons()
{
    QList<WindowId> icons;
    for (const WindowId window : DesktopFacts::windowsOfClassName(QStringLiteral("vantor"))) {
        const QSize size = DesktopFacts::clientSize(window);
        if (!size.isValid() || size.width() > 64 || size.height() > 64
            || DesktopFacts::mapState(window) != QLatin1String("IsViewable"))
            continue;
        const auto ancestors = DesktopFacts::ancestors(window);
        if (std::any_of(ancestors.cbegin(), ancestors.cend(), [](WindowId ancestor) {
                return DesktopFacts::wmClass(ancestor).contains(QLatin1String("trayer"));
            }))
            icons.append(window);
    }
    return icons;
}

// Vantor's main window when it is shown: titled "Vantor", 800 by 500, viewable.
WindowId shownMainWindow()
{
    for (const WindowId window : DesktopFacts::windowsOfClassName(QStringLiteral("vantor"))) {
        if (DesktopFacts::title(window) == QLatin1String("Vantor")
            && DesktopFacts::clientSize(window) == QSize(800, 500)
            && DesktopFacts::mapState(window) == QLatin1String("IsViewable"))
            return window;
    }
    return 0;
}

// The number of distinct colours in a part of an image.
int colourCount(const QImage& image, const QRect& area)
{
    QSet<QRgb> colours;
    const QRect clipped = area & image.rect();
    for (int y = clipped.top(); y <= clipped.bottom(); ++y)
        for (int x = clipped.left(); x <= clipped.right(); ++x)
            colours.insert(image.pixel(x, y));
    return static_cast<int>(colours.size());
}

// The preferences with filler entries added until the file is just under 1 MB, the most
// that is read.
QByteArray preferencesOfAMegabyte(const QJsonObject& preferences)
{
    QByteArray bytes = QJsonDocument(preferences).toJson(QJsonDocument::Compact);
    bytes.chop(1);
    for (int entry = 0; bytes.size() < 1024 * 1024 - 1024; ++entry)
        bytes += ",\"filler" + QByteArray::number(entry) + "\":\"a value that nobody reads\"";
    return bytes + '}';
}

void removeSetAsidePreferences()
{
    const QFileInfo info(TestPreferences::path());
    for (const QString& name : info.dir().entryList(
             {info.fileName() + QStringLiteral(".corrupt-*")}, QDir::AllEntries | QDir::System))
        QFile::remove(info.dir().filePath(name));
}

QString shortcutKey(const QString& workspaceId)
{
    return QStringLiteral("KeyboardShortcuts_workspaceShortcut_") + workspaceId;
}

// The shortcut stored for a workspace: the JSON text of the entry, parsed.
QJsonObject storedShortcut(const QString& workspaceId)
{
    const QJsonValue value = TestPreferences::read().value(shortcutKey(workspaceId));
    return QJsonDocument::fromJson(value.toString().toUtf8()).object();
}

QJsonObject shortcut(int carbonKeyCode)
{
    return {{QStringLiteral("carbonKeyCode"), carbonKeyCode},
        {QStringLiteral("carbonModifiers"), 2560}}; // Shift (0x200) + Option (0x800)
}

} // namespace

// The tray app as a whole process on a desktop with openbox, a tray host (trayer) and real
// apps: its icon and window, workspace hotkeys pressed with xdotool, the tray menu, the
// preferences it writes, a second start, closing its window and SIGTERM.
class TrayAppTest : public QObject {
    Q_OBJECT

private:
    VantorProcess m_vantor;
    QHash<QString, qint64> m_pids; // program -> PID of the running copy
    QHash<QString, QRect> m_captured; // program -> outer frame when Work was captured
    QStringList m_workspaceIds; // upper-case ids, in creation order

    static VantorRun cli(const QStringList& arguments)
    {
        const VantorRun run = VantorProcess::run(arguments);
        if (!run.exitedWith(0) || !run.standardError.isEmpty())
            qWarning().noquote() << "vantor" << arguments << "gave" << run.describe();
        return run;
    }

    static WindowId windowOf(qint64 pid)
    {
        const auto windows
            = TestDesktop::instance()->probe().clientWindowsOf(static_cast<std::int32_t>(pid));
        return windows.isEmpty() ? 0 : windows.first();
    }

    void readWorkspaceIds()
    {
        const VantorRun run = cli({QStringLiteral("list"), QStringLiteral("--json")});
        m_workspaceIds.clear();
        for (const QJsonValue& workspace : QJsonDocument::fromJson(run.standardOutput).array())
            m_workspaceIds.append(workspace.toObject().value(QLatin1String("id")).toString());
    }

    // Ends the tray app with SIGTERM; it must quit at once, cleanly, without hotkey errors.
    void stopVantor()
    {
        QVERIFY2(m_vantor.terminate(), m_vantor.describe());
        QVERIFY2(m_vantor.exitedWith(0), m_vantor.describe());
        QVERIFY2(m_vantor.standardError().isEmpty(), m_vantor.describe());
        QVERIFY2(!m_vantor.out().contains(kHotkeyError), m_vantor.describe());
        QTRY_VERIFY(trayIcons().isEmpty());
    }

    void startVantor()
    {
        QVERIFY(m_vantor.start());
        QVERIFY2(m_vantor.waitForLines(kRegistered + QStringLiteral("Sentinel at slot 1")),
            m_vantor.describe());
    }

    // Moves the windows of Work's running apps elsewhere, with other sizes.
    void scatterWorkWindows()
    {
        int offset = 0;
        for (const QString& program : {QStringLiteral("xclock"), QStringLiteral("xlogo")}) {
            const WindowId window = windowOf(m_pids.value(program));
            DesktopFacts::moveWindow(window, 120 + offset, 620, QSize(200 + offset / 10, 180));
            offset += 300;
            QTRY_VERIFY(DesktopFacts::outerFrame(window) != m_captured.value(program));
        }
    }

    // Starts the tray app and waits until the last of the ten workspaces is bound: the time
    // that took, or -1 ms when it did not happen.
    std::chrono::milliseconds timedStartOfTen()
    {
        if (!m_vantor.start())
            return std::chrono::milliseconds(-1);
        if (!m_vantor.waitForLines(kRegistered + QStringLiteral("Extra 8 at slot 7"), 1, 60s)) {
            qWarning().noquote() << m_vantor.describe();
            return std::chrono::milliseconds(-1);
        }
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - m_vantor.startedAt());
    }

    void quitEyes()
    {
        TestApps::stopAll(QStringLiteral("xeyes"));
        m_pids.remove(QStringLiteral("xeyes"));
        QVERIFY(TestApps::windowsOf(QStringLiteral("xeyes")).isEmpty());
    }

    // Work's running apps stand exactly where they were captured (outer frame, 0 px).
    void verifyWorkWindowsBack()
    {
        for (const QString& program : {QStringLiteral("xclock"), QStringLiteral("xlogo")}) {
            const WindowId window = windowOf(m_pids.value(program));
            QTRY_COMPARE(DesktopFacts::outerFrame(window), m_captured.value(program));
        }
    }

    void verifyEyesRelaunched()
    {
        QTRY_COMPARE(TestApps::windowsOf(QStringLiteral("xeyes")).size(), 1);
        const QList<qint64> eyes = TestApps::pidsOf(QStringLiteral("xeyes"));
        QCOMPARE(eyes.size(), 1);
        m_pids.insert(QStringLiteral("xeyes"), eyes.first());
    }

private Q_SLOTS:
    void initTestCase()
    {
        QList<TestApp> apps = TestApps::standard();
        apps.append(TestApps::calculator());
        for (const TestApp& app : std::as_const(apps)) {
            TestApps::writeDesktopEntry(app);
            const qint64 pid = TestApps::start(app);
            QVERIFY(pid > 0);
            m_pids.insert(app.program, pid);
            m_captured.insert(app.program, DesktopFacts::outerFrame(windowOf(pid)));
        }
        // Workspaces captured before Vantor starts get their hotkeys at its start.
        QVERIFY(
            cli({QStringLiteral("capture"), QStringLiteral("Work"), QStringLiteral("test-clock"),
                    QStringLiteral("test-eyes"), QStringLiteral("test-logo")})
                .exitedWith(0));
        QVERIFY(cli(
            {QStringLiteral("capture"), QStringLiteral("Sentinel"), QStringLiteral("test-calc")})
                    .exitedWith(0));
        readWorkspaceIds();
        QCOMPARE(m_workspaceIds.size(), 2);
    }

    void init() { failOnUnexpectedWarnings(); }

    void cleanupTestCase()
    {
        m_vantor.kill();
        QList<TestApp> apps = TestApps::standard();
        apps.append(TestApps::calculator());
        for (const TestApp& app : std::as_const(apps))
            TestApps::stopAll(app.program);
    }

    void startShowsTrayIconMainWindowAndBindsShortcuts()
    {
        QVERIFY(m_vantor.start());
        QTRY_COMPARE_WITH_TIMEOUT(trayIcons().size(), 1, 20000);

        // The icon is drawn: the screenshot holds more than the tray's flat background there.
        const WindowId icon = trayIcons().first();
        const QString screenshot = QDir::homePath() + QStringLiteral("/tray.png");
        QRect iconArea;
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                iconArea = DesktopFacts::outerFrame(icon);
                return DesktopFacts::screenshot(screenshot)
                    && colourCount(QImage(screenshot), iconArea) > 1;
            }(),
            10000);
        QVERIFY(QFileInfo(screenshot).size() > 0);
        QVERIFY2(iconArea.width() <= 64 && iconArea.top() < 24, qPrintable(screenshot));

        QTRY_VERIFY_WITH_TIMEOUT(shownMainWindow() != 0, 20000);
        const WindowId mainWindow = shownMainWindow();
        QTRY_COMPARE(DesktopFacts::activeWindow(), mainWindow);

        QVERIFY2(m_vantor.waitForLines(kRegistered + QStringLiteral("Work at slot 0")),
            m_vantor.describe());
        QVERIFY2(m_vantor.waitForLines(kRegistered + QStringLiteral("Sentinel at slot 1")),
            m_vantor.describe());
        QCOMPARE(m_vantor.countLinesStartingWith(kRegistered), 2);

        QCOMPARE(storedShortcut(m_workspaceIds.at(0)), shortcut(18)); // Shift+Option+1
        QCOMPARE(storedShortcut(m_workspaceIds.at(1)), shortcut(19)); // Shift+Option+2
    }

    void hotkeyRestoresWorkspace()
    {
        scatterWorkWindows();
        quitEyes();

        xdotool({QStringLiteral("key"), QStringLiteral("shift+alt+1")});
        QVERIFY2(m_vantor.waitForLines(kEyesLaunched), m_vantor.describe());
        QCOMPARE(m_vantor.countLines(kClockRunning), 1);
        QCOMPARE(m_vantor.countLines(kLogoRunning), 1);
        verifyWorkWindowsBack();
        verifyEyesRelaunched();
    }

    void heldHotkeyActsOnceOnRelease()
    {
        scatterWorkWindows();
        const int before = m_vantor.countLines(kLogoRunning);
        const int sentinels = m_vantor.countLines(kCalcRunning);

        xdotool({QStringLiteral("keydown"), QStringLiteral("shift+alt+1")});
        QTest::qWait(1000); // held for a second: the key repeats, nothing may happen yet
        QCOMPARE(m_vantor.countLines(kLogoRunning), before);
        QVERIFY(DesktopFacts::outerFrame(windowOf(m_pids.value(QStringLiteral("xclock"))))
            != m_captured.value(QStringLiteral("xclock")));
        xdotool({QStringLiteral("keyup"), QStringLiteral("shift+alt+1")});

        // Another workspace's hotkey after the release: once it has acted, every event of the
        // held key has been handled before it.
        xdotool({QStringLiteral("key"), QStringLiteral("shift+alt+2")});
        QVERIFY2(m_vantor.waitForLines(kCalcRunning, sentinels + 1), m_vantor.describe());
        QCOMPARE(m_vantor.countLines(kLogoRunning), before + 1);
        verifyWorkWindowsBack();
    }

    void closingMainWindowKeepsVantorRunning()
    {
        QVERIFY(shownMainWindow() != 0);
        TestDesktop::run(
            QStringLiteral("wmctrl"), {QStringLiteral("-c"), QStringLiteral("Vantor")});
        QTRY_COMPARE(shownMainWindow(), WindowId(0));

        // Still in the tray and still answering its hotkeys.
        QVERIFY(m_vantor.isRunning());
        QCOMPARE(trayIcons().size(), 1);
        const int sentinels = m_vantor.countLines(kCalcRunning);
        xdotool({QStringLiteral("key"), QStringLiteral("shift+alt+2")});
        QVERIFY2(m_vantor.waitForLines(kCalcRunning, sentinels + 1), m_vantor.describe());
        QVERIFY(m_vantor.isRunning());
    }

    void secondStartShowsTheFirstOnesWindow()
    {
        QCOMPARE(shownMainWindow(), WindowId(0));
        VantorProcess second;
        QVERIFY(second.start());
        int mostIcons = 0;
        QElapsedTimer timer;
        timer.start();
        while (second.isRunning() && timer.elapsed() < 20000)
            mostIcons = std::max(mostIcons, static_cast<int>(trayIcons().size()));
        QVERIFY2(second.waitForFinished(), second.describe());
        QVERIFY2(second.exitedWith(0), second.describe());
        QVERIFY2(second.standardError().isEmpty(), second.describe());
        QVERIFY2(!second.out().contains(kRegistered), second.describe());
        QVERIFY2(!second.out().contains(kHotkeyError), second.describe());
        QCOMPARE(mostIcons, 1);

        QTRY_VERIFY_WITH_TIMEOUT(shownMainWindow() != 0, 10000);
        QCOMPARE(trayIcons().size(), 1);
        QVERIFY(m_vantor.isRunning());
    }

    void sigtermQuitsCleanly()
    {
        stopVantor();
        QCOMPARE(m_vantor.countLinesStartingWith(kRegistered), 2);
    }

    void trayMenuChoiceRestoresWorkspace()
    {
        // The menu is built before default shortcuts are handed out; at this second start Work
        // has its shortcut, so it is in the menu.
        startVantor();
        QTRY_COMPARE_WITH_TIMEOUT(trayIcons().size(), 1, 20000);
        scatterWorkWindows();
        quitEyes();
        const int launches = m_vantor.countLines(kEyesLaunched);

        const QRect icon = DesktopFacts::outerFrame(trayIcons().first());
        xdotool({QStringLiteral("mousemove"), QString::number(icon.center().x()),
            QString::number(icon.center().y()), QStringLiteral("click"), QStringLiteral("1")});
        QVERIFY2(m_vantor.waitForLines(QStringLiteral("Menu item clicked")), m_vantor.describe());
        const auto menuOpen = [] {
            for (const WindowId window :
                DesktopFacts::windowsOfClassName(QStringLiteral("vantor"))) {
                const QSize size = DesktopFacts::clientSize(window);
                if (DesktopFacts::mapState(window) == QLatin1String("IsViewable")
                    && size.height() > 64 && size != QSize(800, 500))
                    return true;
            }
            return false;
        };
        QTRY_VERIFY(menuOpen());
        // "Open Workspace" is a disabled header: the first item Down reaches is Work.
        xdotool({QStringLiteral("key"), QStringLiteral("Down"), QStringLiteral("Return")});

        QVERIFY2(m_vantor.waitForLines(kEyesLaunched, launches + 1), m_vantor.describe());
        verifyWorkWindowsBack();
        verifyEyesRelaunched();
        QTRY_VERIFY(!menuOpen());
    }

    void tenWorkspacesBindEightShortcuts()
    {
        stopVantor();
        for (int number = 3; number <= 10; ++number) {
            QVERIFY(cli({QStringLiteral("capture"), QStringLiteral("Extra %1").arg(number),
                            QStringLiteral("test-calc")})
                        .exitedWith(0));
        }
        readWorkspaceIds();
        QCOMPARE(m_workspaceIds.size(), 10);

        QVERIFY(m_vantor.start());
        QVERIFY2(m_vantor.waitForLines(kRegistered + QStringLiteral("Extra 8 at slot 7")),
            m_vantor.describe());
        stopVantor();
        QStringList registered;
        for (const QString& line : m_vantor.out().split(u'\n')) {
            if (line.startsWith(kRegistered))
                registered.append(line.mid(kRegistered.size()));
        }
        QStringList expected
            = {QStringLiteral("Work at slot 0"), QStringLiteral("Sentinel at slot 1")};
        for (int number = 3; number <= 8; ++number)
            expected.append(QStringLiteral("Extra %1 at slot %2").arg(number).arg(number - 1));
        QCOMPARE(registered, expected);

        // Every workspace received a default shortcut: Shift+Option with 1 … 9, then 0, in
        // creation order (macOS virtual key codes of the digit keys).
        const QList<int> digitKeyCodes = {18, 19, 20, 21, 23, 22, 26, 28, 25, 29};
        for (int index = 0; index < 10; ++index)
            QCOMPARE(storedShortcut(m_workspaceIds.at(index)), shortcut(digitKeyCodes.at(index)));
    }

    // The hostile preferences below start from the ten workspaces above, Vantor stopped.

    void aFifoAsPreferencesFileHoldsUpNeitherStartNorSigterm()
    {
        const QJsonObject saved = TestPreferences::read();
        QVERIFY(QFile::remove(TestPreferences::path()));
        QCOMPARE(::mkfifo(QFile::encodeName(TestPreferences::path()).constData(), 0600), 0);

        QVERIFY(timedStartOfTen().count() >= 0);
        QCOMPARE(m_vantor.countLinesStartingWith(QStringLiteral(
                     "Unreadable preferences file (a FIFO, not a regular file) moved aside: ")),
            1);
        stopVantor();
        // Given afresh, the defaults are the same as before.
        QCOMPARE(TestPreferences::read(), saved);
        removeSetAsidePreferences();
    }

    void aLargePreferencesFileAddsAtMostASecondToTheStart()
    {
        const QJsonObject saved = TestPreferences::read();
        const auto usual = timedStartOfTen();
        stopVantor();

        QVERIFY(TestPreferences::write(preferencesOfAMegabyte(saved)));
        const auto megabyte = timedStartOfTen();
        stopVantor();
        QVERIFY(megabyte.count() >= 0);
        QVERIFY2(megabyte <= usual + 1s,
            qPrintable(QStringLiteral("%1 ms with 1 MB of preferences, %2 ms without")
                           .arg(megabyte.count())
                           .arg(usual.count())));
        QCOMPARE(storedShortcut(m_workspaceIds.at(1)), shortcut(19));

        // 42 MB is set aside unread.
        QFile file(TestPreferences::path());
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.resize(42 * 1024 * 1024));
        file.close();
        const auto huge = timedStartOfTen();
        stopVantor();
        QVERIFY(huge.count() >= 0);
        QVERIFY2(huge <= usual + 1s,
            qPrintable(QStringLiteral("%1 ms with 42 MB of preferences, %2 ms without")
                           .arg(huge.count())
                           .arg(usual.count())));
        QCOMPARE(m_vantor.countLinesStartingWith(
                     QStringLiteral("Unreadable preferences file (44040192 bytes, more than the "
                                    "1048576 a preferences file may hold) moved aside: ")),
            1);
        QCOMPARE(TestPreferences::read(), saved);
        removeSetAsidePreferences();
    }

    void anUnwritableConfigFolderIsReportedAndNothingIsGrabbed()
    {
        // A file where the folder belongs: not even root can write there.
        const QString config = QDir::homePath() + QStringLiteral("/unwritable-config");
        QVERIFY(QDir().mkpath(config));
        QFile inTheWay(config + QStringLiteral("/Vantor"));
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
        inTheWay.close();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config);

        const QString failure
            = QStringLiteral("Failed to save preferences: cannot write in the folder ") + config
            + QStringLiteral("/Vantor (");
        QVERIFY(m_vantor.start({}, environment));
        QTRY_VERIFY2_WITH_TIMEOUT(
            m_vantor.countLinesStartingWith(failure) == 1, m_vantor.describe(), 30000);
        // No shortcut could be stored, so none is grabbed; the handlers are bound all the same.
        QVERIFY2(m_vantor.waitForLines(kRegistered + QStringLiteral("Work at slot 0")),
            m_vantor.describe());
        XProbe& probe = TestDesktop::instance()->probe();
        constexpr std::uint8_t keycodeOfOne = 10;
        constexpr std::uint16_t shiftAlt = 0x01 | 0x08;
        QVERIFY(probe.isKeyFree(keycodeOfOne, shiftAlt));
        stopVantor();
        QCOMPARE(m_vantor.countLinesStartingWith(failure), 1);
        QDir(config).removeRecursively();
    }

    void handEditedShortcutsAreReportedAndABareKeyStaysFree()
    {
        const QJsonObject saved = TestPreferences::read();
        QJsonObject edited = saved;
        const auto setEntry = [&edited, this](int index, int keyCode, int modifiers) {
            edited.insert(shortcutKey(m_workspaceIds.at(index)),
                QStringLiteral("{\"carbonKeyCode\":%1,\"carbonModifiers\":%2}")
                    .arg(keyCode)
                    .arg(modifiers));
        };
        setEntry(0, 0, 0); // Work: a bare A
        setEntry(2, 19, 2560); // Extra 3: Sentinel's Shift+Option+2
        setEntry(3, 99999, 256); // Extra 4: Command and no key at all
        QVERIFY(TestPreferences::write(QJsonDocument(edited).toJson()));

        QVERIFY(timedStartOfTen().count() >= 0);
        QCOMPARE(m_vantor.countLines(QStringLiteral("Hotkey A not registered: without Control, "
                                                    "Option or Command it would take that key "
                                                    "from every app")),
            1);
        QStringList sharing{QStringLiteral("workspaceShortcut_") + m_workspaceIds.at(1),
            QStringLiteral("workspaceShortcut_") + m_workspaceIds.at(2)};
        sharing.sort();
        QCOMPARE(m_vantor.countLines(QStringLiteral("Shortcut ⌥⇧2 is shared by ")
                     + sharing.join(QStringLiteral(", "))
                     + QStringLiteral("; all of them run when it is pressed")),
            1);
        QCOMPARE(
            m_vantor.countLines(QStringLiteral("Error registering hotkey ⌘ key code 99999: -9879")),
            1);
        QCOMPARE(m_vantor.countLines(kRegistered + QStringLiteral("Work at slot 0")), 0);
        QCOMPARE(m_vantor.countLines(kRegistered + QStringLiteral("Extra 4 at slot 3")), 0);
        QCOMPARE(m_vantor.countLinesStartingWith(kRegistered), 6);

        XProbe& probe = TestDesktop::instance()->probe();
        constexpr std::uint8_t keycodeOfA = 38;
        QVERIFY(probe.isKeyFree(keycodeOfA, 0));
        // Both workspaces on Shift+Option+2 run, each finding the calculator running.
        const int calculators = m_vantor.countLines(kCalcRunning);
        xdotool({QStringLiteral("key"), QStringLiteral("shift+alt+2")});
        QVERIFY2(m_vantor.waitForLines(kCalcRunning, calculators + 2), m_vantor.describe());

        QVERIFY2(m_vantor.terminate(), m_vantor.describe());
        QVERIFY2(m_vantor.exitedWith(0), m_vantor.describe());
        QVERIFY2(m_vantor.standardError().isEmpty(), m_vantor.describe());
        QVERIFY(TestPreferences::write(QJsonDocument(saved).toJson()));
    }
};

VANTOR_DESKTOP_TEST_MAIN_WITH(TrayAppTest, TestDesktop::Options{.trayHost = true})
#include "tst_tray_app.moc"
