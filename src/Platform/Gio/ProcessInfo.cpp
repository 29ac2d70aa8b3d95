#include "Platform/Gio/ProcessInfo.h"

#include "Platform/Gio/GioHandles.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <gio/gio.h>

namespace Platform::Gio::ProcessInfo {
namespace {

QString procPath(ProcessId pid, const char* entry)
{
    return QStringLiteral("/proc/%1/%2").arg(pid).arg(QLatin1String(entry));
}

QByteArray readProcFile(ProcessId pid, const char* entry)
{
    QFile file(procPath(pid, entry));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return {};
    return file.readAll();
}

bool isInterpreter(const QString& program)
{
    static const QRegularExpression interpreters(QStringLiteral(
        "^(env|sh|bash|dash|zsh|ksh|fish|python[0-9.]*|perl[0-9.]*|ruby[0-9.]*|node|nodejs|gjs|"
        "lua[0-9.]*|php[0-9.]*|mono|wish[0-9.]*|tclsh[0-9.]*)$"));
    return interpreters.match(program.section(QLatin1Char('/'), -1)).hasMatch();
}

bool isVariableSetting(const QString& argument)
{
    const qsizetype equals = argument.indexOf(QLatin1Char('='));
    return equals > 0 && !argument.left(equals).contains(QLatin1Char('/'));
}

// A numeric field of /proc/PID/stat, counted after the command name: "pid (comm) state
// ppid ...", where comm may hold blanks and parentheses. Field 0 is the state.
std::optional<quint64> statField(ProcessId pid, int field)
{
    const QByteArray stat = readProcFile(pid, "stat");
    const qsizetype commEnd = stat.lastIndexOf(')');
    if (commEnd < 0)
        return std::nullopt;
    const QList<QByteArray> fields = stat.mid(commEnd + 2).split(' ');
    if (fields.size() <= field)
        return std::nullopt;
    bool ok = false;
    const quint64 value = fields.at(field).toULongLong(&ok);
    return ok ? std::optional<quint64>(value) : std::nullopt;
}

} // namespace

std::optional<quint64> startTime(ProcessId pid)
{
    constexpr int startTimeField = 19;
    return statField(pid, startTimeField);
}

std::optional<ProcessId> parentOf(ProcessId pid)
{
    constexpr int parentField = 1;
    const std::optional<quint64> parent = statField(pid, parentField);
    return parent ? std::optional<ProcessId>(static_cast<ProcessId>(*parent)) : std::nullopt;
}

bool descendsFrom(ProcessId pid, ProcessId ancestor)
{
    // The chain is short; the bound only guards against a loop while pids are reused.
    constexpr int maxDepth = 64;
    for (int depth = 0; pid > 1 && depth < maxDepth; ++depth) {
        if (pid == ancestor)
            return true;
        pid = parentOf(pid).value_or(0);
    }
    return false;
}

bool hasEnvironment(ProcessId pid, const QByteArray& name, const QByteArray& value)
{
    const QByteArray wanted = name + '=' + value;
    const QByteArray environment = readProcFile(pid, "environ");
    for (const QByteArray& entry : environment.split('\0')) {
        if (entry == wanted)
            return true;
    }
    return false;
}

bool anyProcessHasEnvironment(const QByteArray& name, const QByteArray& value)
{
    const QDir proc(QStringLiteral("/proc"));
    for (const QString& entry : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool isProcess = false;
        const ProcessId pid = entry.toInt(&isProcess);
        if (isProcess && hasEnvironment(pid, name, value))
            return true;
    }
    return false;
}

QString flatpakAppId(ProcessId pid)
{
    return flatpakAppIdFrom(readProcFile(pid, "root/.flatpak-info"));
}

QString flatpakAppIdFrom(const QByteArray& flatpakInfo)
{
    if (flatpakInfo.isEmpty())
        return {};
    GKeyFilePtr keyFile(g_key_file_new());
    if (!g_key_file_load_from_data(keyFile.get(), flatpakInfo.constData(),
            static_cast<gsize>(flatpakInfo.size()), G_KEY_FILE_NONE, nullptr))
        return {};
    const GCharPtr name(g_key_file_get_string(keyFile.get(), "Application", "name", nullptr));
    return fromUtf8(name.get());
}

QString snapDesktopId(ProcessId pid)
{
    return snapDesktopIdFrom(QString::fromUtf8(readProcFile(pid, "attr/current")));
}

QString snapDesktopIdFrom(const QString& securityLabel)
{
    // An AppArmor label like "snap.firefox.firefox (enforce)"; the entry is "firefox_firefox".
    const QString label = securityLabel.trimmed();
    if (!label.startsWith(QLatin1String("snap.")))
        return {};
    const QStringList parts = label.section(QLatin1Char(' '), 0, 0).split(QLatin1Char('.'));
    if (parts.size() < 3 || parts.at(1).isEmpty() || parts.at(2).isEmpty())
        return {};
    return parts.at(1) + QLatin1Char('_') + parts.at(2);
}

QStringList commandLine(ProcessId pid)
{
    QByteArray raw = readProcFile(pid, "cmdline");
    if (raw.endsWith('\0'))
        raw.chop(1);
    QStringList arguments;
    if (raw.isEmpty())
        return arguments;
    for (const QByteArray& argument : raw.split('\0'))
        arguments.append(QFile::decodeName(argument));
    return arguments;
}

QString programOf(const QStringList& arguments)
{
    bool afterInterpreter = false;
    for (const QString& argument : arguments) {
        if (argument.isEmpty())
            continue;
        if (afterInterpreter && argument.startsWith(QLatin1Char('-')))
            continue;
        if (afterInterpreter && isVariableSetting(argument))
            continue;
        if (isInterpreter(argument)) {
            afterInterpreter = true;
            continue;
        }
        return argument;
    }
    return {};
}

} // namespace Platform::Gio::ProcessInfo
