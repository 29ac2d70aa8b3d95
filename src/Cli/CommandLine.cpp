#include "Cli/CommandLine.h"

#include "Cli/Commands.h"
#include "Cli/Text.h"
#include "Util/Console.h"

#include <QTextStream>

#include <array>
#include <cstdio>

namespace Cli {
namespace {

std::span<const Command> commands()
{
    static const auto all = allCommands();
    return all;
}

const Command* findCommand(const QString& name)
{
    for (const Command& command : commands()) {
        if (name == QLatin1String(command.name))
            return &command;
    }
    return nullptr;
}

QString helpText()
{
    QString text;
    QTextStream out(&text);
    out << "Usage: vantor [COMMAND [ARGUMENTS]]\n\n"
        << "Without a command, Vantor starts in the system tray.\n\nCommands:\n";
    for (const Command& command : commands())
        out << "  " << QString::fromUtf8(command.usage).leftJustified(34) << ' '
            << QString::fromUtf8(command.summary) << '\n';
    out << "\nOptions:\n"
        << "  " << QStringLiteral("--json").leftJustified(34) << " print listings as JSON\n"
        << "  " << QStringLiteral("--help").leftJustified(34) << " show this help\n"
        << "  " << QStringLiteral("--version").leftJustified(34) << " show the version\n";
    return text;
}

} // namespace

bool isCommandLineInvocation(const QStringList& arguments)
{
    return arguments.size() > 1;
}

int fail(ExitCode code, const QString& message)
{
    std::fprintf(stderr, "vantor: %s\n", message.toUtf8().constData());
    return code;
}

void output(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    if (!bytes.endsWith('\n'))
        std::fputc('\n', stdout);
    std::fflush(stdout);
}

int run(const QStringList& arguments)
{
    Invocation invocation;
    QString name;
    for (const QString& argument : arguments.mid(1)) {
        if (argument == QLatin1String("--help") || argument == QLatin1String("-h")) {
            output(helpText());
            return Success;
        }
        if (argument == QLatin1String("--version")) {
            output(QStringLiteral("vantor " VANTOR_VERSION));
            return Success;
        }
        if (argument == QLatin1String("--json"))
            invocation.json = true;
        else if (name.isEmpty())
            name = argument;
        else
            invocation.arguments.append(argument);
    }
    if (name == QLatin1String("help")) {
        output(helpText());
        return Success;
    }
    const Command* command = findCommand(name);
    if (!command)
        return fail(
            UsageError,
            QStringLiteral("unknown command '%1' (see vantor --help)").arg(Text::printable(name)));
    if (invocation.json)
        Console::printTo(stderr);
    return command->run(invocation);
}

} // namespace Cli
