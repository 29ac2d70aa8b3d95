// UpdaterManager over a fake update service: the card's states, their order, the pause
// before "up to date", and what an update found leaves alone.
#include "Util/AppVersion.h"
#include "Util/DateUtil.h"
#include "Util/UpdaterManager.h"

#include "TestMain.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTimer>

namespace {

const QString kChecking = QStringLiteral("Checking for updates...");
const QString kUpToDate = QStringLiteral("You\u2019re all up to date \u2014 nice!");
const QString kArrows = QStringLiteral("arrow.triangle.2.circlepath");
const QString kCheckmark = QStringLiteral("checkmark.circle.fill");

// Records what it is asked; the test answers in its place.
class FakeUpdateService final : public Platform::UpdateService {
public:
    Platform::UpdaterDelegate* delegate = nullptr;
    int backgroundChecks = 0;
    int userChecks = 0;

    void start(Platform::UpdaterDelegate& started) override { delegate = &started; }
    void checkForUpdateInformation() override { ++backgroundChecks; }
    void checkForUpdates() override { ++userChecks; }
};

} // namespace

class UpdaterManagerTest final : public QObject {
    Q_OBJECT

    FakeUpdateService* m_service = nullptr;
    std::unique_ptr<UpdaterManager> m_manager;

    // Waits for the up-to-date answer to show; how long it took.
    qint64 answerNoUpdate()
    {
        QElapsedTimer clock;
        clock.start();
        m_service->delegate->updaterDidNotFindUpdate();
        [&] { QTRY_COMPARE_WITH_TIMEOUT(m_manager->updateStatus(), kUpToDate, 5000); }();
        return clock.elapsed();
    }

