#pragma once

#include <QString>
#include <QUrl>

#include <optional>

namespace Platform {

// Lets the user pick one installed application, by its desktop entry.
class AppChooser {
public:
    virtual ~AppChooser() = default;

    // The chosen entry's location; nothing when the user cancelled or chose nothing.
    virtual std::optional<QUrl> chooseApplication() = 0;
};

// A modal file dialog titled "Select an Application": one file, desktop entries only,
// opened in the user's applications folder.
class FileDialogAppChooser final : public AppChooser {
public:
    std::optional<QUrl> chooseApplication() override;
};

// The desktop-file ID of the entry at `path`, without ".desktop": relative to the
// applications folder it lies in, with '/' turned into '-' ("kde/okular.desktop" gives
// "kde-okular"); for a file elsewhere, its name without ".desktop".
QString desktopFileId(const QString& path);

} // namespace Platform
