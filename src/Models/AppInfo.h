#pragma once

#include "Models/AppLayout.h"
#include "Models/PersistentModel.h"

#include <QList>
#include <QString>

#include <memory>
#include <optional>

// An application of a workspace and the window frames stored for it.
class AppInfo final : public PersistentModel, public std::enable_shared_from_this<AppInfo> {
    struct Key {
        explicit Key() = default;
    };

public:
    // Apps are always shared: each layout points back at its app.
    static std::shared_ptr<AppInfo> create(const QUuid& id, const QString& name,
                                           const std::optional<QString>& bundleIdentifier,
                                           bool isRunning, const QString& path,
                                           const QList<AppLayoutPtr>& layouts = {});
    AppInfo(Key, const QUuid& id, const QString& name,
            const std::optional<QString>& bundleIdentifier, bool isRunning, const QString& path);

    QString name() const { return m_name; }
    std::optional<QString> bundleIdentifier() const { return m_bundleIdentifier; }
    bool isRunning() const { return m_isRunning; }
    QString path() const { return m_path; }

    // Ordered; each layout's app() is this app once it is in the list.
    const QList<AppLayoutPtr>& layouts() const { return m_layouts; }
    void setLayouts(const QList<AppLayoutPtr>& layouts);
    void appendLayout(const AppLayoutPtr& layout);
    // Detaches the layout (the layout's app becomes empty); the layout itself stays alive.
    void removeLayout(const AppLayoutPtr& layout);

    // The first stored layout whose screen size equals the given one exactly.
    AppLayoutPtr currentLayout(const ScreenSize& screen) const;

private:
    void adopt(const AppLayoutPtr& layout);

    QString m_name;
    std::optional<QString> m_bundleIdentifier;
    bool m_isRunning;
    QString m_path;
    QList<AppLayoutPtr> m_layouts;
};

using AppInfoPtr = std::shared_ptr<AppInfo>;
