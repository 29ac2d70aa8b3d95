#include "Cli/ActivationProgress.h"
#include "Cli/Commands.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Store/ModelContainer.h"
#include "Util/CacheManager.h"
#include "Util/DateUtil.h"
#include "Util/Services.h"
#include "Util/WorkspaceCapture.h"

#include <QEventLoop>
#include <QTextStream>
#include <QTimer>

#include <cmath>

namespace Cli {
namespace {

// The real desktop and the store.
struct Session {
    explicit Session(ModelContainer& store)
        : manager(std::make_unique<CacheManager>(store.mainContext(), services->windowManager()))
    {
    }

    std::unique_ptr<Services> services = std::make_unique<Services>();
    std::unique_ptr<CacheManager> manager;
};

// A session on the user's store; null after printing why the store cannot be opened.
std::unique_ptr<Session> openSession()
{
    const auto& store = openSharedModelContainer();
    if (!store.ok()) {
        fail(RuntimeFailure, *store.error);
        return nullptr;
    }
    return std::make_unique<Session>(*store.value);
}

struct ActivateOptions {
    QString workspace;
    bool wait = true;
    std::optional<std::chrono::milliseconds> timeout;
};

// NAME|UUID [--timeout SECONDS] [--no-wait]; nothing after printing why not.
std::optional<ActivateOptions> activateOptions(const QStringList& arguments)
{
    ActivateOptions options;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == QLatin1String("--no-wait")) {
            options.wait = false;
        } else if (argument == QLatin1String("--timeout")) {
            bool ok = false;
            const double seconds = arguments.value(++i).toDouble(&ok);
            if (!ok || !std::isfinite(seconds) || seconds <= 0 || seconds > 86400) {
                fail(UsageError, QStringLiteral("--timeout takes seconds, e.g. --timeout 2.5"));
                return std::nullopt;
            }
            options.timeout = std::chrono::milliseconds(std::llround(seconds * 1000));
        } else if (options.workspace.isNull()) {
            options.workspace = argument;
        } else {
            options.workspace.clear();
            break;
        }
    }
    if (options.workspace.isEmpty()) {
        fail(UsageError,
            QStringLiteral("usage: vantor activate NAME|UUID [--timeout SECONDS] [--no-wait]"));
        return std::nullopt;
    }
    return options;
}

// Runs the event loop until the activation has finished, and then for as long as freshly
// placed windows are kept on their frames.
void waitFor(const Activation& activation, std::chrono::milliseconds settleTime)
{
    QEventLoop loop;
    if (!activation.isFinished()) {
        QObject::connect(&activation, &Activation::finished, &loop, &QEventLoop::quit);
        loop.exec();
    }
    const bool launchedAndPlaced = std::any_of(activation.outcomes().cbegin(),
        activation.outcomes().cend(), [](const AppOutcome& outcome) {
            return outcome.state == AppOutcome::State::Launched && outcome.placed;
        });
    if (launchedAndPlaced && settleTime.count() > 0) {
        QTimer::singleShot(settleTime, &loop, &QEventLoop::quit);
        loop.exec();
    }
}

QString idText(const Workspace& workspace)
{
    return workspace.id().toString(QUuid::WithoutBraces).toUpper();
}

QString summary(const Workspace& workspace)
{
    const int apps = static_cast<int>(workspace.apps().size());
    return QStringLiteral("%1\t%2 app%3\tupdated %4")
        .arg(Text::printable(workspace.name()))
        .arg(apps)
        .arg(apps == 1 ? QString() : QStringLiteral("s"))
        .arg(DateUtils::workspaceFormatter().string(workspace.updatedAt()));
}

QString details(const Workspace& workspace)
{
    QString text;
    QTextStream out(&text);
    out << Text::printable(workspace.name()) << '\n'
        << "  id: " << idText(workspace) << '\n'
        << "  updated: " << DateUtils::workspaceFormatter().string(workspace.updatedAt()) << '\n';
    if (workspace.notes())
        out << "  notes: " << Text::printable(*workspace.notes()) << '\n';
    for (const auto& app : workspace.apps()) {
        out << "  " << Text::printable(app->name()) << " ("
            << Text::printable(app->bundleIdentifier().value_or(QStringLiteral("-"))) << ")\n";
        for (const auto& layout : app->layouts())
            out << "    " << layout->screenSizeDescription() << ": " << layout->positionX() << ','
                << layout->positionY() << ' ' << layout->width() << 'x' << layout->height() << '\n';
    }
    return text;
}

