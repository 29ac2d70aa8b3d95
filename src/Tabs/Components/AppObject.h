#pragma once

#include "Models/AppInfo.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>
#include <QString>

// One app record as the screens see it. The record's fields never change, so neither do
// these properties.
class AppObject final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by Vantor, not in QML")
    Q_PROPERTY(QString id READ id CONSTANT)
    Q_PROPERTY(QString name READ name CONSTANT)
    Q_PROPERTY(QString bundleIdentifier READ bundleIdentifier CONSTANT)
    Q_PROPERTY(bool isRunning READ isRunning CONSTANT)
    Q_PROPERTY(QString path READ path CONSTANT)

public:
    AppObject(AppInfoPtr app, QObject* parent);

    const AppInfoPtr& record() const { return m_app; }

    QString id() const;
    QString name() const { return m_app->name(); }
    // Empty when the app has none.
    QString bundleIdentifier() const { return m_app->bundleIdentifier().value_or(QString()); }
    bool isRunning() const { return m_app->isRunning(); }
    QString path() const { return m_app->path(); }

private:
    AppInfoPtr m_app;
};
