// Making a workspace with the real tray app and real apps (two X clients with entries of
// their own, a GTK app with its installed entry), driven as a screen reader and a keyboard
// would, and read back from the store file.
#include "ScreenReader.h"
#include "StoreFile.h"
#include "TestDesktop.h"
#include "TestMain.h"
#include "VantorProcess.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>

namespace {

using namespace std::chrono_literals;

const QString kShown = QStringLiteral("Accessibility permissions are granted.");
const QString kButton = QStringLiteral("push button");

void writeEntry(const QString& id, const QString& name, const QString& exec, const QString& wmClass)
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::ApplicationsLocation);
    QDir().mkpath(folder);
    QFile file(QDir(folder).filePath(id + QStringLiteral(".desktop")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("Cannot write the entry of %s", qPrintable(id));
    file.write(QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=%2\nStartupWMClass=%3\n")
                   .arg(name, exec, wmClass)
                   .toUtf8());
}

// The managed windows of that WM_CLASS class, by id.
QStringList windowsOfClass(const QString& wmClass)
{
    QStringList windows;
    const QString listing = QString::fromUtf8(
        TestDesktop::run(QStringLiteral("wmctrl"), {QStringLiteral("-l"), QStringLiteral("-x")}));
    for (const QString& line : listing.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        const QStringList fields = line.simplified().split(QLatin1Char(' '));
        if (fields.size() > 2 && fields.at(2).section(QLatin1Char('.'), -1) == wmClass)
            windows.append(fields.at(0));
    }
    return windows;
}

QStringList sortedNamesOf(const QList<AppInfoPtr>& apps)
{
    QStringList names;
    for (const AppInfoPtr& app : apps)
        names.append(app->name());
    names.sort();
    return names;
}

} // namespace

class CreateWorkspaceE2eTest final : public QObject {
    Q_OBJECT

    ScreenReader m_session;
    VantorProcess m_vantor;
    qint64 m_clock = 0;
    qint64 m_logo = 0;

    bool showsButton(const QString& name) const { return m_session.isShowing(kButton, name); }

    // The wizard's screens ran without a QML warning (no binding loop, type error or
    // missing file).
    void verifyNoQmlWarning()
    {
        const QString errors = m_vantor.err();
        QVERIFY2(!errors.contains(QLatin1String("qrc:/")) && !errors.contains(QLatin1String(".qml")),
            qPrintable(errors));
    }

    static QString storePath()
    {
        return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
            + QStringLiteral("/Vantor.sqlite");
    }

private Q_SLOTS:
    void initTestCase()
    {
        writeEntry(QStringLiteral("org.example.XClock"), QStringLiteral("XClock"),
            QStringLiteral("xclock -geometry 200x180+120+140"), QStringLiteral("XClock"));
        writeEntry(QStringLiteral("org.example.XLogo"), QStringLiteral("XLogo"),
            QStringLiteral("xlogo -geometry 260x210+900+500"), QStringLiteral("XLogo"));
        TestDesktop& desktop = *TestDesktop::instance();
        m_clock = desktop.startApp(QStringLiteral("xclock"),
            {QStringLiteral("-geometry"), QStringLiteral("200x180+120+140")});
        m_logo = desktop.startApp(QStringLiteral("xlogo"),
            {QStringLiteral("-geometry"), QStringLiteral("260x210+900+500")});
        QVERIFY(m_clock > 0 && m_logo > 0);
        QVERIFY(desktop.startApp(QStringLiteral("galculator"), {}, 1, 20s) > 0);

        QVERIFY(m_session.start());
        QVERIFY(m_vantor.start({}, m_session.environment()));
        QVERIFY2(m_vantor.waitForLines(kShown, 1, 30s), qPrintable(m_vantor.err()));
    }

    void cleanupTestCase() { m_vantor.terminate(); }

    void init() { failOnUnexpectedWarnings(); }

