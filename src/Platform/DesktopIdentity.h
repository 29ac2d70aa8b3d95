#pragma once

class QWindow;

namespace Platform {

// Vantor's desktop-file ID, by which task bars and docks tie its windows to its entry.
inline constexpr char kDesktopFileId[] = "io.github.vantor.Vantor";

// Marks one of Vantor's own windows with its desktop-file ID (_GTK_APPLICATION_ID and
// _KDE_NET_WM_DESKTOP_FILE). Does nothing off X11.
void setDesktopIdentity(QWindow& window);

} // namespace Platform
