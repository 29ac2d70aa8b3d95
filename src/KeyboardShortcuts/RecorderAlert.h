#pragma once

#include <QString>
#include <QStringList>

namespace KeyboardShortcuts {

// An alert for the whole application, for a recorder without a window to show it on: the
// title, the message and the buttons in order. Returns the index of the chosen button.
int runApplicationModalAlert(
    const QString& title, const QString& message, const QStringList& buttons);

} // namespace KeyboardShortcuts
