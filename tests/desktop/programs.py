"""The programs that are dictated into. What they show is read through accessibility."""

import json
import os
import subprocess
import sys
from pathlib import Path

import gi

from desktop import output_of, until

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402


def active_window():
    return output_of("xdotool", "getactivewindow")


def accessible_program(process_id):
    """The program with this id as accessibility shows it, as it is now; None if it is not shown."""
    root = Atspi.get_desktop(0)
    root.clear_cache()
    return next((program for program in children(root)
                 if program.get_process_id() == process_id), None)


def children(node):
    """What a node of the accessibility tree holds; nothing for None."""
    if not node:
        return []
    found = map(node.get_child_at_index, range(node.get_child_count()))
    return [child for child in found if child]


def named(node, name):
    """What has this name within a node of the accessibility tree; None if nothing has."""
    if node and node.get_name() == name:
        return node
    return next(filter(None, (named(child, name) for child in children(node))), None)


class Window:
    """A program with a window, started and brought to the front."""

    def __init__(self, *command, name, **environment):
        self.process = subprocess.Popen(command, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL, env=os.environ | environment)
        self.id = until(self._find, 10, f"the window of {name}")
        self.focus()

    def _find(self):
        # A program may own helper windows that are never shown.
        found = output_of("xdotool", "search", "--onlyvisible", "--pid", self.process.pid).split()
        return found[0] if found else None

    def focus(self):
        subprocess.run(["xdotool", "windowactivate", self.id], stderr=subprocess.DEVNULL, check=True)
        until(lambda: active_window() == self.id, 5, "the window to become active")

    def close(self):
        self.process.kill()
        self.process.wait()


class AccessibleWindow(Window):
    """A window whose focused field accessibility shows."""

    def __init__(self, *command, name, role, **environment):
        super().__init__(*command, name=name, **environment)
        self.role = role
        self.page = until(self._focused, 10, f"{name}'s field to show up in accessibility")

    def text(self):
        return Atspi.Text.get_text(self.page, 0, Atspi.Text.get_character_count(self.page))

    def _focused(self):
        def search(node):
            if node.get_role() == self.role and \
                    node.get_state_set().contains(Atspi.StateType.FOCUSED):
                return node
            for child in children(node):
                # Menus that are closed hold most of the tree.
                if child.get_state_set().contains(Atspi.StateType.SHOWING):
                    found = search(child)
                    if found:
                        return found
            return None

        windows = children(accessible_program(self.process.pid))
        for window in windows:
            window.get_attributes()  # without this question a browser shows no page
        return next(filter(None, map(search, windows)), None)


class Editor(AccessibleWindow):
    """A text editor with an empty page, made with GTK."""

    def __init__(self, **environment):
        # An editor that was killed would ask next time whether to restore, and take the focus.
        subprocess.run(["gsettings", "set", "org.xfce.mousepad.preferences.file", "session-restore",
                        "never"], check=True)
        super().__init__("mousepad", "--disable-server", name="mousepad", role=Atspi.Role.TEXT,
                         **environment)


class QtEditor(AccessibleWindow):
    """A text editor with an empty page, made with Qt."""

    def __init__(self):
        super().__init__(sys.executable, "-B", str(Path(__file__).with_name("qt_editor.py")),
                         name="the Qt editor", role=Atspi.Role.TEXT)


class TextArea(AccessibleWindow):
    """A text area on a page in a browser."""

    def __init__(self, folder):
        page = Path(folder, "page.html")
        page.write_text("<!doctype html><title>A page</title>"
                        "<textarea autofocus cols=80 rows=20></textarea>")
        super().__init__(
            "chromium", "--no-sandbox", "--disable-gpu", "--disable-background-networking",
            "--no-first-run", "--no-default-browser-check", "--disable-sync",
            "--disable-component-update", "--password-store=basic",
            f"--user-data-dir={Path(folder, 'browser')}", page.as_uri(),
            name="chromium", role=Atspi.Role.ENTRY)


class Chat(AccessibleWindow):
    """A program in which messages are written and sent, with Return or, as "cmdEnter", with
    Ctrl+Return."""

    ID = "chat.py"

    def __init__(self, folder, key="enter"):
        self.events = Path(folder, "chat")
        self.events.touch()
        super().__init__(sys.executable, "-B", str(Path(__file__).with_name(self.ID)), key,
                         str(self.events), name="the chat", role=Atspi.Role.TEXT)

    def sent(self):
        return self._told("sent")

    def keys(self):
        """The keys that arrived in the chat, such as "Ctrl+V"."""
        return self._told("key")

    def _told(self, what):
        events = map(json.loads, self.events.read_text().splitlines())
        return [event[what] for event in events if what in event]


class PasswordDialog(AccessibleWindow):
    def __init__(self):
        super().__init__("zenity", "--password", name="zenity", role=Atspi.Role.PASSWORD_TEXT)


class Terminal(Window):
    """A terminal in which `cat` writes what is typed into a file, a line at a time."""

    def __init__(self, folder):
        self.typed = Path(folder, "typed")
        super().__init__("xterm", "-fa", "DejaVu Sans Mono", "-e", f"exec cat >'{self.typed}'",
                         name="xterm")
        until(self.typed.exists, 5, "the terminal's shell")

    def text(self):
        return self.typed.read_text()


class InputMethod:
    """A Chinese input method, which writes 你 when its KEYS are pressed in one of its editors."""

    KEYS = ("n", "i", "3", "space")
    WRITES = "你"
    _ENGINE = "m17n:zh:tonepy"

    def __init__(self):
        self.process = subprocess.Popen(["ibus-daemon", "--panel=disable", "--config=disable",
                                         "--emoji-extension=disable"], stderr=subprocess.DEVNULL)
        until(lambda: self._ENGINE in output_of("ibus", "list-engine"), 10, "the input method")
        subprocess.run(["ibus", "engine", self._ENGINE])  # says that it failed even if it did not
        until(lambda: output_of("ibus", "engine") == self._ENGINE, 5, "the input method to be on")

    def open_editor(self):
        before = self._context()
        editor = Editor(GTK_IM_MODULE="ibus")
        until(lambda: self._context() != before, 5, "the editor to be the input method's")
        return editor

    def close(self):
        self.process.terminate()
        self.process.wait()

    @staticmethod
    def _context():
        """Names the field that the input method writes into."""
        return output_of("gdbus", "call", "--address", output_of("ibus", "address"),
                         "--dest", "org.freedesktop.IBus", "--object-path", "/org/freedesktop/IBus",
                         "--method", "org.freedesktop.DBus.Properties.Get",
                         "org.freedesktop.IBus", "CurrentInputContext")
