#include "Tabs/CreateWorkspace/DashboardAnimation.h"

#include "Tabs/CreateWorkspace/CreateWorkspaceViewModel.h"
#include "Util/Scheduler.h"

const QStringList DashboardAnimation::frames{QStringLiteral("dashboardEmpty"),
    QStringLiteral("dashboardAnimation1"), QStringLiteral("dashboardAnimation2"),
    QStringLiteral("dashboardAnimation3"), QStringLiteral("dashboardUnorganized")};

DashboardAnimation::DashboardAnimation(QObject* parent)
    : QObject(parent), m_imageName(frames.first())
{
}

DashboardAnimation::~DashboardAnimation() = default;

void DashboardAnimation::setViewModel(CreateWorkspaceViewModel* viewModel)
{
    if (m_viewModel == viewModel)
        return;
    m_viewModel = viewModel;
    Q_EMIT viewModelChanged();
}

void DashboardAnimation::setImageName(const QString& imageName)
{
    if (m_imageName == imageName)
        return;
    m_imageName = imageName;
    Q_EMIT imageNameChanged();
}

void DashboardAnimation::start()
{
    stop();
    setImageName(frames.first());
    m_nextFrame = 0;
    m_playing = std::make_unique<QObject>();
    showFrameAfter(pause);
}

void DashboardAnimation::stop()
{
    m_playing.reset();
}

void DashboardAnimation::showFrameAfter(std::chrono::milliseconds delay)
{
    scheduler()->schedule(delay, *m_playing, [this] { showNextFrame(); });
}

void DashboardAnimation::showNextFrame()
{
    setImageName(frames.at(m_nextFrame++));
    if (m_nextFrame < frames.size())
        showFrameAfter(frameDuration);
}

std::shared_ptr<Scheduler> DashboardAnimation::scheduler() const
{
    return m_viewModel ? m_viewModel->scheduler() : defaultScheduler();
}
