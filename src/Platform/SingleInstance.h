#pragma once

#include <QLocalServer>
#include <QLockFile>
#include <QObject>

#include <memory>

// One Vantor per user session. The first instance holds a lock in the runtime directory
// and listens on a local socket; a later one asks it to show its window and leaves.
class SingleInstance final : public QObject {
    Q_OBJECT

public:
    explicit SingleInstance(const QString& name, QObject* parent = nullptr);

    // True when this process is the primary instance. Otherwise the running one has been
    // asked to show itself (see forwardedToPrimary()).
    bool claim();
    bool forwardedToPrimary() const { return m_forwarded; }

Q_SIGNALS:
    // Another `vantor` was started in this session.
    void showRequested();

private:
    bool askPrimaryToShow() const;
    bool listen();
    QString socketPath() const;

    QString m_name;
    std::unique_ptr<QLockFile> m_lock;
    QLocalServer m_server;
    bool m_forwarded = false;
};
