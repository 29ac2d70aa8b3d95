#include "Platform/AppChooser.h"
#include "Platform/DesktopIdentity.h"
#include "Store/Database.h"
#include "Store/ModelContainer.h"
#include "Tabs/CreateWorkspace/BringToFront.h"
#include "Tabs/CreateWorkspace/CreateWorkspaceViewModel.h"
#include "Tabs/Workspace/WorkspaceView/WorkspaceViewModel.h"
#include "Util/CacheManager.h"
#include "Util/Services.h"

#include "SignalSpies.h"
#include "StoreFile.h"
#include "TestMain.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileDialog>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTimer>
#include <QWidget>

#include <csignal>
#include <unistd.h>

// The create flow and the workspace screens' actions on a real desktop: real apps, desktop
// entries, launching, window frames and the store file.
namespace {

using namespace std::chrono_literals;

struct DemoApp {
    QString id;
    QString name;
    QString program;
    QString wmClass;
    QString geometry;
};

const DemoApp xclock{QStringLiteral("org.example.XClock"), QStringLiteral("XClock"),
    QStringLiteral("xclock"), QStringLiteral("XClock"), QStringLiteral("200x180+120+140")};
const DemoApp xeyes{QStringLiteral("org.example.XEyes"), QStringLiteral("XEyes"),
    QStringLiteral("xeyes"), QStringLiteral("XEyes"), QStringLiteral("240x160+600+300")};
const DemoApp xlogo{QStringLiteral("org.example.XLogo"), QStringLiteral("XLogo"),
    QStringLiteral("xlogo"), QStringLiteral("XLogo"), QStringLiteral("260x210+900+500")};

QString entryPath(const DemoApp& app)
{
    return QStandardPaths::writableLocation(QStandardPaths::ApplicationsLocation) + QLatin1Char('/')
        + app.id + QStringLiteral(".desktop");
}

void writeEntry(const QString& id, const QString& name, const QString& exec, const QString& wmClass)
{
    const QString path = QStandardPaths::writableLocation(QStandardPaths::ApplicationsLocation)
        + QLatin1Char('/') + id + QStringLiteral(".desktop");
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("Cannot write %s", qPrintable(path));
    file.write(QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=%2\n"
                              "StartupWMClass=%3\n")
                   .arg(name, exec, wmClass)
                   .toUtf8());
}

void writeEntry(const DemoApp& app)
{
    writeEntry(
        app.id, app.name, app.program + QStringLiteral(" -geometry ") + app.geometry, app.wmClass);
}

class ScriptedChooser final : public Platform::AppChooser {
public:
    QList<QUrl> answers;
    std::optional<QUrl> chooseApplication() override
    {
        if (answers.isEmpty())
            return std::nullopt;
        return answers.takeFirst();
    }
};

// The frame of a client window as the X server and openbox tell it: the client's absolute
// position and size from xwininfo, widened by the decoration from _NET_FRAME_EXTENTS.
Frame frameOf(std::uint32_t window)
{
    const QString id = QStringLiteral("0x%1").arg(window, 0, 16);
    const QString info = QString::fromUtf8(
        TestDesktop::run(QStringLiteral("xwininfo"), {QStringLiteral("-id"), id}));
    const auto number = [&info](const char* label) {
        const QRegularExpression pattern(QLatin1String(label) + QStringLiteral(":\\s+(-?\\d+)"));
        return pattern.match(info).captured(1).toDouble();
    };
    const QString extentsText = QString::fromUtf8(TestDesktop::run(QStringLiteral("xprop"),
        {QStringLiteral("-id"), id, QStringLiteral("_NET_FRAME_EXTENTS")}));
    const QStringList extents
        = extentsText.section(QLatin1Char('='), 1).split(QLatin1Char(','), Qt::SkipEmptyParts);
    if (extents.size() != 4)
        qFatal("No frame extents for %s: %s", qPrintable(id), qPrintable(extentsText));
    const double left = extents[0].toDouble();
    const double right = extents[1].toDouble();
    const double top = extents[2].toDouble();
    const double bottom = extents[3].toDouble();
    return {number("Absolute upper-left X") - left, number("Absolute upper-left Y") - top,
        number("Width") + left + right, number("Height") + top + bottom};
}

QString wmClassOf(std::uint32_t window)
{
    return QString::fromUtf8(TestDesktop::run(QStringLiteral("xprop"),
        {QStringLiteral("-id"), QStringLiteral("0x%1").arg(window, 0, 16),
            QStringLiteral("WM_CLASS")}));
}

