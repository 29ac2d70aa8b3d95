// The update card of the real tray app as a screen reader finds it: the silent check of
// the window's first showing ends up to date with the date of the check, and "Check for
// updates" against a feed with a newer version offers it with "Download". The feed comes
// from a server in this test, signed with the test key the test build trusts.
#include "ScreenReader.h"
#include "TestMain.h"
#include "UpdateFeedServer.h"
#include "VantorProcess.h"

namespace {

const QString kShown = QStringLiteral("Accessibility permissions are granted.");
const QString kButton = QStringLiteral("push button");
const QString kFeed = QStringLiteral("/appcast.xml");

QByteArray feedOf(const QString& version, const QString& display = {})
{
    return TestFeed::feed({TestFeed::release(version, display)});
}

} // namespace

class UpdateCardE2eTest final : public QObject {
    Q_OBJECT

    UpdateFeedServer m_server;
    ScreenReader m_reader;
    VantorProcess m_vantor;

    std::optional<ScreenReader::Node> nodeStartingWith(const QString& prefix) const
    {
        for (const ScreenReader::Node& node : m_reader.tree()) {
            if (node.name.startsWith(prefix) && node.showing)
                return node;
        }
        return std::nullopt;
    }

    bool hasNodeNamed(const QString& name) const
    {
        const auto node = nodeStartingWith(name);
        return node && node->name == name;
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_server.serveSignedFeed(kFeed, feedOf(QStringLiteral(VANTOR_VERSION)));
        QVERIFY(m_reader.start());
        QProcessEnvironment environment = m_reader.environment();
        environment.insert(QStringLiteral("VANTOR_COLOR_SCHEME"), QStringLiteral("light"));
        environment.insert(
            QStringLiteral("VANTOR_UPDATE_FEED_URL"), m_server.url(kFeed).toString());
        QVERIFY(m_vantor.start({}, environment));
        QVERIFY2(
            m_vantor.waitForLines(kShown, 1, std::chrono::seconds(30)), qPrintable(m_vantor.err()));
        QVERIFY(m_reader.press(QStringLiteral("Settings"), QStringLiteral("page tab")));
    }

    void cleanupTestCase() { m_vantor.terminate(); }

    void init() { failOnUnexpectedWarnings(); }

    void theFirstShowingChecksSilentlyAndEndsUpToDate()
    {
        QTRY_VERIFY(hasNodeNamed(QStringLiteral("Updates")));
        QVERIFY(hasNodeNamed(QStringLiteral("Current version: " VANTOR_VERSION)));
        QTRY_VERIFY_WITH_TIMEOUT(
            hasNodeNamed(QStringLiteral("You\u2019re all up to date \u2014 nice!")), 20000);
        QVERIFY(m_server.requestCount(kFeed) >= 1);
        const auto lastChecked = nodeStartingWith(QStringLiteral("Last checked for updates: "));
        QVERIFY(lastChecked);
        const QString date
            = lastChecked->name.mid(QStringLiteral("Last checked for updates: ").size());
        QVERIFY2(QDateTime::fromString(date, QStringLiteral("d MMM yyyy, HH:mm")).isValid(),
            qPrintable(date));
        QVERIFY(m_reader.isShowing(kButton, QStringLiteral("Check for updates")));
    }

    void checkForUpdatesFindsTheNewerVersion()
    {
        const int before = m_server.requestCount(kFeed);
        m_server.serveSignedFeed(
            kFeed, feedOf(QStringLiteral("99.0"), QStringLiteral("99 “Maple”")));
        QVERIFY(m_reader.press(QStringLiteral("Check for updates"), kButton));
        QTRY_VERIFY_WITH_TIMEOUT(
            hasNodeNamed(QStringLiteral("Update available: 99 “Maple”")), 20000);
        QCOMPARE(m_server.requestCount(kFeed), before + 1);
        QVERIFY(m_reader.isShowing(kButton, QStringLiteral("Download")));
        QVERIFY(!m_reader.isShowing(kButton, QStringLiteral("Check for updates")));
        // The date of the earlier up-to-date answer stays.
        QVERIFY(nodeStartingWith(QStringLiteral("Last checked for updates: ")));
    }

    void theScreensRanWithoutAQmlWarning()
    {
        const QString errors = m_vantor.err();
        QVERIFY2(
            !errors.contains(QLatin1String("qrc:/")) && !errors.contains(QLatin1String(".qml")),
            qPrintable(errors));
    }
};

VANTOR_DESKTOP_TEST_MAIN(UpdateCardE2eTest)
#include "tst_update_card_e2e.moc"
