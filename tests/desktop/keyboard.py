"""The keyboard: chords as fingers press them, and its layouts."""

import ctypes
import subprocess

# In these tests Fn is the right Ctrl key.
DICTATE = ("Control_L", "Alt_L", "space")
COMMAND = ("Control_R", "Control_L", "Shift_L")
TRANSLATE = ("Control_R", "Control_L", "Alt_L")
LIVE = ("Control_R", "Control_L", "Super_L")
AMEND = ("Control_R", "Control_L", "Shift_L", "Alt_L")
PASTE_LAST = ("Control_L", "Alt_L", "v")
CANCEL_SEND = ("Super_L", "period")


def key_down(*keys):
    subprocess.run(["xdotool", *(word for key in keys for word in ("keydown", key))], check=True)


def key_up(*keys):
    subprocess.run(["xdotool", *(word for key in reversed(keys) for word in ("keyup", key))],
                   check=True)


def press(*keys):
    """Presses a chord as fingers do: down one after the other, up in the opposite order."""
    key_down(*keys)
    key_up(*keys)


# ---- Layouts ----------------------------------------------------------------------------------------


class _State(ctypes.Structure):
    # XkbStateRec
    _fields_ = [("group", ctypes.c_ubyte), ("locked_group", ctypes.c_ubyte),
                ("groups", ctypes.c_ushort * 2), ("modifiers", ctypes.c_ubyte * 9),
                ("buttons", ctypes.c_ushort)]


_CORE_KEYBOARD = 0x100
_x11 = ctypes.CDLL("libX11.so.6")
_x11.XOpenDisplay.restype = ctypes.c_void_p
_x11.XOpenDisplay.argtypes = [ctypes.c_char_p]
_x11.XCloseDisplay.argtypes = [ctypes.c_void_p]
_x11.XkbGetState.argtypes = [ctypes.c_void_p, ctypes.c_uint, ctypes.POINTER(_State)]
_x11.XkbLockGroup.argtypes = [ctypes.c_void_p, ctypes.c_uint, ctypes.c_uint]


def set_layouts(layouts, variants="", active=0):
    """Gives the keyboard layouts such as "us,ru", of which the one at `active` is switched to."""
    subprocess.run(["setxkbmap", "-layout", layouts, "-variant", variants], check=True)
    display = _x11.XOpenDisplay(None)
    _x11.XkbLockGroup(display, _CORE_KEYBOARD, active)
    _x11.XCloseDisplay(display)


def active_layout():
    """The place of the layout that keys are typed in now."""
    display = _x11.XOpenDisplay(None)
    state = _State()
    _x11.XkbGetState(display, _CORE_KEYBOARD, ctypes.byref(state))
    _x11.XCloseDisplay(display)
    return state.group
