#include "Tabs/CreateWorkspace/BringToFront.h"

#include <QGuiApplication>
#include <QWindow>

namespace {

bool isShownWindow(const QWindow* window)
{
    return window->isVisible() && (window->type() == Qt::Window || window->type() == Qt::Dialog);
}

QWindow* mainWindow(const QWindowList& windows)
{
    if (QWindow* focused = QGuiApplication::focusWindow())
        return focused;
    for (QWindow* window : windows) {
        if (isShownWindow(window) && !window->transientParent())
            return window;
    }
    return nullptr;
}

} // namespace

void bringVantorToFront()
{
    const QWindowList windows = QGuiApplication::topLevelWindows();
    QWindow* main = mainWindow(windows);
    if (main) {
        main->raise();
        main->requestActivate();
    }
    for (QWindow* window : windows) {
        if (window != main && isShownWindow(window))
            window->raise();
    }
}
