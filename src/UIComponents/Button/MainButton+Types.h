#pragma once

#include <QObject>
#include <QtQml/qqmlregistration.h>

// The colour schemes of MainButton. QML reads enum keys only when they start with a
// capital letter, hence the aliases.
namespace MainButtonType {
Q_NAMESPACE
QML_ELEMENT

enum Value {
    primary,
    secondary,
    destructive,
    Primary = primary,
    Secondary = secondary,
    Destructive = destructive,
};
Q_ENUM_NS(Value)

} // namespace MainButtonType

// The paddings and corner radii of MainButton.
namespace MainButtonSize {
Q_NAMESPACE
QML_ELEMENT

enum Value {
    small,
    medium,
    Small = small,
    Medium = medium,
};
Q_ENUM_NS(Value)

} // namespace MainButtonSize
