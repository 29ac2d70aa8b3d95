#include "Cli/CommandLine.h"
#include "Platform/Backend.h"
#include "VantorApp.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char* argv[])
{
    // A backend asked for by name that cannot be used here ends every command at once.
    if (const auto forced = Platform::forcedBackend(QProcessEnvironment::systemEnvironment());
        forced && forced->backend == Platform::Backend::None) {
        std::fprintf(stderr, "vantor: %s\n", qPrintable(forced->problem));
        return 1;
    }
    // `vantor` alone starts the tray app; `vantor COMMAND ...` runs a command and exits.
    if (argc <= 1)
        return VantorApp::run(argc, argv);
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Vantor"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VANTOR_VERSION));
    return Cli::run(QCoreApplication::arguments());
}
