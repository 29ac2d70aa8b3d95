#include "TestMain.h"
#include "WindowTruth.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

using namespace WindowTruth;

namespace {

struct Outcome {
    int exitCode = -1;
    QString out;
    QString err;
};

Outcome vantor(const QStringList& arguments,
    const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    dieWithParent(process);
    process.setProcessEnvironment(environment);
    process.start(qEnvironmentVariable("VANTOR_EXECUTABLE"), arguments);
    if (!process.waitForFinished(20000))
        process.kill();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
        QString::fromUtf8(process.readAllStandardOutput()),
        QString::fromUtf8(process.readAllStandardError())};
}

QJsonObject entryFor(const QJsonArray& windows, Platform::WindowId window)
{
    for (const QJsonValue& value : windows) {
        if (value.toObject().value(QLatin1String("windowId")).toInteger()
            == static_cast<qint64>(window))
            return value.toObject();
    }
    return {};
}

int indexOf(const QJsonArray& windows, Platform::WindowId window)
{
    for (qsizetype i = 0; i < windows.size(); ++i) {
        if (windows[i].toObject().value(QLatin1String("windowId")).toInteger()
            == static_cast<qint64>(window))
            return static_cast<int>(i);
    }
    return -1;
}

} // namespace

// The debugging commands, run as the real executable against the test's desktop.
class X11CommandsTest : public QObject {
    Q_OBJECT

private:
    TestDesktop& m_desktop = *TestDesktop::instance();

    Platform::WindowId start(const QString& program, const QString& where, qint64* pid = nullptr)
    {
        const qint64 started = m_desktop.startApp(program, {QStringLiteral("-geometry"), where});
        if (pid)
            *pid = started;
        return m_desktop.probe().clientWindowsOf(static_cast<std::int32_t>(started)).value(0);
    }

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    void windowsListsOnScreenWindowsAsJsonFrontToBack()
    {
        qint64 logoPid = 0;
        const Platform::WindowId logo
            = start(QStringLiteral("xlogo"), QStringLiteral("200x150+40+60"), &logoPid);
        const Platform::WindowId clock
            = start(QStringLiteral("xclock"), QStringLiteral("180x170+500+300"));
        const Platform::WindowId hidden
            = start(QStringLiteral("xeyes"), QStringLiteral("100x100+700+700"));
        run(QStringLiteral("xdotool"),
            {QStringLiteral("windowminimize"), QStringLiteral("--sync"), hex(hidden)});
        run(QStringLiteral("xdotool"),
            {QStringLiteral("windowactivate"), QStringLiteral("--sync"), hex(logo)});

        const Outcome outcome = vantor({QStringLiteral("windows"), QStringLiteral("--json")});

        QCOMPARE(outcome.exitCode, 0);
        QCOMPARE(outcome.err, QString());
        const QJsonArray windows = QJsonDocument::fromJson(outcome.out.toUtf8()).array();
        const QJsonObject entry = entryFor(windows, logo);
        QCOMPARE(entry.value(QLatin1String("pid")).toInteger(), logoPid);
        QCOMPARE(entry.value(QLatin1String("wmClass")).toString(), QStringLiteral("XLogo"));
        QCOMPARE(entry.value(QLatin1String("type")).toString(), QStringLiteral("normal"));
        const Frame frame = frameOf(logo);
        QCOMPARE(entry.value(QLatin1String("x")).toDouble(), frame.x);
        QCOMPARE(entry.value(QLatin1String("y")).toDouble(), frame.y);
        QCOMPARE(entry.value(QLatin1String("width")).toDouble(), frame.width);
        QCOMPARE(entry.value(QLatin1String("height")).toDouble(), frame.height);
        QCOMPARE(entry.keys().size(), 8);
        QVERIFY(indexOf(windows, logo) >= 0);
        QVERIFY(indexOf(windows, logo) < indexOf(windows, clock));
        QCOMPARE(indexOf(windows, hidden), -1);

        const Outcome text = vantor({QStringLiteral("windows")});
        const QString line = QStringLiteral("0x%1  pid %2  XLogo  normal  202x175+40+60")
                                 .arg(logo, 8, 16, QLatin1Char('0'))
                                 .arg(logoPid);
        QVERIFY2(text.out.split(u'\n').contains(line), qPrintable(text.out));
    }

    void placeMovesEveryWindowOfTheProcess()
    {
        qint64 pid = 0;
        const Platform::WindowId window
            = start(QStringLiteral("xlogo"), QStringLiteral("120x120+10+10"), &pid);

        const Outcome outcome
            = vantor({QStringLiteral("place"), QString::number(pid), QStringLiteral("640"),
                QStringLiteral("360"), QStringLiteral("300"), QStringLiteral("250")});

        QCOMPARE(outcome.exitCode, 0);
        QCOMPARE(outcome.out, QString());
        QCOMPARE(outcome.err, QString());
        QTRY_COMPARE(frameOf(window), (Frame{640, 360, 300, 250}));
    }

    void placeReportsAnExitedProcess()
    {
        qint64 pid = 0;
        start(QStringLiteral("xlogo"), QStringLiteral("100x100+10+10"), &pid);
        m_desktop.stopApp(pid);

        const Outcome outcome
            = vantor({QStringLiteral("place"), QString::number(pid), QStringLiteral("0"),
                QStringLiteral("0"), QStringLiteral("100"), QStringLiteral("100")});

        QCOMPARE(outcome.exitCode, 1);
        QCOMPARE(outcome.out, QString());
        QCOMPARE(outcome.err, QStringLiteral("vantor: Could not retrieve windows for %1.\n").arg(pid));
    }

    void malformedArgumentsAreUsageErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("too few") << QStringList{"place", "12", "0", "0"};
        QTest::newRow("not a number") << QStringList{"place", "12", "0", "zero", "10", "10"};
        QTest::newRow("no size") << QStringList{"place", "12", "0", "0", "0", "10"};
        QTest::newRow("listing with arguments") << QStringList{"windows", "all"};
    }

    void malformedArgumentsAreUsageErrors()
    {
        QFETCH(QStringList, arguments);
        const Outcome outcome = vantor(arguments);
        QCOMPARE(outcome.exitCode, 2);
        QCOMPARE(outcome.out, QString());
        QVERIFY(outcome.err.startsWith(QLatin1String("vantor: ")));
    }

    void withoutDisplayTheCommandsFail()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(QStringLiteral("DISPLAY"));
        const Outcome outcome = vantor({QStringLiteral("windows")}, environment);
        QCOMPARE(outcome.exitCode, 1);
        QVERIFY(outcome.err.contains(
            QLatin1String("There is no graphical session here (neither DISPLAY nor WAYLAND_DISPLAY is set).")));
    }

    void helpNamesTheCommands()
    {
        const Outcome outcome = vantor({QStringLiteral("--help")});
        QCOMPARE(outcome.exitCode, 0);
        QVERIFY(outcome.out.contains(QLatin1String("windows [--json]")));
        QVERIFY(outcome.out.contains(QLatin1String("place PID X Y W H")));
    }
};

VANTOR_DESKTOP_TEST_MAIN(X11CommandsTest)
#include "tst_x11_commands.moc"
