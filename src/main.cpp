#include "Cli/CommandLine.h"
#include "Util/Console.h"
#include "VantorApp.h"

#include <KeyboardShortcuts/ConsoleOutput.h>

#include <QCoreApplication>

int main(int argc, char* argv[])
{
    // The shortcut library's lines ("Error registering hotkey ...") join Vantor's own.
    KeyboardShortcuts::ConsoleOutput::setSink([](const QString& line) { Console::print(line); });
    // `vantor` alone starts the tray app; `vantor COMMAND ...` runs a command and exits.
    if (argc <= 1)
        return VantorApp::run(argc, argv);
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Vantor"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VANTOR_VERSION));
    return Cli::run(QCoreApplication::arguments());
}