    void expectChecking() const
    {
        QCOMPARE(m_manager->updateStatus(), kChecking);
        QCOMPARE(m_manager->updateIcon(), kArrows);
        QCOMPARE(m_manager->updateIconColor(), QStringLiteral("yellow"));
    }

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        auto service = std::make_unique<FakeUpdateService>();
        m_service = service.get();
        m_manager = std::make_unique<UpdaterManager>(std::move(service));
    }

    void cleanup() { m_manager.reset(); }

    void itStartsCheckingWithTheServiceStarted()
    {
        expectChecking();
        QVERIFY(!m_manager->isUpdateAvailable());
        QVERIFY(!m_manager->lastChecked().isValid());
        QCOMPARE(m_manager->lastCheckedText(), QString());
        QVERIFY(m_service->delegate);
        QCOMPARE(m_service->backgroundChecks + m_service->userChecks, 0);
    }

    void aSilentCheckAsksInTheBackgroundAndTheOtherWithWindows()
    {
        m_manager->checkForUpdates(true);
        QCOMPARE(m_service->backgroundChecks, 1);
        QCOMPARE(m_service->userChecks, 0);
        m_manager->checkForUpdates(false);
        QCOMPARE(m_service->userChecks, 1);
    }

    void noNewerVersionShowsUpToDateAfterThePause()
    {
        m_manager->checkForUpdates(true);
        QSignalSpy lastChecked(m_manager.get(), &UpdaterManager::lastCheckedChanged);
        const QDateTime before = QDateTime::currentDateTime();
        const qint64 took = answerNoUpdate();
        QVERIFY2(took >= UpdaterManager::kUpToDatePauseMs - 10, qPrintable(QString::number(took)));
        QCOMPARE(m_manager->updateIcon(), kCheckmark);
        QCOMPARE(m_manager->updateIconColor(), QStringLiteral("green"));
        QVERIFY(!m_manager->isUpdateAvailable());
        QCOMPARE(lastChecked.count(), 1);
        QVERIFY(m_manager->lastChecked() >= before.addMSecs(UpdaterManager::kUpToDatePauseMs - 10));
        QCOMPARE(m_manager->lastCheckedText(),
            DateUtils::workspaceFormatter().string(m_manager->lastChecked()));
    }

    void thePauseHoldsUpNothingElse()
    {
        m_manager->checkForUpdates(true);
        m_service->delegate->updaterDidNotFindUpdate();
        // The event loop runs on: an unrelated timer fires long before the answer shows.
        bool other = false;
        QTimer::singleShot(10, this, [&other] { other = true; });
        QTRY_VERIFY_WITH_TIMEOUT(other, 1000);
        QCOMPARE(m_manager->updateStatus(), kChecking);
        QTRY_COMPARE_WITH_TIMEOUT(m_manager->updateStatus(), kUpToDate, 5000);
    }

    void anUpdateShowsAtOnceAndLeavesSymbolAndDateAlone()
    {
        m_manager->checkForUpdates(true);
        answerNoUpdate();
        const QDateTime checked = m_manager->lastChecked();
        m_manager->checkForUpdates(true);
        expectChecking();
        QCOMPARE(m_manager->lastChecked(), checked);

        QSignalSpy available(m_manager.get(), &UpdaterManager::isUpdateAvailableChanged);
        QElapsedTimer clock;
        clock.start();
        m_service->delegate->updaterDidFindValidUpdate(QStringLiteral("2.0 “Maple”"));
        QVERIFY(available.wait(1000));
        QVERIFY(clock.elapsed() < UpdaterManager::kUpToDatePauseMs);
        QCOMPARE(m_manager->updateStatus(), QStringLiteral("Update available: 2.0 “Maple”"));
        QVERIFY(m_manager->isUpdateAvailable());
        QCOMPARE(m_manager->updateIcon(), kArrows);
        QCOMPARE(m_manager->updateIconColor(), QStringLiteral("yellow"));
        QCOMPARE(m_manager->lastChecked(), checked);
    }

    void anUpdateBeforeAnyUpToDateLeavesNoDate()
    {
        m_manager->checkForUpdates(true);
        QSignalSpy available(m_manager.get(), &UpdaterManager::isUpdateAvailableChanged);
        m_service->delegate->updaterDidFindValidUpdate(QStringLiteral("2.0"));
        QVERIFY(available.wait(1000));
        QVERIFY(!m_manager->lastChecked().isValid());
    }

    void aNewCheckReturnsToCheckingAndDownloadKeepsTheUpdate()
    {
        m_manager->checkForUpdates(true);
        answerNoUpdate();
        m_manager->checkForUpdates(true);
        expectChecking();

        QSignalSpy available(m_manager.get(), &UpdaterManager::isUpdateAvailableChanged);
        m_service->delegate->updaterDidFindValidUpdate(QStringLiteral("2.0"));
        QVERIFY(available.wait(1000));
        // "Download": back to Checking, still an update available, and the service's windows.
        m_manager->checkForUpdates(false);
        expectChecking();
        QVERIFY(m_manager->isUpdateAvailable());
        QCOMPARE(m_service->userChecks, 1);
    }

    void theCheckingStateIsSetInOrder()
    {
        m_manager->checkForUpdates(true);
        answerNoUpdate();
        QStringList order;
        connect(m_manager.get(), &UpdaterManager::updateStatusChanged, this,
            [&order] { order << QStringLiteral("status"); });
        connect(m_manager.get(), &UpdaterManager::updateIconChanged, this,
            [&order] { order << QStringLiteral("icon"); });
        connect(m_manager.get(), &UpdaterManager::updateIconColorChanged, this,
            [&order] { order << QStringLiteral("color"); });
        m_manager->checkForUpdates(true);
        QCOMPARE(order,
            QStringList(
                {QStringLiteral("status"), QStringLiteral("icon"), QStringLiteral("color")}));
    }

    void aCheckWithinThePauseIsOvertakenByTheEarlierAnswer()
    {
        m_manager->checkForUpdates(true);
        m_service->delegate->updaterDidNotFindUpdate();
        m_manager->checkForUpdates(true);
        expectChecking();
        // The earlier answer's pause still ends in "up to date".
        QTRY_COMPARE_WITH_TIMEOUT(m_manager->updateStatus(), kUpToDate, 5000);
    }

    void theVersionIsTheBuildsOrUnknown()
    {
        QCOMPARE(AppVersion::current(), QStringLiteral(VANTOR_VERSION));
        QVERIFY(!AppVersion::current().isEmpty());
        QCOMPARE(AppVersion::versionOrUnknown({}), QStringLiteral("Unknown"));
        QCOMPARE(AppVersion::versionOrUnknown(QStringLiteral("1.2.3")), QStringLiteral("1.2.3"));
    }
};

VANTOR_UNIT_TEST_MAIN(UpdaterManagerTest)
#include "tst_updater_manager.moc"
