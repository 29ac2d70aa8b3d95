#include "Util/UpdaterManager.h"

#include "Platform/Updates/FeedUpdateService.h"
#include "Util/DateUtil.h"

#include <QTimer>

UpdaterManager::UpdaterManager(std::unique_ptr<Platform::UpdateService> service, QObject* parent)
    : QObject(parent), m_service(std::move(service))
{
    if (!m_service)
        qFatal("UpdaterManager needs an update service");
    m_service->start(*this);
}

UpdaterManager::~UpdaterManager() = default;

std::unique_ptr<Platform::UpdateService> UpdaterManager::makeBuiltInService()
{
    return std::make_unique<Platform::FeedUpdateService>(
        Platform::FeedUpdateService::builtInConfiguration());
}

QString UpdaterManager::lastCheckedText() const
{
    return m_lastChecked.isValid() ? DateUtils::workspaceFormatter().string(m_lastChecked)
                                   : QString();
}

void UpdaterManager::checkForUpdates(bool isSilent)
{
    setUpdateStatus(QStringLiteral("Checking for updates..."));
    setUpdateIcon(QStringLiteral("arrow.triangle.2.circlepath"));
    setUpdateIconColor(QStringLiteral("yellow"));
    if (isSilent)
        m_service->checkForUpdateInformation();
    else
        m_service->checkForUpdates();
}

// The service may answer from any thread; the state changes on this object's thread, after
// a pause that keeps "Checking for updates..." on screen for a moment. The pause holds up
// nothing but this answer.
void UpdaterManager::updaterDidNotFindUpdate()
{
    QMetaObject::invokeMethod(
        this, [this] { QTimer::singleShot(kUpToDatePauseMs, this, &UpdaterManager::showUpToDate); },
        Qt::QueuedConnection);
}

void UpdaterManager::showUpToDate()
{
    m_lastChecked = QDateTime::currentDateTime();
    Q_EMIT lastCheckedChanged();
    setUpdateStatus(QStringLiteral("You’re all up to date — nice!"));
    setUpdateAvailable(false);
    setUpdateIcon(QStringLiteral("checkmark.circle.fill"));
    setUpdateIconColor(QStringLiteral("green"));
}

// The symbol and the date of the last check stay as they are: only a new check and the
// up-to-date answer change them.
void UpdaterManager::updaterDidFindValidUpdate(const QString& displayVersionString)
{
    QMetaObject::invokeMethod(
        this,
        [this, displayVersionString] {
            setUpdateStatus(QStringLiteral("Update available: ") + displayVersionString);
            setUpdateAvailable(true);
        },
        Qt::QueuedConnection);
}

void UpdaterManager::setUpdateStatus(const QString& status)
{
    if (status == m_updateStatus)
        return;
    m_updateStatus = status;
    Q_EMIT updateStatusChanged();
}

void UpdaterManager::setUpdateIcon(const QString& icon)
{
    if (icon == m_updateIcon)
        return;
    m_updateIcon = icon;
    Q_EMIT updateIconChanged();
}

void UpdaterManager::setUpdateIconColor(const QString& color)
{
    if (color == m_updateIconColor)
        return;
    m_updateIconColor = color;
    Q_EMIT updateIconColorChanged();
}

void UpdaterManager::setUpdateAvailable(bool available)
{
    if (available == m_isUpdateAvailable)
        return;
    m_isUpdateAvailable = available;
    Q_EMIT isUpdateAvailableChanged();
}
