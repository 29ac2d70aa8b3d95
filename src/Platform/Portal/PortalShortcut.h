#pragma once

#include <QDBusArgument>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariantMap>

namespace Platform::Portal {

// One entry of the GlobalShortcuts portal's a(sa{sv}) lists: an application's id for the
// shortcut and its properties (description, preferred_trigger; trigger_description in
// answers).
struct PortalShortcut {
    QString id;
    QVariantMap properties;

    QString triggerDescription() const;
    friend bool operator==(const PortalShortcut&, const PortalShortcut&) = default;
};

using PortalShortcuts = QList<PortalShortcut>;

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut);
const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut);

// Makes the types known to QtDBus; safe to call again.
void registerPortalShortcutTypes();

// The shortcuts of a value that came over the bus: an a(sa{sv}) argument, or a variant of one.
PortalShortcuts portalShortcutsOf(const QVariant& value);

} // namespace Platform::Portal

Q_DECLARE_METATYPE(Platform::Portal::PortalShortcut)
Q_DECLARE_METATYPE(Platform::Portal::PortalShortcuts)
