#pragma once

#include <QIcon>
#include <QString>

#include <optional>

// The icon of the app whose desktop entry is at `path`, as the desktop shows it: the entry's
// Icon from the icon theme, or a generic application icon when the entry names none that
// can be found, or the file is missing. Nothing when `path` is empty or does not parse as a location.
std::optional<QIcon> getAppImage(const QString& path);
