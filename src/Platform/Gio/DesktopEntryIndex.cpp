#include "Platform/Gio/DesktopEntryIndex.h"

#include "Platform/Gio/GioHandles.h"
#include "Platform/Gio/ProcessInfo.h"
#include "Util/Logging.h"

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <atomic>

namespace Platform::Gio {
namespace {

QString fileNameOf(const QString& path)
{
    return path.section(QLatin1Char('/'), -1);
}

QString withoutDesktopSuffix(const QString& id)
{
    static const QLatin1String suffix(".desktop");
    return id.endsWith(suffix) ? id.chopped(suffix.size()) : id;
}

QStringList programsOf(GDesktopAppInfo* info)
{
    QStringList programs;
    int argc = 0;
    char** argv = nullptr;
    const char* commandLine = g_app_info_get_commandline(G_APP_INFO(info));
    if (commandLine && g_shell_parse_argv(commandLine, &argc, &argv, nullptr)) {
        const GStrvPtr owned(argv);
        QStringList arguments;
        for (int i = 0; i < argc; ++i)
            arguments.append(QString::fromUtf8(argv[i]));
        const QString program = ProcessInfo::programOf(arguments);
        if (!program.isEmpty())
            programs.append(program);
    }
    const GCharPtr tryExec(g_desktop_app_info_get_string(info, "TryExec"));
    if (tryExec)
        programs.append(QString::fromUtf8(tryExec.get()));
    return programs;
}

DesktopEntry entryOf(GDesktopAppInfo* info)
{
    GAppInfo* appInfo = G_APP_INFO(info);
    DesktopEntry entry;
    entry.id = withoutDesktopSuffix(fromUtf8(g_app_info_get_id(appInfo)));
    // Without a Name key GIO would make up "Unnamed".
    if (g_desktop_app_info_has_key(info, "Name"))
        entry.name = fromUtf8(g_app_info_get_name(appInfo));
    entry.path = fromUtf8(g_desktop_app_info_get_filename(info));
    entry.startupWmClass = fromUtf8(g_desktop_app_info_get_startup_wm_class(info));
    entry.programs = programsOf(info);
    entry.visible = g_app_info_should_show(appInfo);
    return entry;
}

// Several entries may answer to one key; the first one keeps it.
void keepFirst(QHash<QString, qsizetype>& table, const QString& key, qsizetype index)
{
    if (!key.isEmpty() && !table.contains(key))
        table.insert(key, index);
}

} // namespace

QList<DesktopEntry> readInstalledEntries()
{
    QList<DesktopEntry> entries;
    GList* all = g_app_info_get_all();
    for (GList* item = all; item; item = item->next) {
        if (G_IS_DESKTOP_APP_INFO(item->data) && g_app_info_get_id(G_APP_INFO(item->data)))
            entries.append(entryOf(G_DESKTOP_APP_INFO(item->data)));
    }
    g_list_free_full(all, g_object_unref);
    return entries;
}

DesktopEntryTable::DesktopEntryTable(QList<DesktopEntry> entries) : m_entries(std::move(entries))
{
    // Two passes so that visible entries claim every key before hidden ones.
    for (const bool visible : {true, false}) {
        for (qsizetype i = 0; i < m_entries.size(); ++i) {
            const DesktopEntry& entry = m_entries.at(i);
            if (entry.visible != visible)
                continue;
            keepFirst(m_ids, entry.id, i);
            keepFirst(m_foldedIds, entry.id.toCaseFolded(), i);
            if (entry.id.contains(QLatin1Char('.')))
                keepFirst(
                    m_foldedIdSuffixes, entry.id.section(QLatin1Char('.'), -1).toCaseFolded(), i);
            keepFirst(m_wmClasses, entry.startupWmClass, i);
            for (const QString& program : entry.programs) {
                keepFirst(m_programs, program, i);
                keepFirst(m_programs, fileNameOf(program), i);
            }
        }
    }
}

const DesktopEntry* DesktopEntryTable::find(
    const QHash<QString, qsizetype>& table, const QString& key) const
{
    if (key.isEmpty())
        return nullptr;
    const auto found = table.constFind(key);
    return found == table.cend() ? nullptr : &m_entries.at(found.value());
}

const DesktopEntry* DesktopEntryTable::byId(const QString& id) const
{
    return find(m_ids, id);
}

const DesktopEntry* DesktopEntryTable::byStartupWmClass(const QString& wmClass) const
{
    return find(m_wmClasses, wmClass);
}

const DesktopEntry* DesktopEntryTable::byIdIgnoringCase(const QString& name) const
{
    return find(m_foldedIds, name.toCaseFolded());
}

const DesktopEntry* DesktopEntryTable::byIdSuffixIgnoringCase(const QString& name) const
{
    return find(m_foldedIdSuffixes, name.toCaseFolded());
}

const DesktopEntry* DesktopEntryTable::byProgram(const QString& program) const
{
    if (const DesktopEntry* entry = find(m_programs, program))
        return entry;
    return find(m_programs, fileNameOf(program));
}

// GIO's monitor tells once that entries changed, and again only after the entries were read
// anew; the flag is set from the main loop of the thread that made the index.
struct DesktopEntryIndex::Monitor {
    GObjectPtr<GAppInfoMonitor> monitor{g_app_info_monitor_get()};
    std::atomic<bool> changed{true};
    gulong handler = 0;

    Monitor()
    {
        handler = g_signal_connect(monitor.get(), "changed", G_CALLBACK(&Monitor::onChanged), this);
    }
    ~Monitor() { g_signal_handler_disconnect(monitor.get(), handler); }

    static void onChanged(GAppInfoMonitor*, gpointer self)
    {
        qCDebug(lcApps) << "Desktop entries changed";
        static_cast<Monitor*>(self)->changed = true;
    }
};

DesktopEntryIndex::DesktopEntryIndex() : m_monitor(std::make_unique<Monitor>())
{
}

DesktopEntryIndex::~DesktopEntryIndex() = default;

std::shared_ptr<const DesktopEntryTable> DesktopEntryIndex::current()
{
    if (m_monitor->changed.exchange(false) || !m_table)
        m_table = std::make_shared<const DesktopEntryTable>(readInstalledEntries());
    return m_table;
}

} // namespace Platform::Gio
