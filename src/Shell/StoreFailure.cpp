#include "Shell/StoreFailure.h"

#include <QApplication>
#include <QMessageBox>

#include <cstdio>

namespace StoreFailure {
namespace {

bool canShowDialog()
{
    if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
        return false;
    if (!qEnvironmentVariableIsEmpty("VANTOR_NO_DIALOGS"))
        return false;
    // Nobody could see or close a dialog there: it would wait for ever.
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

} // namespace

void report(const QString& message)
{
    std::fprintf(stderr, "vantor: %s\n", message.toUtf8().constData());
    std::fflush(stderr);
    if (!canShowDialog())
        return;
    QMessageBox dialog(QMessageBox::Critical, QStringLiteral("Vantor"), message, QMessageBox::Ok);
    dialog.setInformativeText(
        QStringLiteral("Vantor will quit now. Nothing in the store has been changed."));
    dialog.exec();
}

} // namespace StoreFailure
