#include "KeyboardShortcuts/MenuTracker.h"

#include <QCoreApplication>
#include <QEvent>
#include <QMenu>

namespace KeyboardShortcuts {

MenuTracker::MenuTracker(Callback callback, QObject* parent)
    : QObject(parent), m_callback(std::move(callback))
{
}

void MenuTracker::start(Callback callback)
{
    QCoreApplication* app = QCoreApplication::instance();
    if (!app)
        return;
    app->installEventFilter(new MenuTracker(std::move(callback), app));
}

bool MenuTracker::eventFilter(QObject* watched, QEvent* event)
{
    const QEvent::Type type = event->type();
    if (type != QEvent::Show && type != QEvent::Hide)
        return false;
    auto* menu = qobject_cast<QMenu*>(watched);
    if (!menu || !menu->isWindow())
        return false;
    if (type == QEvent::Show && !m_shownMenus.contains(menu)) {
        m_shownMenus.insert(menu);
        // A menu destroyed while shown closes too.
        connect(menu, &QObject::destroyed, this, [this, menu] {
            m_shownMenus.remove(menu);
            update();
        });
    } else if (type == QEvent::Hide && m_shownMenus.remove(menu)) {
        disconnect(menu, &QObject::destroyed, this, nullptr);
    }
    update();
    return false;
}

void MenuTracker::update()
{
    const bool open = !m_shownMenus.isEmpty();
    if (open == m_open)
        return;
    m_open = open;
    m_callback(open);
}

} // namespace KeyboardShortcuts
