#pragma once

#include "Platform/WindowSystem.h"

#include <QJsonArray>
#include <QJsonObject>

// Reading sway's answers: windows from the layout tree, the screen from the outputs.
namespace Platform::Sway {

// Every window in the tree, front to back (most recently focused first), on visible
// workspaces or not; windows in the scratchpad are listed as off screen.
QList<WindowInfo> windowsInTree(const QJsonObject& root);

// One window as the tree (or a window event) describes it; none when the node is not a
// window.
std::optional<WindowInfo> windowOfNode(const QJsonObject& node);

// The focused output's size in layout pixels (its scale applied), else the first active
// output's; 0 by 0 without one.
ScreenSize screenSizeOfOutputs(const QJsonArray& outputs);

} // namespace Platform::Sway
