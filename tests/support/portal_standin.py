#!/usr/bin/python3
"""A stand-in desktop portal for tests, on the session bus: the front end's org.freedesktop.portal.Screenshot
(version 2) and org.freedesktop.portal.GlobalShortcuts (version 1) as documented, with their Request and Session
objects, for desktops whose portal we cannot run here.

  portal_standin.py --answers FILE --log FILE [--screenshot] [--global-shortcuts]

Owns org.freedesktop.portal.Desktop and prints "ready" once it does. Each call appends one JSON line to the log:
{"method": ..., "sender": ..., "args": [...]}. What each method answers through its Request's Response is read from
the answers file (JSON) at the time of the call:

  {"Screenshot": {"response": 0, "uri": "file:///..."},
   "CreateSession": {"response": 0},
   "BindShortcuts": {"response": 0, "trigger_description": "Ctrl+Shift+Meta+2"}}

Missing entries answer 0. "trigger_description": "" binds the shortcut without a trigger. Tests drive the desktop's
side through md.velmor.test.PortalStandIn: Activate(o session, s shortcut_id) sends Activated as a key press would.
"""
import argparse
import json
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

DESKTOP = "org.freedesktop.portal.Desktop"
PATH = "/org/freedesktop/portal/desktop"
SCREENSHOT = "org.freedesktop.portal.Screenshot"
SHORTCUTS = "org.freedesktop.portal.GlobalShortcuts"
REQUEST = "org.freedesktop.portal.Request"
SESSION = "org.freedesktop.portal.Session"
PROPERTIES = "org.freedesktop.DBus.Properties"
CONTROL = "md.velmor.test.PortalStandIn"


def plain(value):
    """D-Bus values as JSON-friendly Python values (variants keep no marker; strings and numbers as they are)."""
    if isinstance(value, dbus.Dictionary):
        return {str(k): plain(v) for k, v in value.items()}
    if isinstance(value, (dbus.Array, dbus.Struct, list, tuple)):
        return [plain(v) for v in value]
    if isinstance(value, dbus.Boolean):
        return bool(value)
    if isinstance(value, (dbus.String, dbus.ObjectPath)):
        return str(value)
    if isinstance(value, (dbus.Int32, dbus.UInt32, dbus.Int64, dbus.UInt64, dbus.Byte, dbus.Int16, dbus.UInt16)):
        return int(value)
    return value


def sender_part(sender):
    return sender[1:].replace(".", "_")


class Request(dbus.service.Object):
    def __init__(self, bus, path):
        super().__init__(bus, path)
        self.closed = False

    @dbus.service.method(REQUEST, in_signature="", out_signature="")
    def Close(self):
        self.closed = True
        self.remove_from_connection()

    @dbus.service.signal(REQUEST, signature="ua{sv}")
    def Response(self, response, results):
        pass


class Session(dbus.service.Object):
    def __init__(self, bus, path, portal):
        super().__init__(bus, path)
        self.portal = portal
        self.path = path

    @dbus.service.method(SESSION, in_signature="", out_signature="")
    def Close(self):
        self.portal.log("Session.Close", self.path, [])
        self.portal.sessions.pop(self.path, None)
        self.remove_from_connection()

    @dbus.service.signal(SESSION, signature="a{sv}")
    def Closed(self, details):
        pass


