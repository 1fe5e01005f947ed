#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""notification_server.py CAPABILITY ...: a notification server for tests.

It writes a JSON object a line: {"ready":true}, {"notify":{...}}, {"close":ID}. It reads
[ID,BUTTON], a button that is pressed.
"""
import json
import os
import sys

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib

NAME = "org.freedesktop.Notifications"
PATH = "/org/freedesktop/Notifications"
INTERFACE = """<node><interface name="org.freedesktop.Notifications">
<method name="GetCapabilities"><arg direction="out" type="as"/></method>
<method name="GetServerInformation"><arg direction="out" type="s"/><arg direction="out" type="s"/>
<arg direction="out" type="s"/><arg direction="out" type="s"/></method>
<method name="Notify"><arg direction="in" type="s"/><arg direction="in" type="u"/>
<arg direction="in" type="s"/><arg direction="in" type="s"/><arg direction="in" type="s"/>
<arg direction="in" type="as"/><arg direction="in" type="a{sv}"/><arg direction="in" type="i"/>
<arg direction="out" type="u"/></method>
<method name="CloseNotification"><arg direction="in" type="u"/></method>
</interface></node>"""


class Server:
    def __init__(self, capabilities):
        self.capabilities, self.last = capabilities, 0
        Gio.bus_own_name(Gio.BusType.SESSION, NAME, Gio.BusNameOwnerFlags.NONE, self.export,
                         lambda *_: self.write({"ready": True}), None)
        GLib.io_add_watch(0, GLib.PRIORITY_DEFAULT, GLib.IO_IN | GLib.IO_HUP, self.read)

    def write(self, event):
        print(json.dumps(event), flush=True)

    def export(self, bus, _):
        self.bus = bus
        node = Gio.DBusNodeInfo.new_for_xml(INTERFACE)
        bus.register_object(PATH, node.interfaces[0], self.call, None, None)

    def call(self, _bus, sender, _path, _interface, method, parameters, invocation):
        given, answer = parameters.unpack(), None
        if method == "GetCapabilities":
            answer = GLib.Variant("(as)", (self.capabilities,))
        elif method == "GetServerInformation":
            answer = GLib.Variant("(ssss)", ("Test server", "Robin", "1", "1.2"))
        elif method == "Notify":
            self.last = given[1] or self.last + 1
            answer = GLib.Variant("(u)", (self.last,))
            self.write({"notify": {"id": self.last, "replaces": given[1], "title": given[3],
                                   "body": given[4], "buttons": given[5], "hints": given[6],
                                   "expires": given[7], "sender": sender}})
        else:
            self.write({"close": given[0]})
            self.emit("NotificationClosed", "(uu)", given[0], 3)
        invocation.return_value(answer)

    def emit(self, signal, kind, *values):
        self.bus.emit_signal(None, PATH, NAME, signal, GLib.Variant(kind, values))

    def read(self, *_):
        text = os.read(0, 65536).decode()
        if not text:
            sys.exit(0)
        for line in text.splitlines():
            self.emit("ActionInvoked", "(us)", *json.loads(line))
        return True


Server(sys.argv[1:])
GLib.MainLoop().run()
