#pragma once

#include "Platform/Updates/UpdateService.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <memory>

// The state of the check for a newer Vantor, as the update card shows it: it starts the
// update service, asks it to check, and turns its two answers into the properties below.
// A check that fails changes nothing: the card stays on "Checking for updates...".
// Nothing is kept across a restart.
class UpdaterManager final : public QObject, private Platform::UpdaterDelegate {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made with the main window's content")
    Q_PROPERTY(QString updateStatus READ updateStatus NOTIFY updateStatusChanged)
    // A symbol name: "arrow.triangle.2.circlepath" or "checkmark.circle.fill".
    Q_PROPERTY(QString updateIcon READ updateIcon NOTIFY updateIconChanged)
    // A named colour of the theme ("yellow", "green"), so it follows light and dark.
    Q_PROPERTY(QString updateIconColor READ updateIconColor NOTIFY updateIconColorChanged)
    Q_PROPERTY(bool isUpdateAvailable READ isUpdateAvailable NOTIFY isUpdateAvailableChanged)
    // Invalid until a check ends with no newer version found.
    Q_PROPERTY(QDateTime lastChecked READ lastChecked NOTIFY lastCheckedChanged)
    // lastChecked in the shared date format; empty without one.
    Q_PROPERTY(QString lastCheckedText READ lastCheckedText NOTIFY lastCheckedChanged)

public:
    static constexpr int kUpToDatePauseMs = 1500;

    // Starts `service` with this object as its delegate.
    explicit UpdaterManager(
        std::unique_ptr<Platform::UpdateService> service, QObject* parent = nullptr);
    ~UpdaterManager() override;

    // The service of this build: Vantor's signed feed.
    static std::unique_ptr<Platform::UpdateService> makeBuiltInService();

    QString updateStatus() const { return m_updateStatus; }
    QString updateIcon() const { return m_updateIcon; }
    QString updateIconColor() const { return m_updateIconColor; }
    bool isUpdateAvailable() const { return m_isUpdateAvailable; }
    QDateTime lastChecked() const { return m_lastChecked; }
    QString lastCheckedText() const;

    // Back to "Checking for updates...", then a background check (silent) or the service's
    // own check with its windows.
    Q_INVOKABLE void checkForUpdates(bool isSilent);

    Platform::UpdateService& service() const { return *m_service; }

Q_SIGNALS:
    void updateStatusChanged();
    void updateIconChanged();
    void updateIconColorChanged();
    void isUpdateAvailableChanged();
    void lastCheckedChanged();

private:
    void updaterDidNotFindUpdate() override;
    void updaterDidFindValidUpdate(const QString& displayVersionString) override;
    void showUpToDate();

    void setUpdateStatus(const QString& status);
    void setUpdateIcon(const QString& icon);
    void setUpdateIconColor(const QString& color);
    void setUpdateAvailable(bool available);

    QString m_updateStatus = QStringLiteral("Checking for updates...");
    QString m_updateIcon = QStringLiteral("arrow.triangle.2.circlepath");
    QString m_updateIconColor = QStringLiteral("yellow");
    bool m_isUpdateAvailable = false;
    QDateTime m_lastChecked;
    std::unique_ptr<Platform::UpdateService> m_service;
};