// The workspace with the id given, or the only one of that name; null after printing why
// (none, or several of that name: their ids then tell them apart).
WorkspacePtr findWorkspace(Session& session, const QString& nameOrId)
{
    ModelContext& context = session.manager->context();
    if (const QUuid id = QUuid::fromString(nameOrId); !id.isNull()) {
        if (auto found = context.fetchWorkspace(id); found.ok() && found.value)
            return found.value;
    }
    const auto named = context.fetchWorkspaces(nameOrId);
    if (named.value.size() == 1)
        return named.value.first();
    if (named.value.isEmpty()) {
        fail(UsageError, QStringLiteral("no workspace named '%1'").arg(Text::printable(nameOrId)));
        return nullptr;
    }
    QStringList ids;
    for (const WorkspacePtr& workspace : named.value)
        ids.append(idText(*workspace));
    fail(UsageError,
        QStringLiteral("%1 workspaces are named '%2'; name one by its id: %3")
            .arg(ids.size())
            .arg(Text::printable(nameOrId), ids.join(QStringLiteral(", "))));
    return nullptr;
}

int list(const Invocation& invocation)
{
    if (!invocation.arguments.isEmpty())
        return fail(UsageError, QStringLiteral("usage: vantor list [--json]"));
    const auto session = openSession();
    if (!session)
        return RuntimeFailure;
    const auto workspaces = session->manager->fetchAllWorkspaces();
    if (invocation.json) {
        QJsonArray array;
        for (const auto& workspace : workspaces)
            array.append(Json::workspace(*workspace));
        output(Json::text(array));
    } else if (workspaces.isEmpty()) {
        std::fputs("No workspaces yet: `vantor capture NAME` makes one of the running apps.\n",
            stderr);
    } else {
        for (const auto& workspace : workspaces)
            output(summary(*workspace));
    }
    return Success;
}

int show(const Invocation& invocation)
{
    if (invocation.arguments.size() != 1)
        return fail(UsageError, QStringLiteral("usage: vantor show NAME [--json]"));
    const auto session = openSession();
    if (!session)
        return RuntimeFailure;
    const auto workspace = findWorkspace(*session, invocation.arguments.first());
    if (!workspace)
        return UsageError;
    output(invocation.json ? Json::text(Json::workspace(*workspace)) : details(*workspace));
    return Success;
}

int apps(const Invocation& invocation)
{
    if (!invocation.arguments.isEmpty())
        return fail(UsageError, QStringLiteral("usage: vantor apps [--json]"));
    Services services;
    const auto running = services.applications().runningApplications();
    if (invocation.json) {
        QJsonArray array;
        for (const auto& application : running)
            array.append(Json::runningApplication(application));
        output(Json::text(array));
        return Success;
    }
    for (const auto& application : running) {
        output(QStringLiteral("%1\t%2\t%3 window%4\t%5\t%6")
                   .arg(application.processIdentifier)
                   .arg(Json::policyName(application.activationPolicy))
                   .arg(application.windowCount)
                   .arg(application.windowCount == 1 ? QString() : QStringLiteral("s"))
                   .arg(Text::printable(application.bundleIdentifier.value_or(QStringLiteral("-"))),
                       Text::printable(
                           application.localizedName.value_or(QStringLiteral("Unknown App")))));
    }
    return Success;
}

int capture(const Invocation& invocation)
{
    if (invocation.arguments.isEmpty())
        return fail(UsageError, QStringLiteral("usage: vantor capture NAME [APP_ID...]"));
    const QString name = invocation.arguments.first();
    const QStringList wanted = invocation.arguments.mid(1);
    if (name.trimmed().isEmpty())
        return fail(UsageError, QStringLiteral("a workspace needs a name that is not blank"));
    const auto session = openSession();
    if (!session)
        return RuntimeFailure;
    if (!session->manager->context().fetchWorkspaces(name).value.isEmpty())
        return fail(UsageError,
            QStringLiteral("a workspace named '%1' exists; use `vantor update %1 --replace`")
                .arg(Text::printable(name)));
    QList<AppInfoPtr> apps = session->services->runningApps().get();
    if (!wanted.isEmpty()) {
        apps.removeIf([&wanted](const AppInfoPtr& app) {
            return !app->bundleIdentifier() || !wanted.contains(*app->bundleIdentifier());
        });
        for (const QString& id : wanted) {
            const bool running = std::any_of(apps.cbegin(), apps.cend(),
                [&id](const auto& app) { return app->bundleIdentifier() == id; });
            if (!running)
                return fail(UsageError, QStringLiteral("'%1' is not a running app").arg(id));
        }
    }
    if (apps.isEmpty())
        return fail(RuntimeFailure, QStringLiteral("no running apps to capture"));
    const auto created = WorkspaceCapture::createWorkspace(
        name, apps, session->services->runningApps(), *session->manager);
    if (!created.ok())
        return fail(RuntimeFailure,
            QStringLiteral("the workspace could not be saved: ") + *created.error);
    const Workspace& workspace = *created.value;
    output(invocation.json ? Json::text(Json::workspace(workspace)) : details(workspace));
    return Success;
}

