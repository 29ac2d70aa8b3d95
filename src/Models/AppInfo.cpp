#include "Models/AppInfo.h"

std::shared_ptr<AppInfo> AppInfo::create(const QUuid& id, const QString& name,
                                         const std::optional<QString>& bundleIdentifier,
                                         bool isRunning, const QString& path,
                                         const QList<AppLayoutPtr>& layouts)
{
    auto app = std::make_shared<AppInfo>(Key(), id, name, bundleIdentifier, isRunning, path);
    app->m_layouts = layouts;
    for (const auto& layout : layouts)
        app->adopt(layout);
    return app;
}

AppInfo::AppInfo(Key, const QUuid& id, const QString& name,
                 const std::optional<QString>& bundleIdentifier, bool isRunning,
                 const QString& path)
    : PersistentModel(id), m_name(name), m_bundleIdentifier(bundleIdentifier),
      m_isRunning(isRunning), m_path(path)
{
}

void AppInfo::adopt(const AppLayoutPtr& layout)
{
    if (layout->app().get() != this)
        layout->setApp(shared_from_this());
}

void AppInfo::setLayouts(const QList<AppLayoutPtr>& layouts)
{
    for (const auto& old : std::as_const(m_layouts)) {
        if (!layouts.contains(old) && old->app().get() == this)
            old->setApp({});
    }
    m_layouts = layouts;
    for (const auto& layout : std::as_const(m_layouts))
        adopt(layout);
    markChanged();
}

void AppInfo::appendLayout(const AppLayoutPtr& layout)
{
    m_layouts.append(layout);
    adopt(layout);
    markChanged();
}

void AppInfo::removeLayout(const AppLayoutPtr& layout)
{
    if (m_layouts.removeAll(layout) == 0)
        return;
    if (layout->app().get() == this)
        layout->setApp({});
    markChanged();
}

AppLayoutPtr AppInfo::currentLayout(const ScreenSize& screen) const
{
    for (const auto& layout : m_layouts) {
        if (layout->screenWidth() == screen.width && layout->screenHeight() == screen.height)
            return layout;
    }
    return nullptr;
}
