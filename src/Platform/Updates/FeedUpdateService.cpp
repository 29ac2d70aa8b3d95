#include "Platform/Updates/FeedUpdateService.h"

#include "Platform/Updates/UpdateDialog.h"
#include "Platform/Updates/VersionComparison.h"
#include "Util/Logging.h"

#include <QSysInfo>

namespace Platform {

FeedUpdateService::Configuration FeedUpdateService::builtInConfiguration()
{
    Configuration configuration;
    const QByteArray fromEnvironment = qgetenv("VANTOR_UPDATE_FEED_URL");
    const QString feed = fromEnvironment.isEmpty() ? QStringLiteral(VANTOR_UPDATE_FEED_URL)
                                                   : QString::fromUtf8(fromEnvironment);
    configuration.feedUrl = QUrl(feed, QUrl::StrictMode);
    configuration.publicKeyBase64 = QByteArrayLiteral(VANTOR_UPDATE_PUBLIC_KEY);
    configuration.runningVersion = QStringLiteral(VANTOR_VERSION);
    configuration.systemVersion = leadingMachineVersion(QSysInfo::kernelVersion());
    return configuration;
}

FeedUpdateService::FeedUpdateService(Configuration configuration, QObject* parent)
    : QObject(parent), m_configuration(std::move(configuration))
{
    m_network.setAutoDeleteReplies(false);
}

FeedUpdateService::~FeedUpdateService()
{
    delete m_dialog;
}

UpdateDialog* FeedUpdateService::dialog() const
{
    return m_dialog;
}

void FeedUpdateService::start(UpdaterDelegate& delegate)
{
    m_delegate = &delegate;
}

void FeedUpdateService::checkForUpdateInformation()
{
    check(false);
}

void FeedUpdateService::checkForUpdates()
{
    check(true);
}

void FeedUpdateService::check(bool userFacing)
{
    Q_ASSERT(m_delegate);
    if (m_configuration.feedUrl.isEmpty()) {
        endWithoutCheck(QStringLiteral(
            "no update feed in this build: updates come with the system's packages"));
        return;
    }
    const auto key = UpdateSigningKey::fromBase64(m_configuration.publicKeyBase64);
    if (!key) {
        endWithoutCheck(QStringLiteral("no valid update signing key in this build"));
        return;
    }
    m_check = std::make_unique<FeedCheck>(m_network,
        FeedCheck::Setup{m_configuration.feedUrl, *key, m_configuration.runningVersion,
            m_configuration.systemVersion, m_configuration.limits});
    connect(m_check.get(), &FeedCheck::finished, this,
        [this, userFacing] { onCheckFinished(userFacing); });
    m_check->start();
}

void FeedUpdateService::endWithoutCheck(const QString& reason)
{
    m_check.reset();
    qCInfo(lcUpdate) << "No update check:" << reason;
    const FeedCheckOutcome outcome{FeedCheckOutcome::Kind::Failed, std::nullopt, reason};
    QMetaObject::invokeMethod(
        this, [this, outcome] { Q_EMIT checkEnded(outcome); }, Qt::QueuedConnection);
}

void FeedUpdateService::onCheckFinished(bool userFacing)
{
    // The finished check goes once its signal has returned.
    FeedCheck* finished = m_check.release();
    finished->deleteLater();
    const FeedCheckOutcome outcome = finished->outcome();
    switch (outcome.kind) {
    case FeedCheckOutcome::Kind::Failed:
        qCInfo(lcUpdate) << "Update check failed:" << outcome.error;
        break;
    case FeedCheckOutcome::Kind::NoUpdate:
        m_delegate->updaterDidNotFindUpdate();
        break;
    case FeedCheckOutcome::Kind::UpdateFound:
        m_delegate->updaterDidFindValidUpdate(outcome.update->displayVersionString);
        break;
    }
    if (userFacing)
        showInDialog(outcome);
    Q_EMIT checkEnded(outcome);
}

void FeedUpdateService::showInDialog(const FeedCheckOutcome& outcome)
{
    if (!m_dialog)
        m_dialog = new UpdateDialog(
            m_network, *UpdateSigningKey::fromBase64(m_configuration.publicKeyBase64));
    switch (outcome.kind) {
    case FeedCheckOutcome::Kind::Failed:
        m_dialog->showFailure();
        break;
    case FeedCheckOutcome::Kind::NoUpdate:
        m_dialog->showUpToDate(m_configuration.runningVersion);
        break;
    case FeedCheckOutcome::Kind::UpdateFound:
        m_dialog->showUpdate(*outcome.update);
        break;
    }
    m_dialog->show();
    m_dialog->raise();
    m_dialog->activateWindow();
}

} // namespace Platform