int activate(const Invocation& invocation)
{
    const std::optional<ActivateOptions> options = activateOptions(invocation.arguments);
    if (!options)
        return UsageError;
    const auto session = openSession();
    if (!session)
        return RuntimeFailure;
    const WindowManager& windowManager = session->services->windowManager();
    if (options->timeout) {
        LaunchSettings settings = windowManager.launchSettings();
        settings.timeout = *options->timeout;
        windowManager.setLaunchSettings(settings);
    }
    const auto workspace = findWorkspace(*session, options->workspace);
    if (!workspace)
        return UsageError;
    const auto activation = std::make_shared<Activation>(workspace->apps());
    {
        const ActivationProgress progress(*activation, stderr, invocation.json ? stderr : stdout);
        windowManager.openAppsFor(activation);
        if (options->wait)
            waitFor(*activation, windowManager.launchSettings().settleTime);
        session->services->windowSystem().finishPlacements();
    }
    if (invocation.json) {
        QJsonArray outcomes;
        for (qsizetype i = 0; i < activation->apps().size(); ++i)
            outcomes.append(Json::outcome(*activation->apps().at(i), activation->outcomes().at(i)));
        output(Json::text(outcomes));
    }
    return activation->hasFailures() ? RuntimeFailure : Success;
}

int update(const Invocation& invocation)
{
    QStringList arguments = invocation.arguments;
    const bool replace = arguments.removeAll(QStringLiteral("--replace")) > 0;
    if (arguments.size() != 1)
        return fail(UsageError, QStringLiteral("usage: vantor update NAME [--replace]"));
    const auto session = openSession();
    if (!session)
        return RuntimeFailure;
    const auto workspace = findWorkspace(*session, arguments.first());
    if (!workspace)
        return UsageError;
    if (const auto error = WorkspaceCapture::updateWorkspace(
            workspace, replace, session->services->runningApps(), *session->manager))
        return fail(RuntimeFailure, QStringLiteral("the workspace could not be saved: ") + *error);
    if (invocation.json)
        output(Json::text(Json::workspace(*workspace)));
    return Success;
}

int remove(const Invocation& invocation)
{
    if (invocation.arguments.size() != 1)
        return fail(UsageError, QStringLiteral("usage: vantor delete NAME|UUID [--json]"));
    const auto session = openSession();
    if (!session)
        return RuntimeFailure;
    const auto workspace = findWorkspace(*session, invocation.arguments.first());
    if (!workspace)
        return UsageError;
    const QJsonObject deleted = Json::workspace(*workspace);
    if (const auto error = session->manager->deleteWorkspace(workspace))
        return fail(
            RuntimeFailure, QStringLiteral("the workspace could not be deleted: ") + *error);
    if (invocation.json)
        output(Json::text(deleted));
    return Success;
}

} // namespace

std::vector<Command> workspaceCommands()
{
    return {
        {"list", "list [--json]", "the workspaces, in store order", list},
        {"show", "show NAME [--json]", "one workspace with its apps and frames", show},
        {"apps", "apps [--json]", "running apps: identity, name, PID, policy, windows", apps},
        {"capture", "capture NAME [APP_ID...]",
            "a new workspace of the running apps (all, or those listed) and their frames", capture},
        {"activate", "activate NAME|UUID [--timeout S] [--no-wait]",
            "launch a workspace's apps and put their windows back; waits until each is placed",
            activate},
        {"update", "update NAME [--replace]",
            "add frames for this screen (--replace: only the running apps, captured anew)", update},
        {"delete", "delete NAME|UUID", "delete a workspace", remove},
    };
}

} // namespace Cli
