#include "Platform/Gio/ProcessInfo.h"

#include "Platform/Gio/GioHandles.h"

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

} // namespace

std::optional<quint64> startTime(ProcessId pid)
{
    // "pid (comm) state ppid ...": comm may hold blanks and parentheses, so count the fields
    // after the last ')'. The start time is field 22 of the line, the 20th after comm.
    const QByteArray stat = readProcFile(pid, "stat");
    const qsizetype commEnd = stat.lastIndexOf(')');
    if (commEnd < 0)
        return std::nullopt;
    const QList<QByteArray> fields = stat.mid(commEnd + 2).split(' ');
    constexpr int startTimeField = 19;
    if (fields.size() <= startTimeField)
        return std::nullopt;
    bool ok = false;
    const quint64 ticks = fields.at(startTimeField).toULongLong(&ok);
    return ok ? std::optional<quint64>(ticks) : std::nullopt;
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