// Answers the next file dialog that shows up with `answer`.
void answerNextFileDialog(std::function<void(QFileDialog&)> answer)
{
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, poll, [poll, answer = std::move(answer)] {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            auto* dialog = qobject_cast<QFileDialog*>(widget);
            if (dialog && dialog->isVisible()) {
                poll->deleteLater();
                poll->stop();
                answer(*dialog);
                return;
            }
        }
    });
    poll->start(10);
}

QStringList namesOf(const QList<AppInfoPtr>& apps)
{
    QStringList names;
    for (const AppInfoPtr& app : apps)
        names.append(app->name());
    return names;
}

} // namespace

class CreateFlowTest : public QObject {
    Q_OBJECT

    std::unique_ptr<Services> m_services;
    QString m_path;
    std::unique_ptr<ModelContainer> m_container;
    std::unique_ptr<CacheManager> m_manager;
    int m_storeNumber = 0;

    TestDesktop& desktop() const { return *TestDesktop::instance(); }

    std::uint32_t windowOf(qint64 pid) const
    {
        const auto windows = desktop().probe().clientWindowsOf(static_cast<std::int32_t>(pid));
        return windows.isEmpty() ? 0 : windows.first();
    }

    // The client window of a WM class, when exactly one exists.
    std::uint32_t windowOfClass(const QString& wmClass) const
    {
        std::uint32_t found = 0;
        for (const std::uint32_t window : desktop().probe().clientWindows()) {
            if (wmClassOf(window).contains(QLatin1Char('"') + wmClass + QLatin1Char('"'))) {
                if (found)
                    return 0;
                found = window;
            }
        }
        return found;
    }

    // _NET_ACTIVE_WINDOW, as xprop reads it.
    static std::uint32_t activeWindow()
    {
        const QString text = QString::fromUtf8(TestDesktop::run(QStringLiteral("xprop"),
            {QStringLiteral("-root"), QStringLiteral("_NET_ACTIVE_WINDOW")}));
        return text.section(QLatin1Char('#'), 1).trimmed().toUInt(nullptr, 16);
    }

    // The client on top of the stacking order, as xprop reads it.
    static std::uint32_t topWindow()
    {
        const QString text = QString::fromUtf8(TestDesktop::run(QStringLiteral("xprop"),
            {QStringLiteral("-root"), QStringLiteral("_NET_CLIENT_LIST_STACKING")}));
        return text.section(QLatin1Char(','), -1)
            .section(QLatin1Char('#'), -1)
            .trimmed()
            .toUInt(nullptr, 16);
    }

    qint64 start(const DemoApp& app)
    {
        return desktop().startApp(app.program, {QStringLiteral("-geometry"), app.geometry});
    }

    QList<WorkspacePtr> storedWorkspaces() const { return StoreFile::workspaces(m_path); }

    qint64 rows(const char* sql) const { return StoreFile::count(m_path, sql); }

private Q_SLOTS:
    void initTestCase()
    {
        for (const DemoApp& app : {xclock, xeyes, xlogo})
            writeEntry(app);
        // This test program stands in for Vantor, whose windows carry its desktop-file ID.
        writeEntry(QString::fromLatin1(Platform::kDesktopFileId), QStringLiteral("Vantor"),
            QCoreApplication::applicationFilePath(), QStringLiteral("vantor"));
        m_services = std::make_unique<Services>();
        QVERIFY(m_services->windowSystem().canControlWindows());
    }

    void init()
    {
        failOnUnexpectedWarnings();
        m_path = QDir::home().filePath(QStringLiteral("flow-%1.sqlite").arg(++m_storeNumber));
        m_container = ModelContainer::open(m_path);
        QVERIFY(m_container);
        m_manager = std::make_unique<CacheManager>(
            m_container->mainContext(), m_services->windowManager());
    }

    // Ends every app of the test, also those that Vantor launched.
    void cleanup()
    {
        m_manager.reset();
        m_container.reset();
        for (const std::uint32_t window : desktop().probe().clientWindows()) {
            const std::int32_t pid = desktop().probe().pidOf(window);
            if (pid > 0 && pid != ::getpid())
                desktop().stopApp(pid);
        }
        QTRY_VERIFY(desktop().probe().clientWindows().isEmpty());
    }

