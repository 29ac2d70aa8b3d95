#pragma once

#include "Platform/Portal/PortalShortcut.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>

#include <optional>

namespace Platform::Portal {

// A client of the XDG desktop portal's GlobalShortcuts interface. It keeps at most one
// session, always under the same session token: KDE names the shortcuts' component in its
// settings after it. Everything is asynchronous; each exchange with the portal is bounded in
// time.
class GlobalShortcutsPortal final : public QObject {
    Q_OBJECT

public:
    static constexpr int timeoutMs = 25000;

    explicit GlobalShortcutsPortal(const QDBusConnection& bus,
        const QString& sessionToken = QStringLiteral("vantor"), QObject* parent = nullptr);
    ~GlobalShortcutsPortal() override;

    // Asks for the interface's version: available or unavailable follows.
    void checkAvailability();

    // A session that holds these shortcuts and only these: an open one is closed first. The
    // shortcuts go in CreateSession (KDE takes them only there) and in BindShortcuts (other
    // desktops take them there). A call made while an earlier one is under way waits for it;
    // only the latest waiting set is opened.
    void openSession(const PortalShortcuts& shortcuts);
    // Closes the session, or the one being opened.
    void closeSession();

    bool hasSession() const { return !m_session.isEmpty(); }
    QString sessionHandle() const { return m_session; }

Q_SIGNALS:
    void available(uint version);
    void unavailable(const QString& reason);
    // The shortcuts as the portal bound them, each with its trigger_description (empty: the
    // desktop gave it no key).
    void bound(const PortalShortcuts& shortcuts);
    void sessionFailed(const QString& reason);
    void activated(const QString& shortcutId);
    void deactivated(const QString& shortcutId);
    void shortcutsChanged(const PortalShortcuts& shortcuts);

private Q_SLOTS:
    void onActivated(const QDBusMessage& message);
    void onDeactivated(const QDBusMessage& message);
    void onShortcutsChanged(const QDBusMessage& message);

private:
    QDBusMessage portalCall(const QString& method) const;
    bool isOurSession(const QDBusMessage& message) const;
    void startNext();
    void createSession(const PortalShortcuts& shortcuts);
    void bindShortcuts(const PortalShortcuts& shortcuts);
    void sendClose(const QString& session);
    void finishExchange();
    void failExchange(const QString& reason);

    QDBusConnection m_bus;
    QString m_sessionToken;
    QString m_session;
    bool m_busy = false;
    std::optional<PortalShortcuts> m_waiting;
};

} // namespace Platform::Portal
