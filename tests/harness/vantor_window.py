#!/usr/bin/python3
"""Reads and presses Vantor's main window through the accessibility bus (AT-SPI).

  vantor_window.py tree             the window's named nodes, as JSON lines
  vantor_window.py press NAME ROLE [--in NAME]
                                    presses the first node of that name and role (inside
                                    the first node named after --in, e.g. a sheet)
  vantor_window.py shown            whether the window is there now (exit 0) or not (3)
  vantor_window.py extents ROLE N   "x y width height" on screen of the Nth (from 0)
                                    showing node of that role
  vantor_window.py focused ROLE N   whether that node has the keyboard focus (exit 0) or not (3)
  vantor_window.py focus ROLE N     gives that node the keyboard focus

Exit status 0 on success, 1 when the application, its window or the node is not there.
"""
import json
import sys
import time

import pyatspi

DEADLINE_SECONDS = 20


def find_frame():
    """The frame "Vantor" of the application "Vantor", if it is registered now."""
    for app in pyatspi.Registry.getDesktop(0):
        if app is None or app.name != "Vantor":
            continue
        for child in app:
            if child is not None and child.getRoleName() == "frame" and child.name == "Vantor":
                return child
    return None


def vantor_frame():
    """The frame "Vantor", waiting for it to register."""
    deadline = time.monotonic() + DEADLINE_SECONDS
    while time.monotonic() < deadline:
        frame = find_frame()
        if frame is not None:
            return frame
        time.sleep(0.05)
    return None


def children(node):
    """The node's children; none when the node went away while it was read (a screen that
    was just replaced)."""
    try:
        return [child for child in node if child is not None]
    except Exception:  # pyatspi reports a vanished node with varying exception types
        return []


def walk(node):
    yield node
    for child in children(node):
        yield from walk(child)


def describe(node):
    states = node.getState()
    return {
        "role": node.getRoleName(),
        "name": node.name,
        "showing": states.contains(pyatspi.STATE_SHOWING),
        "selected": states.contains(pyatspi.STATE_SELECTED) or states.contains(pyatspi.STATE_CHECKED),
        "actions": [node.queryAction().getName(i) for i in range(node.queryAction().nActions)]
        if "Action" in pyatspi.listInterfaces(node) else [],
    }


def main(argv):
    if argv[1:2] == ["shown"]:
        return 0 if find_frame() is not None else 3
    frame = vantor_frame()
    if frame is None:
        print("no frame Vantor of an application Vantor", file=sys.stderr)
        return 1
    if argv[1:2] == ["tree"]:
        for node in walk(frame):
            try:
                if node.name:
                    print(json.dumps(describe(node)))
            except Exception:  # gone while it was read, as in children()
                continue
        return 0
    if argv[1:2] in (["extents"], ["focused"], ["focus"]) and len(argv) == 4:
        role, index = argv[2], int(argv[3])
        found = [node for node in walk(frame) if node.getRoleName() == role
                 and node.getState().contains(pyatspi.STATE_SHOWING)]
        if index >= len(found):
            print(f"no {role} number {index}", file=sys.stderr)
            return 1
        if argv[1] == "focused":
            return 0 if found[index].getState().contains(pyatspi.STATE_FOCUSED) else 3
        if argv[1] == "focus":
            return 0 if found[index].queryComponent().grabFocus() else 1
        box = found[index].queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        print(box.x, box.y, box.width, box.height)
        return 0
    if argv[1:2] == ["press"] and len(argv) in (4, 6):
        name, role = argv[2], argv[3]
        scope = frame
        if len(argv) == 6 and argv[4] == "--in":
            scope = next((node for node in walk(frame) if node.name == argv[5]), None)
            if scope is None:
                print(f"nothing named {argv[5]!r}", file=sys.stderr)
                return 1
        for node in walk(scope):
            if node.name == name and node.getRoleName() == role:
                action = node.queryAction()
                for i in range(action.nActions):
                    if action.getName(i) in ("press", "Press", "click", "Toggle", "toggle"):
                        action.doAction(i)
                        return 0
                print(f"{role} {name!r} cannot be pressed", file=sys.stderr)
                return 1
        print(f"no {role} named {name!r}", file=sys.stderr)
        return 1
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv))
