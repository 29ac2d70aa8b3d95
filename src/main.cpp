#include "Cli/CommandLine.h"
#include "VantorApp.h"

#include <QCoreApplication>

int main(int argc, char* argv[])
{
    // `vantor` alone starts the tray app; `vantor COMMAND ...` runs a command and exits.
    if (argc <= 1)
        return VantorApp::run(argc, argv);
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Vantor"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VANTOR_VERSION));
    return Cli::run(QCoreApplication::arguments());
}