    void createsAWorkspaceFromSetupToSave()
    {
        const qint64 clockPid = start(xclock);
        const qint64 eyesPid = start(xeyes);
        QVERIFY(clockPid > 0 && eyesPid > 0);
        auto chooser = std::make_shared<ScriptedChooser>();
        chooser->answers = {QUrl::fromLocalFile(entryPath(xlogo))};
        QWidget vantor;
        vantor.setGeometry(700, 200, 500, 500);
        vantor.winId();
        Platform::setDesktopIdentity(*vantor.windowHandle());
        vantor.show();
        QVERIFY(QTest::qWaitForWindowExposed(&vantor));
        CreateWorkspaceViewModel model(*m_manager, *m_services);
        model.setAppChooser(chooser);

        // Setup: the running apps, one more picked by hand, a name.
        model.loadRunningApps();
        QCOMPARE(namesOf(model.apps()), (QStringList{xclock.name, xeyes.name}));
        model.addManualApp();
        QCOMPARE(namesOf(model.apps()), (QStringList{xclock.name, xeyes.name, xlogo.name}));
        QCOMPARE(model.apps().last()->bundleIdentifier(), std::optional<QString>(xlogo.id));
        QVERIFY(!model.apps().last()->isRunning());
        model.setName(QStringLiteral("Desk"));
        QVERIFY(model.continueStep());

        // Launch apps: not checked yet, then not all running, then all after opening them.
        QCOMPARE(model.currentStep(), CreateWorkspaceStep::launchApps);
        QCOMPARE(model.isRunningApps(), std::nullopt);
        QVERIFY(!model.continueStep());
        QCOMPARE(model.isRunningApps(), std::optional<bool>(false));
        QSignalSpy checked(&model, &CreateWorkspaceViewModel::isRunningAppsChanged);
        QElapsedTimer elapsed;
        elapsed.start();
        model.openApps();
        QCOMPARE(model.isRunningApps(), std::optional<bool>(false));
        QVERIFY(checked.wait(5000));
        QVERIFY2(elapsed.elapsed() >= 900, qPrintable(QString::number(elapsed.elapsed())));
        QCOMPARE(model.isRunningApps(), std::optional<bool>(true));
        QTRY_COMPARE(activeWindow(), static_cast<std::uint32_t>(vantor.winId()));
        QTRY_COMPARE(topWindow(), static_cast<std::uint32_t>(vantor.winId()));
        QVERIFY(model.continueStep());

        // Position apps: the user moves a window, then completes.
        QCOMPARE(model.currentStep(), CreateWorkspaceStep::positionApps);
        const std::uint32_t logoWindow = windowOfClass(xlogo.wmClass);
        QVERIFY(logoWindow);
        TestDesktop::run(QStringLiteral("xdotool"),
            {QStringLiteral("windowmove"), QString::number(windowOf(clockPid)),
                QStringLiteral("333"), QStringLiteral("222")});
        QTRY_COMPARE(frameOf(windowOf(clockPid)).position(), QPointF(333, 222));
        QSignalSpy dismissed(&model, &CreateWorkspaceViewModel::dismissRequested);
        model.complete();
        QCOMPARE(dismissed.count(), 1);

        const QList<WorkspacePtr> stored = storedWorkspaces();
        QCOMPARE(stored.size(), 1);
        QCOMPARE(stored.at(0)->name(), QStringLiteral("Desk"));
        const QList<AppInfoPtr> apps = stored.at(0)->apps();
        QCOMPARE(namesOf(apps), (QStringList{xclock.name, xeyes.name, xlogo.name}));
        const QList<std::uint32_t> windows{windowOf(clockPid), windowOf(eyesPid), logoWindow};
        for (int i = 0; i < apps.size(); ++i) {
            QCOMPARE(apps.at(i)->layouts().size(), 1);
            const AppLayoutPtr layout = apps.at(i)->layouts().at(0);
            QCOMPARE(layout->screenSize(), (ScreenSize{1920, 1080}));
            QCOMPARE(layout->frame(), frameOf(windows.at(i)));
        }
        QCOMPARE(apps.at(0)->layouts().at(0)->position(), QPointF(333, 222));
    }

    void theFileDialogAsksForOneDesktopEntryInTheApplicationsFolder()
    {
        const QString path = entryPath(xlogo);
        QFileDialog::FileMode mode = QFileDialog::Directory;
        QString title;
        QStringList mimeTypes;
        QStringList nameFilters;
        QString folder;
        answerNextFileDialog([&](QFileDialog& dialog) {
            title = dialog.windowTitle();
            mode = dialog.fileMode();
            mimeTypes = dialog.mimeTypeFilters();
            nameFilters = dialog.nameFilters();
            folder = dialog.directory().absolutePath();
            dialog.selectFile(path);
            static_cast<QDialog&>(dialog).accept(); // public there
        });

        const std::optional<QUrl> url = Platform::FileDialogAppChooser().chooseApplication();

        QCOMPARE(url, std::optional<QUrl>(QUrl::fromLocalFile(path)));
        QCOMPARE(title, QStringLiteral("Select an Application"));
        QCOMPARE(mode, QFileDialog::ExistingFile);
        QCOMPARE(mimeTypes, QStringList{QStringLiteral("application/x-desktop")});
        QCOMPARE(nameFilters.size(), 1);
        QVERIFY2(
            nameFilters.at(0).contains(QStringLiteral("*.desktop")), qPrintable(nameFilters.at(0)));
        QCOMPARE(folder, QStandardPaths::writableLocation(QStandardPaths::ApplicationsLocation));
    }

