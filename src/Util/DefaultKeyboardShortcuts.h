#pragma once

#include "Models/Workspace.h"

#include <KeyboardShortcuts/Key.h>
#include <KeyboardShortcuts/Name.h>

#include <QList>
#include <QString>

// The global shortcut of a workspace: "workspaceShortcut_" and its id as an upper-case UUID,
// without a default. It follows the id, so a workspace keeps its shortcut when renamed.
KeyboardShortcuts::Name workspaceShortcutName(const QUuid& workspaceId);

// Hands out Shift-Option with a digit to workspaces, in order, so that they work without
// any set-up.
namespace DefaultKeyboardShortcuts {

// one ... nine, then zero.
const QList<KeyboardShortcuts::Key>& numberKeys();

// For each workspace in order: one without a stored shortcut gets the first of ⌥⇧1 … ⌥⇧9,
// ⌥⇧0 that no workspace of the list holds at that moment, unless its shortcut marker is
// "none" (the user removed it). With `overrideExisting`, every workspace gets one, also
// those with a shortcut or the marker; old ones are not cleared first, so a workspace
// finds its own key taken and moves on.
void setDefaultShortcuts(const QList<WorkspacePtr>& workspaces, bool overrideExisting);

} // namespace DefaultKeyboardShortcuts

// The one-character key text a menu item shows: "0"…"9" for digits, "a"…"z" for letters,
// empty for every other key.
QString keyEquivalentString(KeyboardShortcuts::Key key);
