#include "KeyboardShortcuts/NotificationCenter.h"

#include <QCoreApplication>
#include <QList>
#include <QThread>

namespace KeyboardShortcuts {

NotificationCenter& NotificationCenter::defaultCenter()
{
    static NotificationCenter center;
    return center;
}

ObserverToken NotificationCenter::addObserver(
    const QString& name, Observer observer, QObject* context)
{
    const quint64 id = ++m_lastId;
    m_entries.emplace(id, Entry{name, std::move(observer), context, context != nullptr});
    if (context)
        QObject::connect(context, &QObject::destroyed, [this, id] { m_entries.erase(id); });
    return {id};
}

void NotificationCenter::removeObserver(ObserverToken token)
{
    m_entries.erase(token.id);
}

void NotificationCenter::post(const QString& name, const QVariantMap& userInfo)
{
    QCoreApplication* app = QCoreApplication::instance();
    if (app && QThread::currentThread() != app->thread()) {
        QMetaObject::invokeMethod(
            app, [this, notification = Notification{name, userInfo}] { deliver(notification); },
            Qt::QueuedConnection);
        return;
    }
    deliver({name, userInfo});
}

void NotificationCenter::deliver(const Notification& notification)
{
    // Observers may add or remove observers while they run: walk a list of ids and skip
    // the ones that went.
    QList<quint64> ids;
    for (const auto& [id, entry] : m_entries) {
        if (entry.name == notification.name)
            ids.append(id);
    }
    for (const quint64 id : std::as_const(ids)) {
        const auto it = m_entries.find(id);
        if (it == m_entries.end())
            continue;
        if (it->second.hasContext && !it->second.context) {
            m_entries.erase(it);
            continue;
        }
        const Observer observer = it->second.observer;
        observer(notification);
    }
}

} // namespace KeyboardShortcuts
