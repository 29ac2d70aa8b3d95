#pragma once

#include "Platform/Portal/PortalShortcut.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>

#include <functional>

namespace Platform::Portal {

// KDE's portal (Plasma 5.27) answers a shortcut with the trigger it asked KGlobalAccel for,
// even when KGlobalAccel gave the key to nobody because another component holds it. The keys
// a component really holds are asked of KGlobalAccel itself: a shortcut holding none gets an
// empty trigger_description. Without KGlobalAccel on the bus (it is not started for this)
// the shortcuts stay as they are.
class KdeActiveShortcuts final : public QObject {
    Q_OBJECT

public:
    using Done = std::function<void(const PortalShortcuts& shortcuts)>;

    // Calls done once, within the time limit; the object then deletes itself.
    static void correct(const QDBusConnection& bus, const QString& component,
        const PortalShortcuts& shortcuts, int timeoutMs, QObject* parent, Done done);

private:
    KdeActiveShortcuts(PortalShortcuts shortcuts, Done done, QObject* parent);
    void ask(const QDBusConnection& bus, const QString& component, int timeoutMs);
    void answer(int index, bool holdsNoKey);

    PortalShortcuts m_shortcuts;
    Done m_done;
    int m_waiting = 0;
};

} // namespace Platform::Portal
