#include "Tabs/CreateWorkspace/DashboardAnimation.h"
#include "Util/Scheduler.h"

#include "CreateWorkspaceFixture.h"
#include "TestMain.h"

#include <QSignalSpy>

#include <memory>

// The launch step's illustration on the create flow's clock, and waits that end with the
// object they were for.
using namespace std::chrono_literals;

class DashboardAnimationTest : public QObject {
    Q_OBJECT

    std::unique_ptr<CreateWorkspaceFixture> f;
    int m_storeNumber = 0;

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        f = std::make_unique<CreateWorkspaceFixture>(
            QStringLiteral("animation-%1.sqlite").arg(++m_storeNumber));
    }

    void cleanup() { f.reset(); }

    void showsTheEmptyDashboardUntilStarted()
    {
        DashboardAnimation animation;
        animation.setViewModel(f->model.get());
        QCOMPARE(animation.imageName(), QStringLiteral("dashboardEmpty"));
        QCOMPARE(f->scheduler->pendingCount(), 0);
    }

    void playsEachFrameOnceAfterThePauseAndEndsUnorganized()
    {
        DashboardAnimation animation;
        animation.setViewModel(f->model.get());
        QStringList shown;
        connect(&animation, &DashboardAnimation::imageNameChanged, this,
            [&] { shown.append(animation.imageName()); });
        animation.start();
        f->scheduler->advance(1649ms);
        QVERIFY(shown.isEmpty());
        f->scheduler->advance(1ms);
        QCOMPARE(shown, QStringList{QStringLiteral("dashboardAnimation1")});
        f->scheduler->advance(450ms);
        QCOMPARE(shown,
            (QStringList{QStringLiteral("dashboardAnimation1"), QStringLiteral("dashboardAnimation2"),
                QStringLiteral("dashboardAnimation3"), QStringLiteral("dashboardUnorganized")}));
        QCOMPARE(f->scheduler->pendingCount(), 0);
    }

    void startingAgainPlaysFromTheBeginning()
    {
        DashboardAnimation animation;
        animation.setViewModel(f->model.get());
        animation.start();
        f->scheduler->advance(1800ms);
        QCOMPARE(animation.imageName(), QStringLiteral("dashboardAnimation2"));
        animation.start();
        QCOMPARE(animation.imageName(), QStringLiteral("dashboardEmpty"));
        QCOMPARE(f->scheduler->pendingCount(), 1);
        f->scheduler->advance(1650ms);
        QCOMPARE(animation.imageName(), QStringLiteral("dashboardAnimation1"));
    }

    void stopOrDestructionLeavesNoWait()
    {
        DashboardAnimation stopped;
        stopped.setViewModel(f->model.get());
        stopped.start();
        stopped.stop();
        QCOMPARE(f->scheduler->pendingCount(), 0);
        f->scheduler->advance(5s);
        QCOMPARE(stopped.imageName(), QStringLiteral("dashboardEmpty"));

        auto destroyed = std::make_unique<DashboardAnimation>();
        destroyed->setViewModel(f->model.get());
        destroyed->start();
        f->scheduler->advance(1700ms);
        destroyed.reset();
        QCOMPARE(f->scheduler->pendingCount(), 0);
        f->scheduler->advance(5s);
    }

    void timerWaitsForAnObjectEndWithIt()
    {
        TimerScheduler scheduler;
        auto context = std::make_unique<QObject>();
        bool ran = false;
        scheduler.schedule(1ms, *context, [&ran] { ran = true; });
        context.reset();
        QObject later;
        QSignalSpy done(&later, &QObject::objectNameChanged);
        scheduler.schedule(20ms, later, [&later] { later.setObjectName(QStringLiteral("done")); });
        QVERIFY(done.wait());
        QVERIFY(!ran);
    }
};

VANTOR_UNIT_TEST_MAIN(DashboardAnimationTest)
#include "tst_dashboard_animation.moc"
