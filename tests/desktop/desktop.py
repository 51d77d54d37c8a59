"""Quillet on a virtual desktop, as its user meets it: real keys, real sound, real applications.

Everything here runs inside scripts/virtual-desktop. What an application shows is read through
accessibility, keys are pressed with xdotool and speech is played into the microphone, none of which
Quillet knows of. QUILLET_BIN names the folder with the two programs.
"""

import http.server
import json
import os
import re
import shutil
import sqlite3
import subprocess
import tempfile
import threading
import time
import unittest
from pathlib import Path

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

DICTATE = ("Control_L", "Alt_L", "space")
PASTE_LAST = ("Control_L", "Alt_L", "v")

SPEECH = Path("/usr/share/pocketsphinx/test/data/goforward.raw")
WORDS = "go forward ten meters"


def until(condition, seconds, what):
    """Waits until condition() is true and returns what it gave; fails with a sentence otherwise."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {seconds} s in vain for {what}; last seen: {value!r}")
        time.sleep(0.005)


def output_of(*command, **options):
    """What a command prints; empty when it fails."""
    run = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE,
                         stderr=subprocess.DEVNULL, text=True, timeout=20, **options)
    return run.stdout.strip() if run.returncode == 0 else ""


# ---- Keys, sound, screen, clipboard -----------------------------------------------------------------


def key_down(*keys):
    subprocess.run(["xdotool", *(word for key in keys for word in ("keydown", key))], check=True)


def key_up(*keys):
    subprocess.run(["xdotool", *(word for key in reversed(keys) for word in ("keyup", key))],
                   check=True)


def press(*keys):
    """Presses a chord as fingers do: down one after the other, up in the opposite order."""
    key_down(*keys)
    key_up(*keys)


def speech_file(folder, pause=0.0):
    """A recording of somebody who says WORDS, and is silent for `pause` seconds afterwards."""
    path = Path(folder, f"speech-{pause}.wav")
    subprocess.run(["sox", "-t", "raw", "-r", "16000", "-e", "signed", "-b", "16", "-c", "1", SPEECH,
                    path, "pad", "0", str(pause)], check=True)
    return path


def say(file):
    """Plays a file into the microphone; returns when its last sample was played."""
    subprocess.run(["paplay", "--device=micfeed", file], check=True)


def speakers_are_muted():
    return output_of("pactl", "get-sink-mute", "spk") == "Mute: yes"


def screenshot(path):
    subprocess.run(["import", "-window", "root", path], check=True)


def differing_pixels(one, other, area=""):
    """How many pixels differ between two screenshots, within an area such as 300x80+20+30."""
    crop = ["-crop", area, "+repage"] if area else []
    run = subprocess.run(["compare", "-metric", "AE", one, other, *crop, "null:"],
                         stderr=subprocess.PIPE, text=True)
    return int(float(run.stderr.split()[0]))


def clipboard():
    return output_of("timeout", "5", "xclip", "-selection", "clipboard", "-out")


class ClipboardOwner:
    """A program that copied a text, and from which others paste it."""

    def __init__(self, text):
        self.process = subprocess.Popen(["xclip", "-quiet", "-selection", "clipboard", "-in"],
                                        stdin=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.process.stdin.write(text)
        self.process.stdin.close()
        until(lambda: clipboard() == text, 5, "xclip to own the clipboard")

    def close(self):
        self.process.kill()
        self.process.wait()


# ---- Windows ----------------------------------------------------------------------------------------


def active_window():
    return output_of("xdotool", "getactivewindow")


class Window:
    """A program with a window, started and brought to the front."""

    def __init__(self, *command, name):
        self.process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
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

    def __init__(self, *command, name, role):
        super().__init__(*command, name=name)
        self.role = role
        self.page = until(self._focused, 10, f"{name}'s field to show up in accessibility")

    def text(self):
        return Atspi.Text.get_text(self.page, 0, Atspi.Text.get_character_count(self.page))

    def _focused(self):
        def search(node):
            if node.get_role() == self.role and \
                    node.get_state_set().contains(Atspi.StateType.FOCUSED):
                return node
            for index in range(node.get_child_count()):
                child = node.get_child_at_index(index)
                # Menus that are closed hold most of the tree.
                if child and child.get_state_set().contains(Atspi.StateType.SHOWING):
                    found = search(child)
                    if found:
                        return found
            return None

        root = Atspi.get_desktop(0)
        root.clear_cache()
        for index in range(root.get_child_count()):
            application = root.get_child_at_index(index)
            if application and application.get_process_id() == self.process.pid:
                windows = (application.get_child_at_index(i)
                           for i in range(application.get_child_count()))
                return next(filter(None, map(search, windows)), None)
        return None


class Editor(AccessibleWindow):
    """A text editor with an empty page."""

    def __init__(self):
        # An editor that was killed would ask next time whether to restore, and take the focus.
        subprocess.run(["gsettings", "set", "org.xfce.mousepad.preferences.file", "session-restore",
                        "never"], check=True)
        super().__init__("mousepad", "--disable-server", name="mousepad", role=Atspi.Role.TEXT)


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


# ---- Quillet ----------------------------------------------------------------------------------------


class Quillet:
    """The application and its command, in a home of their own."""

    def __init__(self, folder):
        self.programs = Path(os.environ["QUILLET_BIN"])
        self.home = Path(folder, "home")
        self.log = Path(folder, "quillet-app.log")
        self.environment = dict(
            os.environ, HOME=str(self.home), XDG_CONFIG_HOME=str(self.home / ".config"),
            XDG_DATA_HOME=str(self.home / ".local/share"), XDG_CACHE_HOME=str(self.home / ".cache"),
            QUILLET_ENGINE_DIR=os.path.join(os.environ["QUILLET_ENGINE_CACHE"], "engine"))
        self.process = None
        models = self.home / ".quillet/models"
        models.mkdir(parents=True)
        (models / "en").symlink_to(Path(os.environ["QUILLET_ENGINE_CACHE"], "models/en"))
        self.set("selectedLanguage", "English")

    # The command

    def run(self, *words, given=None):
        """Runs the command, with a text on its standard input, and returns its completed process."""
        return subprocess.run([self.programs / "quillet", *words], env=self.environment, text=True,
                              capture_output=True, timeout=30, input=given)

    def command(self, *words):
        """What the command prints; it must succeed."""
        run = self.run(*words)
        if run.returncode:
            raise AssertionError(f"`quillet {' '.join(words)}` exited with {run.returncode}: "
                                 f"{run.stdout}{run.stderr}")
        return run.stdout

    def json(self, *words):
        return json.loads(self.command(*words, "--json"))

    def set(self, name, value):
        self.command("settings", "set", name, value)

    def state(self):
        return self.json("status")["state"]

    def await_state(self, state, seconds=10):
        until(lambda: self.state() == state, seconds, f"Quillet to be {state}")

    # The application

    def start(self):
        self.process = self.launch()
        until(self._is_ready, 10, "quillet-app to answer")

    def launch(self):
        with self.log.open("a") as log:
            return subprocess.Popen([self.programs / "quillet-app"], env=self.environment,
                                    stdin=subprocess.DEVNULL, stdout=log, stderr=log)

    def _is_ready(self):
        if self.process.poll() is not None:
            raise AssertionError(f"quillet-app ended with {self.process.returncode} at its start:\n"
                                 f"{self.log_tail()}")
        status = self.run("status", "--json")
        return status.returncode == 0 and json.loads(status.stdout).get("running")

    def kill(self):
        self.process.kill()
        self.process.wait()
        self.process = None

    def quit(self):
        """Ends the application as its user does; it must end."""
        if self.process is None or self.process.poll() is not None:
            return
        self.run("quit")
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.kill()
            raise AssertionError("quillet-app was asked to quit and did not") from None

    def visible_windows(self):
        found = output_of("xdotool", "search", "--onlyvisible", "--pid", self.process.pid)
        return found.split()

    # What it leaves behind

    def history(self):
        """(raw text, final text) of all dictations, the oldest first."""
        database = self.home / ".quillet/sessions.db"
        if not database.exists():
            return []
        with sqlite3.connect(f"file:{database}?mode=ro", uri=True, timeout=5) as connection:
            try:
                return connection.execute("SELECT raw_text, final_text FROM transcript_entries "
                                          "ORDER BY timestamp").fetchall()
            except sqlite3.OperationalError as error:
                if "no such table" in str(error):
                    return []
                raise

    def log_tail(self, lines=30):
        return "\n".join(self.log.read_text(errors="replace").splitlines()[-lines:])


def area_of(window):
    """The place of a window on the screen, as differing_pixels takes it."""
    shell = dict(re.findall(r"^(\w+)=(\d+)$",
                            output_of("xdotool", "getwindowgeometry", "--shell", window), re.M))
    return "{WIDTH}x{HEIGHT}+{X}+{Y}".format(**shell)


class SpeechServer:
    """An OpenAI-compatible speech server on this machine that hears the same words in everything."""

    def __init__(self, words):
        self.requests = []  # (method, headers, body)
        server = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def answer(self, status, body):
                self.send_response(status)
                self.send_header("Content-Length", str(len(body)))
                self.end_headers()
                if self.command != "HEAD":
                    self.wfile.write(body)

            def do_HEAD(self):
                server.requests.append(("HEAD", self.headers, b""))
                self.answer(404, b"")

            def do_POST(self):
                body = self.rfile.read(int(self.headers["Content-Length"]))
                server.requests.append(("POST", self.headers, body))
                self.answer(200, json.dumps({"text": words}).encode())

            def log_message(self, *_):
                pass

        self._http = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        threading.Thread(target=self._http.serve_forever, daemon=True).start()
        self.endpoint = f"http://127.0.0.1:{self._http.server_port}/v1/audio/transcriptions"

    def close(self):
        self._http.shutdown()
        self._http.server_close()


class DesktopTest(unittest.TestCase):
    """A test with a fresh Quillet. When it fails, the log, the settings and a screenshot stay in
    the folder that QUILLET_TEST_OUTPUT names."""

    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="test.", dir=os.environ["VDESK_DIR"]))
        self.speech = speech_file(self.folder)
        self.quillet = Quillet(self.folder)
        self.addCleanup(self.quillet.quit)

    def tearDown(self):
        result = self._outcome.result
        if not any(test is self for test, _ in result.failures + result.errors):
            return
        print(f"--- {self.id()}: the end of quillet-app's log", self.quillet.log_tail()
              if self.quillet.log.exists() else "(it was not started)", sep="\n", flush=True)
        kept = Path(os.environ.get("QUILLET_TEST_OUTPUT", self.folder), self.id().split(".", 1)[-1])
        shutil.rmtree(kept, ignore_errors=True)
        shutil.copytree(self.folder, kept, symlinks=True,
                        ignore=lambda _, names: [name for name in names if name.endswith(".sock")])
        screenshot(kept / "screen.png")
        print(f"--- kept in {kept}", flush=True)

    def open_editor(self):
        editor = Editor()
        self.addCleanup(editor.close)
        return editor

    def copy(self, text):
        owner = ClipboardOwner(text)
        self.addCleanup(owner.close)
        return owner

    def start_recording(self):
        press(*DICTATE)
        self.quillet.await_state("recording")

    def dictate(self):
        """The main job, from the first chord to the last."""
        self.start_recording()
        say(self.speech)
        press(*DICTATE)

    def await_text(self, editor, text, seconds=10):
        deadline = time.monotonic() + seconds
        while (seen := editor.text()) != text:
            if time.monotonic() > deadline:
                self.fail(f"{text!r} should stand in the {type(editor).__name__.lower()} within "
                          f"{seconds} s; there stands {seen!r}")
            time.sleep(0.005)
