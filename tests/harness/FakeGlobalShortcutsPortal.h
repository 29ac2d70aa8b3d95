#pragma once

// The desktop portal's GlobalShortcuts, served by a test on a private session bus.

#include "Platform/Portal/PortalShortcut.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QDebug>
#include <QStringList>

namespace FakePortal {

using Platform::Portal::PortalShortcut;
using Platform::Portal::PortalShortcuts;
using Platform::Portal::portalShortcutsOf;

inline const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
inline const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

inline QString senderPart(const QString& uniqueName)
{
    return uniqueName.mid(1).replace(QLatin1Char('.'), QLatin1Char('_'));
}

// The portal as far as Vantor uses it: sessions made with their shortcuts, bound, closed; a
// trigger listed in `refused` comes back without a key, as a desktop answers for a key it
// did not give.
class FakeGlobalShortcutsPortal final : public QDBusVirtualObject {
public:
    explicit FakeGlobalShortcutsPortal(QDBusConnection bus, bool withGlobalShortcuts = true)
        : m_bus(std::move(bus)), m_withGlobalShortcuts(withGlobalShortcuts)
    {
    }

    QList<PortalShortcuts> created;
    QList<PortalShortcuts> bound;
    QStringList closed;
    QStringList refused;
    QString session;

    // Serves the portal on the connection given at construction, under the portal's name.
    bool serve()
    {
        if (!m_bus.registerVirtualObject(portalPath, this, QDBusConnection::SubPath)) {
            qWarning() << "no portal object" << m_bus.lastError().message();
            return false;
        }
        if (!m_bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop"))) {
            qWarning() << "no portal name" << m_bus.lastError().message();
            return false;
        }
        return true;
    }

    void withdraw()
    {
        m_bus.unregisterService(QStringLiteral("org.freedesktop.portal.Desktop"));
        m_bus.unregisterObject(portalPath, QDBusConnection::UnregisterTree);
    }

    QString introspect(const QString&) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        Q_UNUSED(connection)
        const QString member = message.member();
        if (message.interface() == QLatin1String("org.freedesktop.DBus.Properties"))
            return version(message);
        if (message.interface() == QLatin1String("org.freedesktop.portal.Session")
            && member == QLatin1String("Close")) {
            closed.append(message.path());
            if (message.path() == session)
                session.clear();
            m_bus.send(message.createReply());
            return true;
        }
        if (message.interface() != shortcutsInterface || !m_withGlobalShortcuts)
            return false;
        if (member == QLatin1String("CreateSession"))
            return createSession(message);
        if (member == QLatin1String("BindShortcuts"))
            return bindShortcuts(message);
        return false;
    }

    void emitSignal(const QString& name, const QVariantList& arguments)
    {
        QDBusMessage signal = QDBusMessage::createSignal(portalPath, shortcutsInterface, name);
        signal.setArguments(arguments);
        m_bus.send(signal);
    }
    void activate(const QString& id)
    {
        emitSignal(QStringLiteral("Activated"),
            {QVariant::fromValue(QDBusObjectPath(session)), id, QVariant::fromValue(qulonglong(7)),
                QVariantMap()});
    }
    void deactivate(const QString& id)
    {
        emitSignal(QStringLiteral("Deactivated"),
            {QVariant::fromValue(QDBusObjectPath(session)), id, QVariant::fromValue(qulonglong(8)),
                QVariantMap()});
    }
    void changeTrigger(const QString& id, const QString& trigger)
    {
        const PortalShortcuts changed{{id,
            {{QStringLiteral("description"), QStringLiteral("changed")},
                {QStringLiteral("trigger_description"), trigger}}}};
        emitSignal(QStringLiteral("ShortcutsChanged"),
            {QVariant::fromValue(QDBusObjectPath(session)), QVariant::fromValue(changed)});
    }

    static QStringList preferredTriggers(const PortalShortcuts& shortcuts)
    {
        QStringList triggers;
        for (const PortalShortcut& shortcut : shortcuts)
            triggers.append(
                shortcut.properties.value(QStringLiteral("preferred_trigger")).toString());
        return triggers;
    }

private:
    bool version(const QDBusMessage& message)
    {
        if (!m_withGlobalShortcuts
            || message.arguments().value(0).toString() != shortcutsInterface) {
            m_bus.send(
                message.createErrorReply(QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"),
                    QStringLiteral("No such interface “%1”")
                        .arg(message.arguments().value(0).toString())));
            return true;
        }
        m_bus.send(message.createReply(QVariant::fromValue(QDBusVariant(QVariant::fromValue(1u)))));
        return true;
    }

    // Answers with the request's path, then with its Response, as the portal does.
    void respond(const QDBusMessage& call, const QVariantMap& options, const QVariantMap& results)
    {
        const QString token = options.value(QStringLiteral("handle_token")).toString();
        const QString path = QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2")
                                 .arg(senderPart(call.service()), token);
        m_bus.send(call.createReply(QVariant::fromValue(QDBusObjectPath(path))));
        QDBusMessage response = QDBusMessage::createSignal(
            path, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
        response << 0u << results;
        m_bus.send(response);
    }

    bool createSession(const QDBusMessage& call)
    {
        const QVariantMap options = qdbus_cast<QVariantMap>(call.arguments().value(0));
        created.append(portalShortcutsOf(options.value(QStringLiteral("shortcuts"))));
        session = QStringLiteral("/org/freedesktop/portal/desktop/session/%1/%2")
                      .arg(senderPart(call.service()),
                          options.value(QStringLiteral("session_handle_token")).toString());
        respond(call, options, {{QStringLiteral("session_handle"), session}});
        return true;
    }

    bool bindShortcuts(const QDBusMessage& call)
    {
        const PortalShortcuts shortcuts = portalShortcutsOf(call.arguments().value(1));
        bound.append(shortcuts);
        PortalShortcuts answer;
        for (const PortalShortcut& shortcut : shortcuts) {
            const QString preferred
                = shortcut.properties.value(QStringLiteral("preferred_trigger")).toString();
            answer.append({shortcut.id,
                {{QStringLiteral("description"),
                     shortcut.properties.value(QStringLiteral("description"))},
                    {QStringLiteral("trigger_description"),
                        refused.contains(preferred) ? QString()
                                                    : QStringLiteral("<%1>").arg(preferred)}}});
        }
        respond(call, qdbus_cast<QVariantMap>(call.arguments().value(3)),
            {{QStringLiteral("shortcuts"), QVariant::fromValue(answer)}});
        return true;
    }

    QDBusConnection m_bus;
    bool m_withGlobalShortcuts;
};

} // namespace FakePortal

using FakePortal::FakeGlobalShortcutsPortal;
