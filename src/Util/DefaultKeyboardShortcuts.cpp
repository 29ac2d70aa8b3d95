#include "Util/DefaultKeyboardShortcuts.h"

#include <KeyboardShortcuts/KeyboardShortcuts.h>

#include <QHash>

using KeyboardShortcuts::Key;
using KeyboardShortcuts::ModifierFlag;
using KeyboardShortcuts::Shortcut;

KeyboardShortcuts::Name workspaceShortcutName(const QUuid& workspaceId)
{
    return KeyboardShortcuts::Name(QStringLiteral("workspaceShortcut_")
        + workspaceId.toString(QUuid::WithoutBraces).toUpper());
}

namespace DefaultKeyboardShortcuts {
namespace {

bool wantsDefault(const Workspace& workspace, bool overrideExisting)
{
    if (overrideExisting)
        return true;
    if (KeyboardShortcuts::getShortcut(workspaceShortcutName(workspace.id())))
        return false;
    return workspace.shortcut() != QStringLiteral("none");
}

// Read afresh for every candidate: a key handed out earlier in the same pass counts.
bool isTaken(const Shortcut& candidate, const QList<WorkspacePtr>& workspaces)
{
    return std::any_of(workspaces.cbegin(), workspaces.cend(), [&](const WorkspacePtr& workspace) {
        return KeyboardShortcuts::getShortcut(workspaceShortcutName(workspace->id())) == candidate;
    });
}

} // namespace

const QList<Key>& numberKeys()
{
    static const QList<Key> keys{Key::one, Key::two, Key::three, Key::four, Key::five, Key::six,
        Key::seven, Key::eight, Key::nine, Key::zero};
    return keys;
}

void setDefaultShortcuts(const QList<WorkspacePtr>& workspaces, bool overrideExisting)
{
    const KeyboardShortcuts::ModifierFlags modifiers = ModifierFlag::shift | ModifierFlag::option;
    for (const WorkspacePtr& workspace : workspaces) {
        if (!wantsDefault(*workspace, overrideExisting))
            continue;
        for (const Key& key : numberKeys()) {
            const Shortcut candidate(key, modifiers);
            if (isTaken(candidate, workspaces))
                continue;
            KeyboardShortcuts::setShortcut(candidate, workspaceShortcutName(workspace->id()));
            break;
        }
    }
}

} // namespace DefaultKeyboardShortcuts

QString keyEquivalentString(Key key)
{
    static const QHash<int, QString> characters = [] {
        QHash<int, QString> table;
        const QList<Key>& digits = DefaultKeyboardShortcuts::numberKeys();
        for (int i = 0; i < digits.size(); ++i)
            table.insert(digits.at(i).rawValue, QString::number((i + 1) % 10));
        const Key letters[] = {Key::a, Key::b, Key::c, Key::d, Key::e, Key::f, Key::g, Key::h,
            Key::i, Key::j, Key::k, Key::l, Key::m, Key::n, Key::o, Key::p, Key::q, Key::r, Key::s,
            Key::t, Key::u, Key::v, Key::w, Key::x, Key::y, Key::z};
        for (int i = 0; i < 26; ++i)
            table.insert(letters[i].rawValue, QString(QChar(u'a' + i)));
        return table;
    }();
    return characters.value(key.rawValue);
}
