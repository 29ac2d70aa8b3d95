#pragma once

#include "Models/Workspace.h"
#include "Tabs/Components/AppObject.h"
#include "Tabs/Components/ObjectListModel.h"
#include "Tabs/Components/RecordObjects.h"

#include <QDateTime>
#include <QObject>
#include <QtQml/qqmlregistration.h>
#include <QStringList>

// One workspace record as the screens see it. The record is changed in place by updates;
// refresh() tells the screens to read it again.
class WorkspaceObject final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by Vantor, not in QML")
    Q_PROPERTY(QString id READ id CONSTANT)
    Q_PROPERTY(QString name READ name NOTIFY changed)
    Q_PROPERTY(QDateTime updatedAt READ updatedAt NOTIFY changed)
    // "d MMM yyyy, HH:mm"
    Q_PROPERTY(QString updatedAtText READ updatedAtText NOTIFY changed)
    // AppObjects ("app"), in the workspace's order.
    Q_PROPERTY(ObjectListModel* apps READ appList CONSTANT)
    // One "1920 x 1080" per stored screen size.
    Q_PROPERTY(QStringList screenSizes READ screenSizes NOTIFY changed)

public:
    WorkspaceObject(WorkspacePtr workspace, QObject* parent);

    const WorkspacePtr& record() const { return m_workspace; }

    QString id() const;
    QString name() const { return m_workspace->name(); }
    QDateTime updatedAt() const { return m_workspace->updatedAt(); }
    QString updatedAtText() const;
    QList<QObject*> apps() const { return m_apps.objects(); }
    ObjectListModel* appList() { return &m_apps; }
    QStringList screenSizes() const;

    void refresh();

Q_SIGNALS:
    void changed();

private:
    WorkspacePtr m_workspace;
    RecordObjects<AppInfo, AppObject> m_appObjects;
    ObjectListModel m_apps;
};
