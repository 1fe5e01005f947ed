# SPDX-License-Identifier: MIT
"""The desktop's settings on an X display, as a desktop's settings daemon gives them.

    settings = XSettings.shared()
    settings.set({"Xft/DPI": 192 * 1024})   # programs follow at once
"""
import ctypes
import functools
import struct


def padded(text):
    """To four bytes."""
    data = text.encode()
    return data + b"\0" * (-len(data) % 4)


class XSettings:
    @classmethod
    @functools.cache
    def shared(cls):
        """A display has one owner of its settings."""
        return cls()

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

    def set(self, values):
        """All settings there are, by name, numbers and texts; those left out go."""
        self.serial += 1
        data = struct.pack("<BxxxII", 0, self.serial, len(values))
        for name, value in values.items():
            is_text = isinstance(value, str)
            data += (struct.pack("<BxH", is_text, len(name)) + padded(name)
                     + struct.pack("<I", self.serial))
            data += (struct.pack("<I", len(value.encode())) + padded(value) if is_text
                     else struct.pack("<i", value))
        kind = self.atom("_XSETTINGS_SETTINGS")
        self.x.XChangeProperty(self.display, self.owner, kind, kind, 8, 0, data, len(data))
        self.x.XSync(self.display, 0)
