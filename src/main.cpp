#include "Cli/CommandLine.h"

#include <QCoreApplication>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Vantor"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VANTOR_VERSION));
    const QStringList arguments = QCoreApplication::arguments();
    return Cli::run(arguments.size() > 1
            ? arguments
            : QStringList{arguments.value(0), QStringLiteral("--help")});
}
