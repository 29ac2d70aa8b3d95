#pragma once

// KDE's KGlobalAccel daemon as far as Vantor uses it, served by a test on a private session
// bus: actions registered and given keys or taken back, the keys a shortcut holds, and the
// presses and releases of a component's actions.
#include <QDBusConnection>
#include <QDBusMessage>
#include <QList>
#include <QObject>
#include <QStringList>

class FakeKGlobalAccel final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.KGlobalAccel")

public:
    struct KeysAsked {
        QStringList action;
        QList<int> keys;
        uint flags = 0;
    };

    // Actions (by their id in the component) that `shortcut` answers with no key.
    QStringList keyless;
    // Keys other components hold: setShortcut gives them to nobody.
    QList<int> heldElsewhere;

    QList<QStringList> asked;
    QList<QStringList> registered;
    QList<KeysAsked> keysAsked;
    QList<QStringList> unregistered;
    QList<QStringList> inactive;
    // Every call, as "method action-id", in the order they came.
    QStringList calls;

    // Serves KGlobalAccel on this connection, under its name.
    bool serve(const QDBusConnection& bus)
    {
        m_bus = bus;
        return m_bus.registerObject(
                   QStringLiteral("/kglobalaccel"), this, QDBusConnection::ExportAllSlots)
            && m_bus.registerService(QStringLiteral("org.kde.kglobalaccel"));
    }

    void withdraw()
    {
        m_bus.unregisterService(QStringLiteral("org.kde.kglobalaccel"));
        m_bus.unregisterObject(QStringLiteral("/kglobalaccel"));
    }

    void press(const QString& component, const QString& action)
    {
        emitComponentSignal(QStringLiteral("globalShortcutPressed"), component, action);
    }
    void release(const QString& component, const QString& action)
    {
        emitComponentSignal(QStringLiteral("globalShortcutReleased"), component, action);
    }

public Q_SLOTS:
    QList<int> shortcut(const QStringList& action)
    {
        asked.append(action);
        // Any key will do for a shortcut that holds one.
        return keyless.contains(action.value(1)) ? QList<int>{} : QList<int>{0x4000041};
    }

    void doRegister(const QStringList& action)
    {
        calls.append(QStringLiteral("doRegister ") + action.value(1));
        registered.append(action);
    }

    QList<int> setShortcut(const QStringList& action, const QList<int>& keys, uint flags)
    {
        calls.append(QStringLiteral("setShortcut ") + action.value(1));
        keysAsked.append({action, keys, flags});
        QList<int> given;
        for (const int key : keys)
            given.append(heldElsewhere.contains(key) ? 0 : key);
        return given;
    }

    bool unRegister(const QStringList& action)
    {
        calls.append(QStringLiteral("unRegister ") + action.value(1));
        unregistered.append(action);
        return true;
    }

    void setInactive(const QStringList& action)
    {
        calls.append(QStringLiteral("setInactive ") + action.value(1));
        inactive.append(action);
    }

private:
    void emitComponentSignal(const QString& name, const QString& component, const QString& action)
    {
        QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/component/") + component,
            QStringLiteral("org.kde.kglobalaccel.Component"), name);
        signal << component << action << qlonglong(1234);
        m_bus.send(signal);
    }

    QDBusConnection m_bus{QString()};
};
