#pragma once

#include "Platform/Updates/FeedCheck.h"
#include "Platform/Updates/UpdateService.h"

#include <QNetworkAccessManager>
#include <QObject>
#include <QPointer>

#include <memory>

namespace Platform {

class UpdateDialog;

// The update service over Vantor's signed feed (see Appcast.h, FeedCheck.h). One check at
// a time: a check asked for while one runs replaces it. An empty feed URL means updates
// come another way (a distribution's package manager): no check ever starts.
class FeedUpdateService final : public QObject, public UpdateService {
    Q_OBJECT

public:
    struct Configuration {
        QUrl feedUrl;
        QByteArray publicKeyBase64;
        QString runningVersion;
        QString systemVersion;
        RequestLimits limits;
    };

    // What the build says: its feed URL (or VANTOR_UPDATE_FEED_URL), its key, its version,
    // the running kernel's version as the system's.
    static Configuration builtInConfiguration();

    explicit FeedUpdateService(Configuration configuration, QObject* parent = nullptr);
    ~FeedUpdateService() override;

    void start(UpdaterDelegate& delegate) override;
    void checkForUpdateInformation() override;
    void checkForUpdates() override;

    // The window of the last user-facing check while it is open.
    UpdateDialog* dialog() const;

Q_SIGNALS:
    // A check ended, whatever its outcome (also a failure, which no callback tells).
    void checkEnded(const Platform::FeedCheckOutcome& outcome);

private:
    void check(bool userFacing);
    void endWithoutCheck(const QString& reason);
    void onCheckFinished(bool userFacing);
    void showInDialog(const FeedCheckOutcome& outcome);

    Configuration m_configuration;
    UpdaterDelegate* m_delegate = nullptr;
    QNetworkAccessManager m_network;
    std::unique_ptr<FeedCheck> m_check;
    QPointer<UpdateDialog> m_dialog;
};

} // namespace Platform
