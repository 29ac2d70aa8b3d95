// The update service against a real HTTP server on 127.0.0.1: the two answers, every way a
// check can fail (which answers nothing), and the user's check with its download.
#include "Platform/Updates/Appcast.h"
#include "Platform/Updates/EnclosureDownload.h"
#include "Platform/Updates/FeedUpdateService.h"
#include "Platform/Updates/UpdateDialog.h"

#include "TestMain.h"
#include "UpdateFeedServer.h"

#include <QDir>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>

using namespace Platform;
using namespace std::chrono_literals;

namespace {

const QString kFeed = QStringLiteral("/appcast.xml");
const QString kFile = QStringLiteral("/Vantor-2.0.AppImage");

class RecordingDelegate final : public UpdaterDelegate {
public:
    int notFound = 0;
    QStringList found;

    void updaterDidNotFindUpdate() override { ++notFound; }
    void updaterDidFindValidUpdate(const QString& displayVersionString) override
    {
        found.append(displayVersionString);
    }
    int answers() const { return notFound + static_cast<int>(found.size()); }
};

QStringList everythingIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

} // namespace

class UpdateServiceTest final : public QObject {
    Q_OBJECT

    std::unique_ptr<UpdateFeedServer> m_server;
    std::unique_ptr<FeedUpdateService> m_service;
    RecordingDelegate m_delegate;
    FeedCheckOutcome m_outcome;
    QStringList m_revealed;

    FeedUpdateService::Configuration configuration(const QUrl& feed) const
    {
        FeedUpdateService::Configuration configuration;
        configuration.feedUrl = feed;
        configuration.publicKeyBase64 = TestSigning::publicKeyBase64();
        configuration.runningVersion = QStringLiteral("1.9");
        configuration.systemVersion = QStringLiteral("6.1.0");
        configuration.limits.idleTimeout = 2s;
        configuration.limits.totalTimeout = 3s;
        return configuration;
    }

    void makeService(const FeedUpdateService::Configuration& configuration)
    {
        m_service = std::make_unique<FeedUpdateService>(configuration);
        m_service->start(m_delegate);
        connect(m_service.get(), &FeedUpdateService::checkEnded, this,
            [this](const FeedCheckOutcome& outcome) { m_outcome = outcome; });
    }

    // Runs one check to its end, as the service itself tells it.
    bool check(bool userFacing = false)
    {
        QSignalSpy ended(m_service.get(), &FeedUpdateService::checkEnded);
        if (userFacing)
            m_service->checkForUpdates();
        else
            m_service->checkForUpdateInformation();
        return ended.wait(10000) && ended.count() == 1;
    }

    TestFeed::Release newerRelease() const
    {
        TestFeed::Release release;
        release.version = QStringLiteral("2.0");
        release.displayVersion = QStringLiteral("2.0 “Maple”");
        release.fileUrl = m_server->url(kFile);
        release.file = QByteArray(300000, 'v') + "the end";
        return release;
    }

    void serveNewerRelease()
    {
        const TestFeed::Release release = newerRelease();
        m_server->serveSignedFeed(kFeed, TestFeed::feed({release}));
        m_server->serveBody(kFile, release.file);
    }

    void expectFailureWithoutAnswer(const char* reason)
    {
        QVERIFY(check());
        QCOMPARE(m_outcome.kind, FeedCheckOutcome::Kind::Failed);
        QVERIFY2(m_outcome.error.contains(QLatin1String(reason)), qPrintable(m_outcome.error));
        QCOMPARE(m_delegate.answers(), 0);
    }

    // The dialog of a user's check that found the newer release, ready to download it.
    UpdateDialog* dialogWithUpdate(const QString& folder)
    {
        makeService(configuration(m_server->url(kFeed)));
        if (!check(true))
            return nullptr;
        UpdateDialog* dialog = m_service->dialog();
        if (!dialog)
            return nullptr;
        if (!folder.isEmpty())
            dialog->setDownloadFolder(folder);
        dialog->setReveal([this](const QString& path) { m_revealed.append(path); });
        return dialog;
    }