    void aCancelledFileDialogChoosesNothing()
    {
        answerNextFileDialog([](QFileDialog& dialog) { dialog.reject(); });
        QCOMPARE(Platform::FileDialogAppChooser().chooseApplication(), std::nullopt);
    }

    void vantorComesBackOverTheAppsItOpened()
    {
        QWidget window;
        window.setWindowTitle(QStringLiteral("Vantor test window"));
        window.setGeometry(300, 300, 400, 300);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        const auto vantor = static_cast<std::uint32_t>(window.winId());
        QTRY_COMPARE(activeWindow(), vantor);
        const qint64 logoPid = start(xlogo);
        QVERIFY(logoPid > 0);
        QTRY_COMPARE(activeWindow(), windowOf(logoPid));
        QCOMPARE(topWindow(), windowOf(logoPid));

        bringVantorToFront();

        QTRY_COMPARE(activeWindow(), vantor);
        QTRY_COMPARE(topWindow(), vantor);
    }

    void aNameOfSpacesIsStoredAsTyped()
    {
        QVERIFY(start(xclock) > 0);
        CreateWorkspaceViewModel model(*m_manager, *m_services);
        model.loadRunningApps();
        model.setName(QStringLiteral("   "));

        QVERIFY(model.continueStep());
        QVERIFY(model.continueStep());
        model.complete();

        const QList<WorkspacePtr> stored = storedWorkspaces();
        QCOMPARE(stored.size(), 1);
        QCOMPARE(stored.at(0)->name(), QStringLiteral("   "));
        QCOMPARE(namesOf(stored.at(0)->apps()), QStringList{xclock.name});
    }

    void updateWithOverrideKeepsTheOneRunningAppAndNoOrphans()
    {
        const qint64 clockPid = start(xclock);
        QVERIFY(clockPid > 0);
        const auto app = [](const DemoApp& test) {
            return AppInfo::create(QUuid::createUuid(), test.name, test.id, true, entryPath(test),
                {std::make_shared<AppLayout>(QUuid::createUuid(), 1920, 1080, 1, 2, 300, 200),
                    std::make_shared<AppLayout>(QUuid::createUuid(), 1280, 800, 3, 4, 500, 400)});
        };
        m_manager->createWorkspace(std::make_shared<Workspace>(QUuid::createUuid(),
            QStringLiteral("Three"), QDateTime::currentDateTime(), std::nullopt,
            QList<AppInfoPtr>{app(xeyes), app(xclock), app(xlogo)}));
        QCOMPARE(rows("SELECT COUNT(*) FROM app_info"), 3);
        WorkspaceViewModel model(*m_manager, *m_services);
        model.reloadWorkspaces();
        model.editWorkspace(model.workspaces().at(0));
        NotifySpies spies(model);

        model.updateWorkspace(model.selectedWorkspace(), true);

        QCOMPARE(spies.counts(), (NotifySpies::Counts{{QStringLiteral("workspaces"), 1}}));
        const QList<WorkspacePtr> stored = storedWorkspaces();
        QCOMPARE(stored.size(), 1);
        QCOMPARE(namesOf(stored.at(0)->apps()), QStringList{xclock.name});
        const AppInfoPtr clock = stored.at(0)->apps().at(0);
        QCOMPARE(clock->layouts().size(), 1);
        QCOMPARE(clock->layouts().at(0)->frame(), frameOf(windowOf(clockPid)));
        QCOMPARE(rows("SELECT COUNT(*) FROM app_info"), 1);
        QCOMPARE(rows("SELECT COUNT(*) FROM app_layout"), 1);
    }

    void deleteWithTwoOfTheSameNameDeletesOne()
    {
        for (int i = 0; i < 2; ++i) {
            m_manager->createWorkspace(
                std::make_shared<Workspace>(QUuid::createUuid(), QStringLiteral("Work"),
                    QDateTime::currentDateTime(), std::nullopt, QList<AppInfoPtr>{}));
        }
        WorkspaceViewModel model(*m_manager, *m_services);
        model.reloadWorkspaces();
        model.editWorkspace(model.workspaces().at(1));

        model.deleteWorkspace();

        QCOMPARE(storedWorkspaces().size(), 1);
        QCOMPARE(storedWorkspaces().at(0)->name(), QStringLiteral("Work"));
        QCOMPARE(model.workspaces().size(), 1);
        QVERIFY(!model.selectedWorkspace());
    }
};

VANTOR_DESKTOP_TEST_MAIN(CreateFlowTest)
#include "tst_create_flow.moc"
