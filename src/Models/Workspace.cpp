#include "Models/Workspace.h"

#include <QHash>

#include <utility>

namespace {

struct ScreenKey {
    double width;
    double height;
    friend bool operator==(const ScreenKey&, const ScreenKey&) = default;
};

size_t qHash(const ScreenKey& key, size_t seed = 0)
{
    return qHashMulti(seed, key.width, key.height);
}

} // namespace

Workspace::Workspace(const QUuid& id, const QString& name, const QDateTime& updatedAt,
                     const std::optional<QString>& notes, const QList<AppInfoPtr>& apps)
    : PersistentModel(id), m_name(name), m_updatedAt(updatedAt), m_notes(notes), m_apps(apps)
{
}

void Workspace::setName(const QString& name)
{
    m_name = name;
    markChanged();
}

void Workspace::setUpdatedAt(const QDateTime& updatedAt)
{
    m_updatedAt = updatedAt;
    markChanged();
}

void Workspace::setShortcut(const std::optional<QString>& shortcut)
{
    m_shortcut = shortcut;
    markChanged();
}

void Workspace::setNotes(const std::optional<QString>& notes)
{
    m_notes = notes;
    markChanged();
}

void Workspace::setApps(const QList<AppInfoPtr>& apps)
{
    m_apps = apps;
    markChanged();
}

QList<AppLayoutPtr> Workspace::allLayouts() const
{
    QHash<ScreenKey, AppLayoutPtr> firstPerScreen;
    for (const auto& app : m_apps) {
        for (const auto& layout : app->layouts()) {
            const ScreenKey key{layout->screenWidth(), layout->screenHeight()};
            if (!firstPerScreen.contains(key))
                firstPerScreen.insert(key, layout);
        }
    }
    return firstPerScreen.values();
}

bool Workspace::hasValueForCurrentScreenSize(const ScreenSize& screen) const
{
    for (const auto& app : m_apps) {
        if (!app->currentLayout(screen))
            return false;
    }
    return true;
}
