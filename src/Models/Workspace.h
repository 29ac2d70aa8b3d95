#pragma once

#include "Models/AppInfo.h"
#include "Models/PersistentModel.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <memory>
#include <optional>

// A named group of apps with their stored window frames.
class Workspace final : public PersistentModel {
public:
    // The shortcut marker starts absent; it is assigned later.
    Workspace(const QUuid& id, const QString& name, const QDateTime& updatedAt,
              const std::optional<QString>& notes, const QList<AppInfoPtr>& apps);

    QString name() const { return m_name; }
    void setName(const QString& name);
    QDateTime updatedAt() const { return m_updatedAt; }
    void setUpdatedAt(const QDateTime& updatedAt);
    // "none" marks a workspace whose shortcut the user removed.
    std::optional<QString> shortcut() const { return m_shortcut; }
    void setShortcut(const std::optional<QString>& shortcut);
    std::optional<QString> notes() const { return m_notes; }
    void setNotes(const std::optional<QString>& notes);

    // Ordered; deleting the workspace deletes its apps and their layouts.
    const QList<AppInfoPtr>& apps() const { return m_apps; }
    void setApps(const QList<AppInfoPtr>& apps);

    // One layout per distinct screen size among all apps' layouts, in no particular order.
    QList<AppLayoutPtr> allLayouts() const;
    // Every app has a layout for the given screen (true for a workspace without apps).
    bool hasValueForCurrentScreenSize(const ScreenSize& screen) const;

private:
    QString m_name;
    QDateTime m_updatedAt;
    std::optional<QString> m_shortcut;
    std::optional<QString> m_notes;
    QList<AppInfoPtr> m_apps;
};

using WorkspacePtr = std::shared_ptr<Workspace>;
