#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// The running version as the build stamped it (the project's version), for display:
// AppVersion.current in the screens.
class AppVersion final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QString current READ current CONSTANT)

public:
    explicit AppVersion(QObject* parent = nullptr) : QObject(parent) { }

    static QString current();
    // The stamped version, or "Unknown" when the build stamped none.
    static QString versionOrUnknown(const QString& stamped);
};
