#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariantMap>

namespace Platform::Portal {

// One exchange through an org.freedesktop.portal.Request object: the call names a
// handle_token, the answer comes as the Response signal of the request object that token
// makes. The signal is listened for before the call goes out, so an early answer is not
// missed. Exactly one of answered or failed follows, within the time limit; then the
// request deletes itself.
class PortalRequest final : public QObject {
    Q_OBJECT

public:
    // The call's last argument must be its options (a{sv}); they get the handle_token.
    static PortalRequest* send(const QDBusConnection& bus, QDBusMessage call, QVariantMap options,
        int timeoutMs, QObject* parent);

    // The path of the request object the portal makes for a token of this connection.
    static QString requestPath(const QDBusConnection& bus, const QString& token);

Q_SIGNALS:
    // Response 0: success; 1: the user cancelled; 2: the portal ended it otherwise.
    void answered(uint response, const QVariantMap& results);
    void failed(const QString& reason);

private Q_SLOTS:
    void onResponse(uint response, const QVariantMap& results);

private:
    PortalRequest(const QDBusConnection& bus, QObject* parent);
    void start(QDBusMessage call, QVariantMap options, int timeoutMs);
    void finish();
    void fail(const QString& reason);

    QDBusConnection m_bus;
    QString m_service;
    QString m_path;
    QTimer m_deadline;
    bool m_done = false;
};

} // namespace Platform::Portal
