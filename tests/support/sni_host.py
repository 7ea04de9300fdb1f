#!/usr/bin/python3
"""A StatusNotifierItem watcher and host for tests, on the session bus.

  sni_host.py serve          own org.kde.StatusNotifierWatcher (with a host registered) until killed;
                             prints "ready" once the name is owned
  sni_host.py items          JSON list of the registered items
  sni_host.py item           JSON object: the first item's Id, Title, Status, ToolTip and its menu rows
  sni_host.py click LABEL    sends "clicked" to the first menu row whose label is LABEL

Menu rows are read through com.canonical.dbusmenu GetLayout, as a tray host does.
"""
import json
import sys

import dbus
import dbus.service

WATCHER = "org.kde.StatusNotifierWatcher"
WATCHER_PATH = "/StatusNotifierWatcher"


class Watcher(dbus.service.Object):
    def __init__(self, bus):
        self.items = []
        self.bus = bus
        super().__init__(bus, WATCHER_PATH)
        bus.add_signal_receiver(self.owner_changed, "NameOwnerChanged", "org.freedesktop.DBus")

    def owner_changed(self, name, old, new):
        if not new:
            gone = [i for i in self.items if i.split("/")[0] == name]
            for item in gone:
                self.items.remove(item)
                self.StatusNotifierItemUnregistered(item)

    @dbus.service.method(WATCHER, in_signature="s", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, service, sender=None):
        # A bare object path means "this path on the caller's connection".
        item = sender + service if service.startswith("/") else service
        if item not in self.items:
            self.items.append(item)
            self.StatusNotifierItemRegistered(item)

    @dbus.service.method(WATCHER, in_signature="s")
    def RegisterStatusNotifierHost(self, service):
        self.StatusNotifierHostRegistered()

    @dbus.service.signal(WATCHER, signature="s")
    def StatusNotifierItemRegistered(self, item):
        pass

    @dbus.service.signal(WATCHER, signature="s")
    def StatusNotifierItemUnregistered(self, item):
        pass

    @dbus.service.signal(WATCHER, signature="")
    def StatusNotifierHostRegistered(self):
        pass

    def properties(self):
        return {
            "RegisteredStatusNotifierItems": dbus.Array(self.items, signature="s"),
            "IsStatusNotifierHostRegistered": dbus.Boolean(True),
            "ProtocolVersion": dbus.Int32(0),
        }

    @dbus.service.method(dbus.INTROSPECTABLE_IFACE, in_signature="", out_signature="s")
    def Introspect(self):
        # Qt reads the watcher's properties through QDBusInterface, which only knows introspected properties.
        return """<!DOCTYPE node PUBLIC "-//freedesktop//DTD D-BUS Object Introspection 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd">
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
  <interface name="org.freedesktop.DBus.Properties">
    <method name="Get"><arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="out"/></method>
    <method name="GetAll"><arg type="s" direction="in"/><arg type="a{sv}" direction="out"/></method>
  </interface>
  <interface name="org.freedesktop.DBus.Introspectable">
    <method name="Introspect"><arg type="s" direction="out"/></method>
  </interface>
</node>"""

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        return self.properties()[name]

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return self.properties()


def serve():
    from dbus.mainloop.glib import DBusGMainLoop
    from gi.repository import GLib
    DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    watcher = Watcher(bus)
    name = dbus.service.BusName(WATCHER, bus, do_not_queue=True)
    print("ready", flush=True)
    GLib.MainLoop().run()
    del watcher, name


def registered(bus):
    watcher = bus.get_object(WATCHER, WATCHER_PATH)
    return [str(i) for i in watcher.Get(WATCHER, "RegisteredStatusNotifierItems", dbus_interface=dbus.PROPERTIES_IFACE)]


def first_item(bus):
    items = registered(bus)
    if not items:
        return None, None
    service, _, path = items[0].partition("/")
    return bus.get_object(service, "/" + path if path else "/StatusNotifierItem"), service


def plain(value):
    if isinstance(value, (dbus.String, dbus.ObjectPath)):
        return str(value)
    if isinstance(value, dbus.Boolean):
        return bool(value)
    if isinstance(value, (dbus.Int32, dbus.UInt32, dbus.Int64, dbus.Byte)):
        return int(value)
    if isinstance(value, (dbus.Array, list, dbus.Struct, tuple)):
        return [plain(v) for v in value]
    if isinstance(value, dbus.Dictionary):
        return {str(k): plain(v) for k, v in value.items()}
    return value


def menu_rows(bus):
    item, service = first_item(bus)
    if item is None:
        return None, []
    path = item.Get("org.kde.StatusNotifierItem", "Menu", dbus_interface=dbus.PROPERTIES_IFACE)
    menu = bus.get_object(service, path)
    _, layout = menu.GetLayout(0, -1, dbus.Array([], signature="s"), dbus_interface="com.canonical.dbusmenu")
    rows = []
    for child in layout[2]:
        child_id, props, _ = child
        rows.append({
            "id": int(child_id),
            "label": str(props.get("label", "")).replace("_", "", 1) if "label" in props else "",
            "enabled": bool(props.get("enabled", True)),
            "visible": bool(props.get("visible", True)),
            "type": str(props.get("type", "standard")),
        })
    return (item, service, menu), rows


def main():
    mode = sys.argv[1] if len(sys.argv) > 1 else "serve"
    if mode == "serve":
        serve()
        return
    bus = dbus.SessionBus()
    if mode == "items":
        print(json.dumps(registered(bus)))
    elif mode == "item":
        handles, rows = menu_rows(bus)
        if handles is None:
            print("null")
            return
        item = handles[0]
        props = item.GetAll("org.kde.StatusNotifierItem", dbus_interface=dbus.PROPERTIES_IFACE)
        print(json.dumps({
            "id": plain(props.get("Id")),
            "title": plain(props.get("Title")),
            "status": plain(props.get("Status")),
            "tooltip": plain(props.get("ToolTip")),
            "rows": rows,
        }, ensure_ascii=False))
    elif mode == "click":
        handles, rows = menu_rows(bus)
        label = sys.argv[2]
        for row in rows:
            if row["label"] == label:
                handles[2].Event(row["id"], "clicked", dbus.String("", variant_level=1), dbus.UInt32(0),
                                 dbus_interface="com.canonical.dbusmenu")
                return
        sys.exit("no row labelled " + label)


if __name__ == "__main__":
    main()
