#include "Cli/Commands.h"

#include "Platform/Applications.h"
#include "Platform/Backend.h"
#include "Platform/WindowSystem.h"
#include "Util/WindowManager.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace Cli {
namespace {

// Why the windows cannot be reached: the session's own reason when Vantor knows no way to
// them, else the usual causes.
QString noWindowSystem(const Platform::BackendChoice& backend)
{
    if (backend.backend == Platform::Backend::None)
        return QStringLiteral("windows cannot be read or moved here. ") + backend.problem;
    return QStringLiteral("windows cannot be read or moved here (no EWMH window manager, or "
                          "sway does not answer)");
}

// The window system of this session, or the reason there is none to use.
std::unique_ptr<Platform::WindowSystem> usableWindowSystem(QString* problem)
{
    const Platform::BackendChoice backend = Platform::chooseBackend();
    auto windowSystem = Platform::createWindowSystem(backend);
    if (windowSystem->canControlWindows())
        return windowSystem;
    *problem = noWindowSystem(backend);
    return nullptr;
}

QJsonObject toJson(const Platform::WindowInfo& window)
{
    return {{QStringLiteral("pid"), window.pid},
        {QStringLiteral("windowId"), static_cast<qint64>(window.id)},
        {QStringLiteral("wmClass"), window.wmClass}, {QStringLiteral("type"), window.typeName},
        {QStringLiteral("x"), window.frame.x}, {QStringLiteral("y"), window.frame.y},
        {QStringLiteral("width"), window.frame.width},
        {QStringLiteral("height"), window.frame.height}};
}

QString signedNumber(double value)
{
    return (value < 0 ? QString() : QStringLiteral("+")) + QString::number(value);
}

// "0x00a00003  pid 1234  XClock  normal  200x150+10+20", like X geometry strings.
QString toLine(const Platform::WindowInfo& window)
{
    const Frame& frame = window.frame;
    const QString id = QStringLiteral("0x%1").arg(window.id, 8, 16, QLatin1Char('0'));
    const QString wmClass = window.wmClass.isEmpty() ? QStringLiteral("-") : window.wmClass;
    const QString geometry = QString::number(frame.width) + QLatin1Char('x')
        + QString::number(frame.height) + signedNumber(frame.x) + signedNumber(frame.y);
    return QStringList{id, QStringLiteral("pid ") + QString::number(window.pid), wmClass,
        window.typeName, geometry}
        .join(QStringLiteral("  "));
}

int listWindows(const Invocation& invocation)
{
    if (!invocation.arguments.isEmpty())
        return fail(UsageError, QStringLiteral("windows takes no arguments besides --json"));
    QString problem;
    const auto windowSystem = usableWindowSystem(&problem);
    if (!windowSystem)
        return fail(RuntimeFailure, problem);
    const auto windows = windowSystem->managedWindows();
    if (!windows)
        return fail(RuntimeFailure,
            QStringLiteral("the window list could not be read from the window system"));
    QJsonArray array;
    QStringList lines;
    for (const Platform::WindowInfo& window : *windows) {
        if (!window.isOnScreen)
            continue;
        array.append(toJson(window));
        lines.append(toLine(window));
    }
    if (invocation.json)
        output(QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Indented)));
    else if (!lines.isEmpty())
        output(lines.join(QLatin1Char('\n')));
    return Success;
}

std::optional<double> finiteNumber(const QString& text)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    return ok && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

int placeWindows(const Invocation& invocation)
{
    const QStringList& arguments = invocation.arguments;
    bool pidOk = false;
    const Platform::ProcessId pid = arguments.value(0).toInt(&pidOk);
    QList<double> numbers;
    for (const QString& argument : arguments.mid(1)) {
        if (const auto number = finiteNumber(argument))
            numbers.append(*number);
    }
    if (arguments.size() != 5 || !pidOk || numbers.size() != 4 || numbers[2] <= 0
        || numbers[3] <= 0)
        return fail(
            UsageError, QStringLiteral("usage: vantor place PID X Y W H (W and H above 0)"));
    QString problem;
    const auto windowSystem = usableWindowSystem(&problem);
    if (!windowSystem)
        return fail(RuntimeFailure, problem);
    if (!windowSystem->windowsOfProcess(pid, 1))
        return fail(RuntimeFailure, QStringLiteral("Could not retrieve windows for %1.").arg(pid));
    const auto applications = Platform::createApplications(*windowSystem);
    const WindowManager windowManager(*windowSystem, *applications);
    windowManager.setWindowPosition(pid, {numbers[0], numbers[1]}, {numbers[2], numbers[3]});
    windowSystem->finishPlacements();
    return Success;
}

} // namespace

std::vector<Command> windowCommands()
{
    return {
        {"windows", "windows [--json]", "list on-screen windows, front to back", listWindows},
        {"place", "place PID X Y W H", "move and resize every window of a process", placeWindows},
    };
}

} // namespace Cli
