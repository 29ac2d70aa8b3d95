#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <map>

namespace KeyboardShortcuts {

struct Notification {
    QString name;
    QVariantMap userInfo;
};

// Identifies one observer, to remove it later.
struct ObserverToken {
    quint64 id = 0;
    bool isValid() const { return id != 0; }
    friend bool operator==(ObserverToken, ObserverToken) = default;
};

// Notifications by name, delivered on the main thread: synchronously when posted there, queued
// to it otherwise. Observers of one name run in the order they were added. Observers are added
// and removed on the main thread.
class NotificationCenter {
public:
    using Observer = std::function<void(const Notification& notification)>;

    static NotificationCenter& defaultCenter();

    // With a context object, the observer also goes when the object is destroyed.
    ObserverToken addObserver(const QString& name, Observer observer, QObject* context = nullptr);
    void removeObserver(ObserverToken token);

    void post(const QString& name, const QVariantMap& userInfo = {});

private:
    NotificationCenter() = default;

    struct Entry {
        QString name;
        Observer observer;
        QPointer<QObject> context;
        bool hasContext = false;
    };

    void deliver(const Notification& notification);

    std::map<quint64, Entry> m_entries;
    quint64 m_lastId = 0;
};

} // namespace KeyboardShortcuts
