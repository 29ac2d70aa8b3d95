#!/usr/bin/python3
"""A tray host on the session bus, as swaybar and desktop panels are one (StatusNotifierItem).

  status_notifier_host.py watch      owns org.kde.StatusNotifierWatcher until ended; prints
                                     "ready", then "item SERVICE" for every item registered
  status_notifier_host.py property SERVICE NAME
                                     prints one property of the item, as text
  status_notifier_host.py menu SERVICE
                                     prints the labels of the item's menu, one per line
                                     ("-" for a separator, "(disabled)" after disabled ones)
  status_notifier_host.py click SERVICE LABEL
                                     clicks the menu entry with that label
  status_notifier_host.py activate SERVICE
                                     a primary click on the icon

Exit status 0 on success, 1 when the item or the entry is not there.
"""
import sys
import time

from gi.repository import Gio, GLib

WATCHER = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"

WATCHER_XML = """
<node>
  <interface name="org.kde.StatusNotifierWatcher">
    <method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
    <method name="RegisterStatusNotifierHost"><arg name="service" type="s" direction="in"/></method>
    <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
    <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
    <property name="ProtocolVersion" type="i" access="read"/>
    <signal name="StatusNotifierItemRegistered"><arg type="s"/></signal>
    <signal name="StatusNotifierItemUnregistered"><arg type="s"/></signal>
    <signal name="StatusNotifierHostRegistered"/>
  </interface>
</node>
"""


def watch():
    items = []
    loop = GLib.MainLoop()

    def call(connection, sender, path, interface, method, parameters, invocation):
        if method == "RegisterStatusNotifierItem":
            service = parameters.unpack()[0]
            # Items may name themselves by path only; the sender is then the service.
            if service.startswith("/"):
                service = sender
            items.append(service)
            print("item", service, flush=True)
        invocation.return_value(None)

    def get(connection, sender, path, interface, name):
        if name == "RegisteredStatusNotifierItems":
            return GLib.Variant("as", items)
        if name == "IsStatusNotifierHostRegistered":
            return GLib.Variant("b", True)
        return GLib.Variant("i", 0)

    def acquired(connection, name):
        info = Gio.DBusNodeInfo.new_for_xml(WATCHER_XML).interfaces[0]
        connection.register_object("/StatusNotifierWatcher", info, call, get, None)

    def owned(connection, name):
        print("ready", flush=True)

    Gio.bus_own_name(Gio.BusType.SESSION, WATCHER, Gio.BusNameOwnerFlags.NONE,
                     acquired, owned, lambda *args: loop.quit())
    loop.run()
    return 0


def bus():
    return Gio.bus_get_sync(Gio.BusType.SESSION, None)


def item_property(service, name):
    reply = bus().call_sync(service, "/StatusNotifierItem", "org.freedesktop.DBus.Properties",
                            "Get", GLib.Variant("(ss)", (ITEM, name)), None,
                            Gio.DBusCallFlags.NONE, 5000, None)
    return reply.unpack()[0]


def menu_entries(service):
    path = item_property(service, "Menu")
    reply = bus().call_sync(service, path, MENU, "GetLayout",
                            GLib.Variant("(iias)", (0, -1, [])), None,
                            Gio.DBusCallFlags.NONE, 5000, None)
    _, (_, _, children) = reply.unpack()
    entries = []
    for child in children:
        ident, properties, _ = child
        entries.append((ident, properties))
    return path, entries


def describe(properties):
    if properties.get("type") == "separator":
        return "-"
    label = properties.get("label", "").replace("_", "")
    return label + (" (disabled)" if properties.get("enabled") is False else "")


def main(argv):
    if argv[1:2] == ["watch"]:
        return watch()
    if argv[1:2] == ["property"] and len(argv) == 4:
        print(item_property(argv[2], argv[3]))
        return 0
    if argv[1:2] == ["menu"] and len(argv) == 3:
        for _, properties in menu_entries(argv[2])[1]:
            print(describe(properties))
        return 0
    if argv[1:2] == ["click"] and len(argv) == 4:
        path, entries = menu_entries(argv[2])
        for ident, properties in entries:
            if properties.get("label", "").replace("_", "") == argv[3]:
                bus().call_sync(argv[2], path, MENU, "Event",
                                GLib.Variant("(isvu)", (ident, "clicked", GLib.Variant("i", 0),
                                                        int(time.time()))),
                                None, Gio.DBusCallFlags.NONE, 5000, None)
                return 0
        print(f"no menu entry {argv[3]!r}", file=sys.stderr)
        return 1
    if argv[1:2] == ["activate"] and len(argv) == 3:
        bus().call_sync(argv[2], "/StatusNotifierItem", ITEM, "Activate",
                        GLib.Variant("(ii)", (0, 0)), None, Gio.DBusCallFlags.NONE, 5000, None)
        return 0
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv))
