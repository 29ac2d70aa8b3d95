#include "Platform/Portal/PortalShortcut.h"

#include <QDBusMetaType>

namespace Platform::Portal {

QString PortalShortcut::triggerDescription() const
{
    return properties.value(QStringLiteral("trigger_description")).toString();
}

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

void registerPortalShortcutTypes()
{
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<PortalShortcuts>();
}

PortalShortcuts portalShortcutsOf(const QVariant& value)
{
    if (value.userType() == qMetaTypeId<QDBusVariant>())
        return portalShortcutsOf(value.value<QDBusVariant>().variant());
    if (value.userType() == qMetaTypeId<PortalShortcuts>())
        return value.value<PortalShortcuts>();
    if (value.userType() != qMetaTypeId<QDBusArgument>())
        return {};
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != QLatin1String("a(sa{sv})"))
        return {};
    PortalShortcuts shortcuts;
    argument >> shortcuts;
    return shortcuts;
}

} // namespace Platform::Portal
