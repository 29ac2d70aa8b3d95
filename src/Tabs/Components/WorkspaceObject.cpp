#include "Tabs/Components/WorkspaceObject.h"

#include "Util/DateUtil.h"

WorkspaceObject::WorkspaceObject(WorkspacePtr workspace, QObject* parent)
    : QObject(parent), m_workspace(std::move(workspace)), m_appObjects(this),
      m_apps("app", nullptr)
{
    m_apps.setObjects(m_appObjects.objectsFor(m_workspace->apps()));
}

QString WorkspaceObject::id() const
{
    return m_workspace->id().toString(QUuid::WithoutBraces);
}

QString WorkspaceObject::updatedAtText() const
{
    return DateUtils::workspaceFormatter().string(m_workspace->updatedAt());
}

QStringList WorkspaceObject::screenSizes() const
{
    QStringList sizes;
    for (const AppLayoutPtr& layout : m_workspace->allLayouts())
        sizes.append(layout->screenSizeDescription());
    return sizes;
}

void WorkspaceObject::refresh()
{
    m_apps.setObjects(m_appObjects.objectsFor(m_workspace->apps()));
    m_appObjects.keepOnly(m_workspace->apps());
    Q_EMIT changed();
}