class Portal(dbus.service.Object):
    def __init__(self, bus, options):
        super().__init__(bus, PATH)
        self.bus = bus
        self.options = options
        self.sessions = {}

    def log(self, method, sender, args):
        with open(self.options.log, "a", encoding="utf-8") as log:
            log.write(json.dumps({"method": method, "sender": str(sender), "args": plain(args)}) + "\n")

    def answer(self, method):
        try:
            with open(self.options.answers, encoding="utf-8") as answers:
                return json.load(answers).get(method, {})
        except FileNotFoundError:
            return {}

    def request(self, sender, options, results):
        """The Request object for a call; its Response follows once the method has returned."""
        token = str(options.get("handle_token", "t%d" % GLib.get_monotonic_time()))
        path = "%s/request/%s/%s" % (PATH, sender_part(sender), token)
        request = Request(self.bus, path)

        def respond():
            if not request.closed:
                request.Response(dbus.UInt32(results[0]), dbus.Dictionary(results[1], signature="sv"))
                request.remove_from_connection()
            return False

        GLib.timeout_add(20, respond)
        return dbus.ObjectPath(path)

    # Properties: the version of each interface offered.
    def versions(self):
        versions = {}
        if self.options.screenshot:
            versions[SCREENSHOT] = 2
        if self.options.global_shortcuts:
            versions[SHORTCUTS] = 1
        return versions

    @dbus.service.method(PROPERTIES, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        versions = self.versions()
        if interface not in versions or name != "version":
            raise dbus.exceptions.DBusException("No such property", name="org.freedesktop.DBus.Error.InvalidArgs")
        return dbus.UInt32(versions[interface])

    @dbus.service.method(PROPERTIES, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        versions = self.versions()
        if interface not in versions:
            return dbus.Dictionary({}, signature="sv")
        return dbus.Dictionary({"version": dbus.UInt32(versions[interface])}, signature="sv")

    def refuse_unless(self, offered, interface):
        if not offered:
            raise dbus.exceptions.DBusException(
                "No such interface “%s” on object at path %s" % (interface, PATH),
                name="org.freedesktop.DBus.Error.UnknownMethod")

    @dbus.service.method(SCREENSHOT, in_signature="sa{sv}", out_signature="o", sender_keyword="sender")
    def Screenshot(self, parent_window, options, sender=None):
        self.refuse_unless(self.options.screenshot, SCREENSHOT)
        self.log("Screenshot", sender, [parent_window, options])
        answer = self.answer("Screenshot")
        results = {}
        if answer.get("response", 0) == 0 and "uri" in answer:
            results["uri"] = answer["uri"]
        return self.request(sender, options, (answer.get("response", 0), results))

    @dbus.service.method(SHORTCUTS, in_signature="a{sv}", out_signature="o", sender_keyword="sender")
    def CreateSession(self, options, sender=None):
        self.refuse_unless(self.options.global_shortcuts, SHORTCUTS)
        self.log("CreateSession", sender, [options])
        answer = self.answer("CreateSession")
        results = {}
        if answer.get("response", 0) == 0:
            path = "%s/session/%s/%s" % (PATH, sender_part(sender), options["session_handle_token"])
            self.sessions[path] = {"session": Session(self.bus, path, self), "shortcuts": []}
            # Version 1 documents the handle as a string.
            results["session_handle"] = dbus.String(path)
        return self.request(sender, options, (answer.get("response", 0), results))

    @dbus.service.method(SHORTCUTS, in_signature="oa(sa{sv})sa{sv}", out_signature="o", sender_keyword="sender")
    def BindShortcuts(self, session, shortcuts, parent_window, options, sender=None):
        self.refuse_unless(self.options.global_shortcuts, SHORTCUTS)
        self.log("BindShortcuts", sender, [session, shortcuts, parent_window, options])
        answer = self.answer("BindShortcuts")
        results = {}
        if answer.get("response", 0) == 0:
            bound = []
            for shortcut_id, properties in shortcuts:
                trigger = answer.get("trigger_description", str(properties.get("preferred_trigger", "")))
                bound.append(dbus.Struct(
                    (shortcut_id, dbus.Dictionary({"description": properties.get("description", ""),
                                                   "trigger_description": trigger}, signature="sv")),
                    signature="sa{sv}"))
            if str(session) in self.sessions:
                self.sessions[str(session)]["shortcuts"] = bound
            results["shortcuts"] = dbus.Array(bound, signature="(sa{sv})")
        return self.request(sender, options, (answer.get("response", 0), results))

    @dbus.service.method(SHORTCUTS, in_signature="oa{sv}", out_signature="o", sender_keyword="sender")
    def ListShortcuts(self, session, options, sender=None):
        self.log("ListShortcuts", sender, [session, options])
        bound = self.sessions.get(str(session), {}).get("shortcuts", [])
        return self.request(sender, options, (0, {"shortcuts": dbus.Array(bound, signature="(sa{sv})")}))

    @dbus.service.signal(SHORTCUTS, signature="osta{sv}")
    def Activated(self, session_handle, shortcut_id, timestamp, options):
        pass

    @dbus.service.signal(SHORTCUTS, signature="osta{sv}")
    def Deactivated(self, session_handle, shortcut_id, timestamp, options):
        pass

    @dbus.service.method(CONTROL, in_signature="os", out_signature="")
    def Activate(self, session, shortcut_id):
        stamp = dbus.UInt64(GLib.get_monotonic_time() // 1000)
        self.Activated(session, shortcut_id, stamp, dbus.Dictionary({}, signature="sv"))
        self.Deactivated(session, shortcut_id, stamp, dbus.Dictionary({}, signature="sv"))

    @dbus.service.method(CONTROL, in_signature="", out_signature="as")
    def Sessions(self):
        return dbus.Array(list(self.sessions), signature="s")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--answers", required=True)
    parser.add_argument("--log", required=True)
    parser.add_argument("--screenshot", action="store_true")
    parser.add_argument("--global-shortcuts", action="store_true")
    options = parser.parse_args()

    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    portal = Portal(bus, options)
    name = dbus.service.BusName(DESKTOP, bus, do_not_queue=True)
    print("ready", flush=True)
    loop = GLib.MainLoop()
    loop.run()
    del name, portal


if __name__ == "__main__":
    sys.exit(main())