    void aWorkspaceIsMadeFromTheChosenAppsAndTheirFramesAtComplete()
    {
        QVERIFY(m_session.press(QStringLiteral("Add workspace"), kButton));
        QTRY_VERIFY_WITH_TIMEOUT(showsButton(QStringLiteral("Remove XLogo")), 20000);
        QVERIFY(showsButton(QStringLiteral("Remove XClock")));
        QVERIFY(showsButton(QStringLiteral("Remove Galculator")));

        TestDesktop::run(QStringLiteral("xdotool"),
            {QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("30"),
                QStringLiteral("Deep Work")});
        QVERIFY(m_session.press(QStringLiteral("Remove XLogo"), kButton));
        QTRY_VERIFY(!showsButton(QStringLiteral("Remove XLogo")));
        QVERIFY(m_session.press(QStringLiteral("Continue"), kButton));
        QTRY_VERIFY_WITH_TIMEOUT(showsButton(QStringLiteral("Open apps")), 10000);

        // Both X clients close: the chosen one is launched again, the removed one is not.
        TestDesktop::instance()->stopApp(m_clock);
        TestDesktop::instance()->stopApp(m_logo);
        QVERIFY(windowsOfClass(QStringLiteral("XClock")).isEmpty());
        QVERIFY(m_session.press(QStringLiteral("Open apps"), kButton));
        QTRY_VERIFY_WITH_TIMEOUT(showsButton(QStringLiteral("Continue")), 20000);
        QCOMPARE(windowsOfClass(QStringLiteral("XClock")).size(), 1);
        QVERIFY(windowsOfClass(QStringLiteral("XLogo")).isEmpty());

        QVERIFY(m_session.press(QStringLiteral("Continue"), kButton));
        QTRY_VERIFY_WITH_TIMEOUT(showsButton(QStringLiteral("Complete")), 10000);
        const QString calculator = windowsOfClass(QStringLiteral("Galculator")).value(0);
        QVERIFY(!calculator.isEmpty());
        TestDesktop::run(QStringLiteral("xdotool"),
            {QStringLiteral("windowmove"), QStringLiteral("--sync"), calculator,
                QStringLiteral("700"), QStringLiteral("400")});
        QVERIFY(m_session.press(QStringLiteral("Complete"), kButton));
        QTRY_VERIFY_WITH_TIMEOUT(
            m_session.node(QStringLiteral("list item"), QStringLiteral("Deep Work")), 10000);
        QTRY_VERIFY(!showsButton(QStringLiteral("Complete")));

        const QList<WorkspacePtr> stored = StoreFile::workspaces(storePath());
        QCOMPARE(stored.size(), 1);
        QCOMPARE(stored.at(0)->name(), QStringLiteral("Deep Work"));
        QCOMPARE(sortedNamesOf(stored.at(0)->apps()),
            (QStringList{QStringLiteral("Galculator"), QStringLiteral("XClock")}));
        for (const AppInfoPtr& app : stored.at(0)->apps()) {
            QCOMPARE(app->layouts().size(), 1);
            if (app->name() == QStringLiteral("Galculator")) {
                const Frame frame = app->layouts().at(0)->frame();
                QVERIFY2(qAbs(frame.x - 700) <= 20 && qAbs(frame.y - 400) <= 40,
                    qPrintable(QStringLiteral("%1,%2").arg(frame.x).arg(frame.y)));
            }
        }
        verifyNoQmlWarning();
    }

    // As with every workspace, its hot key is bound at the next start.
    void afterARestartItsHotKeyOpensIt()
    {
        m_vantor.terminate();
        QVERIFY(m_vantor.start({}, m_session.environment()));
        QVERIFY2(m_vantor.waitForLines(QStringLiteral("✅ Registered shortcut for Deep Work at slot 0")),
            qPrintable(m_vantor.err()));
        if (!windowsOfClass(QStringLiteral("XClock")).isEmpty())
            TestDesktop::run(QStringLiteral("wmctrl"),
                {QStringLiteral("-x"), QStringLiteral("-c"), QStringLiteral("XClock")});
        QTRY_VERIFY_WITH_TIMEOUT(windowsOfClass(QStringLiteral("XClock")).isEmpty(), 10000);

        TestDesktop::run(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("shift+alt+1")});
        QTRY_COMPARE_WITH_TIMEOUT(windowsOfClass(QStringLiteral("XClock")).size(), 1, 20000);
        QVERIFY(windowsOfClass(QStringLiteral("XLogo")).isEmpty());
    }

};

VANTOR_DESKTOP_TEST_MAIN(CreateWorkspaceE2eTest)
#include "tst_create_workspace_e2e.moc"
