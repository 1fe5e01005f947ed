# SPDX-License-Identifier: MIT
"""The desktop's settings on an X display, as a desktop's settings daemon gives them.

    settings = XSettings()
    settings.set({"Xft/DPI": 192 * 1024})   # programs follow at once
"""
import ctypes
import struct


class XSettings:
    def __init__(self):
        x = self.x = ctypes.CDLL("libX11.so.6")
        x.XOpenDisplay.restype = ctypes.c_void_p
        self.display = ctypes.c_void_p(x.XOpenDisplay(None))
        root = ctypes.c_ulong(x.XDefaultRootWindow(self.display))
        x.XCreateSimpleWindow.restype = ctypes.c_ulong
        self.owner = ctypes.c_ulong(
            x.XCreateSimpleWindow(self.display, root, 0, 0, 1, 1, 0, 0, 0))
        self.serial = 0
        self.set({})
        x.XSetSelectionOwner(self.display, self.atom("_XSETTINGS_S0"), self.owner, 0)
        x.XSync(self.display, 0)

    def atom(self, name):
        self.x.XInternAtom.restype = ctypes.c_ulong
        return ctypes.c_ulong(self.x.XInternAtom(self.display, name.encode(), 0))

    def set(self, numbers):
        """All settings there are, by name; those left out go."""
        self.serial += 1
        data = struct.pack("<BxxxII", 0, self.serial, len(numbers))
        for name, number in numbers.items():
            padding = b"\0" * (-len(name) % 4)
            data += (struct.pack("<BxH", 0, len(name)) + name.encode() + padding
                     + struct.pack("<Ii", self.serial, number))
        kind = self.atom("_XSETTINGS_SETTINGS")
        self.x.XChangeProperty(self.display, self.owner, kind, kind, 8, 0, data, len(data))
        self.x.XSync(self.display, 0)
