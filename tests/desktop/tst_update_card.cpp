// The update card on the Settings tab of a real window, whose update service reads a signed
// feed from a local server: the checking state at start, "Check for updates" ending up to
// date with the date of the check, a newer version offered for download, and the service's
// own window when "Download" is pressed.
#include "ContentViewModel.h"
#include "Platform/Updates/UpdateDialog.h"

#include "MainWindowOnFakes.h"
#include "SceneItems.h"
#include "TestMain.h"
#include "UpdateFeedServer.h"

#include <QApplication>
#include <QQuickItem>

#include <memory>

namespace {

const QString kFeed = QStringLiteral("/appcast.xml");
const QString kChecking = QStringLiteral("Checking for updates...");
const QString kUpToDate = QStringLiteral("You\u2019re all up to date \u2014 nice!");

QByteArray feedOf(const QString& version, const QString& display = {})
{
    return TestFeed::feed({TestFeed::release(version, display)});
}

Platform::UpdateDialog* openUpdateDialog()
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* dialog = qobject_cast<Platform::UpdateDialog*>(widget);
            dialog && dialog->isVisible())
            return dialog;
    }
    return nullptr;
}

} // namespace

class UpdateCardTest final : public QObject {
    Q_OBJECT

    std::unique_ptr<UpdateFeedServer> m_server;
    std::unique_ptr<MainWindowOnFakes> m_fakes;

    QWindow* window() const { return m_fakes->mainWindow->window(); }
    QQuickItem* item(const QString& name) const
    {
        return SceneItems::visibleNamed(window(), name).value(0);
    }
    QString text(const QString& name) const { return SceneItems::texts(window(), name).value(0); }
    QString buttonTitle() const
    {
        return item(QStringLiteral("updateButton"))->property("title").toString();
    }
    QString symbol() const
    {
        return item(QStringLiteral("updateIcon"))->property("name").toString();
    }
    QColor symbolColor() const
    {
        return item(QStringLiteral("updateIcon"))->property("color").value<QColor>();
    }

    void showSettings()
    {
        QVERIFY(m_fakes->show());
        SceneItems::click(window(), item(QStringLiteral("settingsTab")));
        QTRY_VERIFY(item(QStringLiteral("availableUpdatesView")));
    }

    void pressUpdateButton()
    {
        QQuickItem* button = item(QStringLiteral("updateButton"));
        QVERIFY(button);
        // The card sits below the shortcuts; the tab scrolls it into view when needed.
        SceneItems::click(window(), button);
    }

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        m_server = std::make_unique<UpdateFeedServer>();
        // The window's first check waits: the feed never answers until a test says so.
        m_server->serve(kFeed, {200, {}, {}, true, false});
        qputenv("VANTOR_UPDATE_FEED_URL", m_server->url(kFeed).toEncoded());
        m_fakes = std::make_unique<MainWindowOnFakes>();
    }

    void cleanup()
    {
        if (Platform::UpdateDialog* dialog = openUpdateDialog())
            dialog->close();
        m_fakes.reset();
        m_server.reset();
    }

    void atFirstTheCardIsCheckingWithoutADate()
    {
        showSettings();
        QTRY_COMPARE(m_server->requestCount(kFeed), 1);
        QCOMPARE(text(QStringLiteral("updatesTitle")), QStringLiteral("Updates"));
        QCOMPARE(text(QStringLiteral("updateStatus")), kChecking);
        QCOMPARE(symbol(), QStringLiteral("arrow.triangle.2.circlepath"));
        QCOMPARE(symbolColor(), QColor(QStringLiteral("#b58100"))); // yellow, light scheme
        QCOMPARE(buttonTitle(), QStringLiteral("Check for updates"));
        QVERIFY(!item(QStringLiteral("lastChecked")));
        QCOMPARE(text(QStringLiteral("currentVersion")),
            QStringLiteral("Current version: " VANTOR_VERSION));
    }

    void checkForUpdatesEndsUpToDateWithTheDate()
    {
        showSettings();
        QTRY_COMPARE(m_server->requestCount(kFeed), 1);
        m_server->serveSignedFeed(kFeed, feedOf(QStringLiteral(VANTOR_VERSION)));
        pressUpdateButton();
        QTRY_COMPARE(m_server->requestCount(kFeed), 2);
        QCOMPARE(text(QStringLiteral("updateStatus")), kChecking);
        QTRY_COMPARE_WITH_TIMEOUT(text(QStringLiteral("updateStatus")), kUpToDate, 10000);
        QCOMPARE(symbol(), QStringLiteral("checkmark.circle.fill"));
        QCOMPARE(symbolColor(), QColor(QStringLiteral("#1e8a3c"))); // green, light scheme
        const QDateTime checked = m_fakes->mainWindow->content()->updaterManager()->lastChecked();
        QVERIFY(checked.isValid());
        QTRY_COMPARE(text(QStringLiteral("lastChecked")),
            QStringLiteral("Last checked for updates: ")
                + checked.toString(QStringLiteral("d MMM yyyy, HH:mm")));
        QCOMPARE(buttonTitle(), QStringLiteral("Check for updates"));
    }

    void aNewerVersionIsOfferedForDownload()
    {
        showSettings();
        QTRY_COMPARE(m_server->requestCount(kFeed), 1);
        m_server->serveSignedFeed(
            kFeed, feedOf(QStringLiteral("99.0"), QStringLiteral("99 “Maple”")));
        pressUpdateButton();
        QTRY_COMPARE_WITH_TIMEOUT(text(QStringLiteral("updateStatus")),
            QStringLiteral("Update available: 99 “Maple”"), 10000);
        QCOMPARE(buttonTitle(), QStringLiteral("Download"));
        // Found at once, the symbol stays the check's and no date is set.
        QCOMPARE(symbol(), QStringLiteral("arrow.triangle.2.circlepath"));
        QVERIFY(!item(QStringLiteral("lastChecked")));

        pressUpdateButton();
        QTRY_VERIFY_WITH_TIMEOUT(openUpdateDialog(), 10000);
        QCOMPARE(m_server->requestCount(kFeed), 3);
        QTRY_COMPARE(
            text(QStringLiteral("updateStatus")), QStringLiteral("Update available: 99 “Maple”"));
        QCOMPARE(buttonTitle(), QStringLiteral("Download"));
    }

    void everyShowingChecksSilently()
    {
        m_server->serveSignedFeed(kFeed, feedOf(QStringLiteral(VANTOR_VERSION)));
        showSettings();
        QTRY_COMPARE_WITH_TIMEOUT(text(QStringLiteral("updateStatus")), kUpToDate, 10000);
        QSignalSpy closed(m_fakes->mainWindow.get(), &MainWindow::closed);
        window()->close();
        QVERIFY(closed.count() == 1 || closed.wait());
        QTRY_VERIFY(!m_fakes->mainWindow->window());
        // A new showing is new content: checking again, nothing kept from before.
        m_server->serve(kFeed, {200, {}, {}, true, false});
        showSettings();
        QTRY_COMPARE(m_server->requestCount(kFeed), 2);
        QCOMPARE(text(QStringLiteral("updateStatus")), kChecking);
        QVERIFY(!item(QStringLiteral("lastChecked")));
    }
};

VANTOR_DESKTOP_TEST_MAIN(UpdateCardTest)
#include "tst_update_card.moc"
