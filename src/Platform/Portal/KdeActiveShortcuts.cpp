#include "Platform/Portal/KdeActiveShortcuts.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <algorithm>

namespace Platform::Portal {

KdeActiveShortcuts::KdeActiveShortcuts(PortalShortcuts shortcuts, Done done, QObject* parent)
    : QObject(parent), m_shortcuts(std::move(shortcuts)), m_done(std::move(done))
{
}

void KdeActiveShortcuts::correct(const QDBusConnection& bus, const QString& component,
    const PortalShortcuts& shortcuts, int timeoutMs, QObject* parent, Done done)
{
    auto* check = new KdeActiveShortcuts(shortcuts, std::move(done), parent);
    check->ask(bus, component, timeoutMs);
}

void KdeActiveShortcuts::ask(const QDBusConnection& bus, const QString& component, int timeoutMs)
{
    for (int index = 0; index < m_shortcuts.size(); ++index) {
        if (m_shortcuts.at(index).triggerDescription().isEmpty())
            continue;
        // The action's id: component and shortcut, each with its friendly name.
        const QStringList action{
            component, m_shortcuts.at(index).id, component, m_shortcuts.at(index).id};
        QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.kde.kglobalaccel"),
            QStringLiteral("/kglobalaccel"), QStringLiteral("org.kde.KGlobalAccel"),
            QStringLiteral("shortcut"));
        call << action;
        call.setAutoStartService(false);
        ++m_waiting;
        auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, timeoutMs), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, index](QDBusPendingCallWatcher* w) {
                w->deleteLater();
                const QDBusPendingReply<QList<int>> reply = *w;
                const QList<int> keys = reply.isError() ? QList<int>{-1} : reply.value();
                answer(index, std::all_of(keys.begin(), keys.end(), [](int key) { return key == 0; }));
            });
    }
    if (m_waiting == 0) {
        m_done(m_shortcuts);
        deleteLater();
    }
}

void KdeActiveShortcuts::answer(int index, bool holdsNoKey)
{
    if (holdsNoKey)
        m_shortcuts[index].properties.insert(QStringLiteral("trigger_description"), QString());
    if (--m_waiting > 0)
        return;
    m_done(m_shortcuts);
    deleteLater();
}

} // namespace Platform::Portal
