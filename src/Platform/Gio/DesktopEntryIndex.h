#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace Platform::Gio {

// What the index keeps of one installed desktop entry.
struct DesktopEntry {
    QString id; // desktop-file ID without ".desktop"
    QString name; // Name in the user's locale; empty when the entry has none
    QString path;
    QString startupWmClass;
    QStringList programs; // Exec's program (past env and interpreters) and TryExec
    bool visible = true; // not NoDisplay, shown in this desktop
};

// An immutable table of the installed entries with the lookups that match windows and
// processes to them. When several entries share a key, a visible entry wins over a hidden
// one, then the desktop's search order (user entries before system ones) decides.
class DesktopEntryTable {
public:
    explicit DesktopEntryTable(QList<DesktopEntry> entries);

    const QList<DesktopEntry>& entries() const { return m_entries; }

    const DesktopEntry* byId(const QString& id) const;
    const DesktopEntry* byStartupWmClass(const QString& wmClass) const;
    // The ID compared case-insensitively, whole or its last reverse-DNS part
    // ("org.gnome.Nautilus" answers to "nautilus").
    const DesktopEntry* byIdIgnoringCase(const QString& name) const;
    const DesktopEntry* byIdSuffixIgnoringCase(const QString& name) const;
    // A program path or name, compared whole and by file name.
    const DesktopEntry* byProgram(const QString& program) const;

private:
    const DesktopEntry* find(const QHash<QString, qsizetype>& table, const QString& key) const;

    QList<DesktopEntry> m_entries;
    QHash<QString, qsizetype> m_ids;
    QHash<QString, qsizetype> m_foldedIds;
    QHash<QString, qsizetype> m_foldedIdSuffixes;
    QHash<QString, qsizetype> m_wmClasses;
    QHash<QString, qsizetype> m_programs;
};

// The installed desktop entries, read once and read again when the desktop reports that
// entries were added, changed or removed. Use from the main thread only.
class DesktopEntryIndex {
public:
    DesktopEntryIndex();
    ~DesktopEntryIndex();
    DesktopEntryIndex(const DesktopEntryIndex&) = delete;
    DesktopEntryIndex& operator=(const DesktopEntryIndex&) = delete;

    // The current table; it stays valid for as long as the caller holds it.
    std::shared_ptr<const DesktopEntryTable> current();

private:
    struct Monitor;
    std::unique_ptr<Monitor> m_monitor;
    std::shared_ptr<const DesktopEntryTable> m_table;
};

// Reads every installed entry now.
QList<DesktopEntry> readInstalledEntries();

} // namespace Platform::Gio