    static QString download(UpdateDialog* dialog)
    {
        QSignalSpy finished(dialog, &UpdateDialog::downloadFinished);
        dialog->download();
        if (!finished.wait(10000))
            return QStringLiteral("(never finished)");
        return finished.at(0).at(0).toString();
    }

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        m_server = std::make_unique<UpdateFeedServer>();
        m_delegate = {};
        m_outcome = {};
        m_revealed.clear();
        makeService(configuration(m_server->url(kFeed)));
    }

    void cleanup()
    {
        m_service.reset();
        m_server.reset();
    }

    void noNewerVersionIsTold()
    {
        m_server->serveSignedFeed(kFeed,
            TestFeed::feed({TestFeed::release(QStringLiteral("1.9")),
                TestFeed::release(QStringLiteral("1.2"))}));
        QVERIFY(check());
        QCOMPARE(m_delegate.notFound, 1);
        QVERIFY(m_delegate.found.isEmpty());
        QCOMPARE(m_server->requests().size(), 2);
        QVERIFY(m_server->requests().contains(kFeed + QStringLiteral(".sig")));
    }

    void aNewerVersionIsToldWithItsDisplayVersion()
    {
        serveNewerRelease();
        QVERIFY(check());
        QCOMPARE(m_delegate.found, QStringList{QStringLiteral("2.0 “Maple”")});
        QCOMPARE(m_delegate.notFound, 0);
        // A background check shows nothing and downloads nothing.
        QVERIFY(!m_service->dialog());
        QCOMPARE(m_server->requestCount(kFile), 0);
    }

    void aFeedSignedWithAnotherKeyAnswersNothing()
    {
        const QByteArray feed = TestFeed::feed({newerRelease()});
        m_server->serveBody(kFeed, feed);
        m_server->serveBody(
            kFeed + QStringLiteral(".sig"), TestSigning::sign(feed, TestSigning::otherKeyPair()));
        expectFailureWithoutAnswer("does not match");
    }

    void aSwappedFeedAnswersNothing()
    {
        const QByteArray signedFeed = TestFeed::feed({TestFeed::release(QStringLiteral("1.0"))});
        m_server->serveBody(kFeed, TestFeed::feed({newerRelease()}));
        m_server->serveBody(kFeed + QStringLiteral(".sig"), TestSigning::sign(signedFeed));
        expectFailureWithoutAnswer("does not match");
    }

    void aMalformedSignedFeedAnswersNothing()
    {
        m_server->serveSignedFeed(
            kFeed, "<rss version=\"2.0\"><channel><item></item></channel></rss>");
        expectFailureWithoutAnswer("refused");
    }

    void aMissingFeedAnswersNothing()
    {
        m_server->serveBody(kFeed + QStringLiteral(".sig"), "AAAA");
        expectFailureWithoutAnswer("feed");
    }

    void aMissingSignatureAnswersNothing()
    {
        m_server->serveBody(kFeed, TestFeed::feed({newerRelease()}));
        expectFailureWithoutAnswer("signature");
    }

    void anHttpErrorAnswersNothing()
    {
        serveNewerRelease();
        m_server->serve(kFeed, {500, TestFeed::feed({newerRelease()}), {}, false, false});
        expectFailureWithoutAnswer("feed");
    }

    void aServerThatNeverAnswersTimesOut()
    {
        serveNewerRelease();
        m_server->serve(kFeed, {200, {}, {}, true, false});
        QElapsedTimer clock;
        clock.start();
        expectFailureWithoutAnswer("feed");
        QVERIFY(clock.elapsed() < 8000);
    }

    void anOversizedFeedIsCutOff()
    {
        const QByteArray huge = TestFeed::rss(QByteArray(3 * 1024 * 1024, ' '));
        m_server->serveSignedFeed(kFeed, huge);
        expectFailureWithoutAnswer("bytes");
    }

    void anOversizedFeedWithoutLengthIsCutOff()
    {
        const QByteArray huge = TestFeed::rss(QByteArray(3 * 1024 * 1024, ' '));
        m_server->serveSignedFeed(kFeed, huge);
        m_server->serve(kFeed, {200, huge, {}, false, true});
        expectFailureWithoutAnswer("more than");
    }

    void aRedirectToPlainHttpIsNotFollowed()
    {
        serveNewerRelease();
        m_server->serveSignedFeed(QStringLiteral("/moved.xml"), TestFeed::feed({newerRelease()}));
        m_server->serve(kFeed,
            {302, {}, m_server->url(QStringLiteral("/moved.xml")).toEncoded(), false, false});
        expectFailureWithoutAnswer("redirected");
        QCOMPARE(m_server->requestCount(QStringLiteral("/moved.xml")), 0);
    }

    void aRefusedConnectionAnswersNothing()
    {
        makeService(configuration(QUrl(QStringLiteral("http://127.0.0.1:9/appcast.xml"))));
        expectFailureWithoutAnswer("feed");
    }

    void plainHttpElsewhereIsNeverAsked()
    {
        makeService(configuration(QUrl(QStringLiteral("http://vantor.app/appcast.xml"))));
        expectFailureWithoutAnswer("not an HTTPS address");
    }

    void aBuildWithoutFeedNeverChecks()
    {
        makeService(configuration(QUrl()));
        expectFailureWithoutAnswer("no update feed");
        QVERIFY(m_server->requests().isEmpty());
    }

    void theBuiltInFeedCanBeOverridden()
    {
        qputenv("VANTOR_UPDATE_FEED_URL", m_server->url(kFeed).toEncoded());
        const FeedUpdateService::Configuration builtIn = FeedUpdateService::builtInConfiguration();
        QCOMPARE(builtIn.feedUrl, m_server->url(kFeed));
        // The test build trusts the test key.
        QCOMPARE(builtIn.publicKeyBase64, TestSigning::publicKeyBase64());
        QCOMPARE(builtIn.runningVersion, QStringLiteral(VANTOR_VERSION));
    }

    void theUsersCheckShowsTheUpdateAndSavesTheVerifiedFile()
    {
        serveNewerRelease();
        UpdateDialog* dialog = dialogWithUpdate({});
        QVERIFY(dialog);
        QCOMPARE(m_delegate.found, QStringList{QStringLiteral("2.0 “Maple”")});
        QVERIFY(dialog->isVisible());
        const QString downloads
            = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
        QVERIFY(downloads.startsWith(qEnvironmentVariable("HOME")));
        const QString saved = download(dialog);
        QCOMPARE(saved, downloads + kFile);
        QFile file(saved);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), newerRelease().file);
        QCOMPARE(m_revealed, QStringList{saved});
        QCOMPARE(everythingIn(downloads), QStringList{QStringLiteral("Vantor-2.0.AppImage")});
        QVERIFY(dialog->statusText().contains(QLatin1String("Vantor-2.0.AppImage")));

        // A second download does not overwrite the first.
        QVERIFY(m_service->dialog() == dialog);
        dialog->showUpdate(Appcast::parse(TestFeed::feed({newerRelease()})).items.value(0));
        QCOMPARE(download(dialog), downloads + QStringLiteral("/Vantor-2.0 (2).AppImage"));
        QDir(downloads).removeRecursively();
    }

    void aTamperedFileIsRefusedAndNotLeftBehind()
    {
        serveNewerRelease();
        QByteArray tampered = newerRelease().file;
        tampered[1000] = 'w';
        m_server->serveBody(kFile, tampered);
        QTemporaryDir folder;
        UpdateDialog* dialog = dialogWithUpdate(folder.path());
        QVERIFY(dialog);
        QCOMPARE(download(dialog), QString());
        QVERIFY(everythingIn(folder.path()).isEmpty());
        QVERIFY(m_revealed.isEmpty());
        QVERIFY(dialog->statusText().contains(QLatin1String("could not be verified")));
    }

    void aFileLongerThanAnnouncedIsCutOffAndNotLeftBehind()
    {
        serveNewerRelease();
        m_server->serveBody(kFile, newerRelease().file + "more");
        QTemporaryDir folder;
        UpdateDialog* dialog = dialogWithUpdate(folder.path());
        QVERIFY(dialog);
        QCOMPARE(download(dialog), QString());
        QVERIFY(everythingIn(folder.path()).isEmpty());
    }

    void aFileShorterThanAnnouncedIsRefused()
    {
        serveNewerRelease();
        m_server->serveBody(kFile, newerRelease().file.chopped(1));
        QTemporaryDir folder;
        UpdateDialog* dialog = dialogWithUpdate(folder.path());
        QVERIFY(dialog);
        QCOMPARE(download(dialog), QString());
        QVERIFY(everythingIn(folder.path()).isEmpty());
    }

    void aMissingFileIsRefused()
    {
        serveNewerRelease();
        m_server->serve(kFile, {404, "gone", {}, false, false});
        QTemporaryDir folder;
        UpdateDialog* dialog = dialogWithUpdate(folder.path());
        QVERIFY(dialog);
        QCOMPARE(download(dialog), QString());
        QVERIFY(everythingIn(folder.path()).isEmpty());
    }

    void theUsersCheckSaysWhenUpToDate()
    {
        m_server->serveSignedFeed(
            kFeed, TestFeed::feed({TestFeed::release(QStringLiteral("1.9"))}));
        QVERIFY(check(true));
        QCOMPARE(m_delegate.notFound, 1);
        QVERIFY(m_service->dialog());
        QVERIFY(
            m_service->dialog()->statusText().contains(QLatin1String("1.9 is the newest version")));
    }

    void aFileNameIsTakenFromTheUrlSafely()
    {
        QCOMPARE(EnclosureDownload::fileNameFor(
                     QUrl(QStringLiteral("https://a.b/x/Vantor.AppImage?x=1"))),
            QStringLiteral("Vantor.AppImage"));
        const QString escaping
            = EnclosureDownload::fileNameFor(QUrl(QStringLiteral("https://a.b/x/..%2F..%2Fevil")));
        QVERIFY2(!escaping.contains(QLatin1Char('/')) && !escaping.startsWith(QLatin1Char('.')),
            qPrintable(escaping));
        QCOMPARE(EnclosureDownload::fileNameFor(QUrl(QStringLiteral("https://a.b/.hidden"))),
            QStringLiteral("hidden"));
        QCOMPARE(EnclosureDownload::fileNameFor(QUrl(QStringLiteral("https://a.b/"))),
            QStringLiteral("update"));
    }
};

VANTOR_DESKTOP_TEST_MAIN(UpdateServiceTest)
#include "tst_update_service.moc"
