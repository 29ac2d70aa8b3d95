#include "KeyboardShortcuts/RecorderAlert.h"

#include <QMessageBox>
#include <QPushButton>

namespace KeyboardShortcuts {

int runApplicationModalAlert(
    const QString& title, const QString& message, const QStringList& buttons)
{
    QMessageBox box;
    box.setWindowModality(Qt::ApplicationModal);
    box.setIcon(QMessageBox::Warning);
    box.setText(title);
    box.setInformativeText(message);
    QList<QAbstractButton*> added;
    for (const QString& text : buttons)
        added.append(box.addButton(text, QMessageBox::AcceptRole));
    box.exec();
    return static_cast<int>(added.indexOf(box.clickedButton()));
}

} // namespace KeyboardShortcuts
