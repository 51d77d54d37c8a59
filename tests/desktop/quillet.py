"""Quillet, and the tests' common ground. QUILLET_BIN names the folder with the programs."""

import json
import os
import shutil
import sqlite3
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from accessible import AccessibleWindows
from desktop import ClipboardOwner, output_of, say, screenshot, speech_file, until
from keyboard import DICTATE, press
from programs import Editor, QtEditor, TextArea, accessible_program, children, named
from servers import LanguageServer, SpeechServer


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
        self.note("firstRunGuideSeenV1")

    # The command

    def run(self, *words, given=None):
        """Runs the command, with a text on its standard input, and returns its completed process."""
        return subprocess.run([self.programs / "quillet", *words], env=self.environment, text=True,
                              capture_output=True, timeout=30, input=given)

    def begin(self, *words):
        """The command as a process that has just begun."""
        return subprocess.Popen([self.programs / "quillet", *words], env=self.environment,
                                text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

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
        # Who enters a server's address here lets it be used.
        purpose = {"sttEndpoint": "speech", "llmBaseURL": "language-model"}.get(name)
        if purpose and value:
            self.command("consent", "allow", f"{purpose}@{value}")

    def note(self, flag, shown=True):
        """Notes among the user's defaults whether something has been shown."""
        defaults = self.home / ".config/quillet/defaults.json"
        defaults.write_text(json.dumps(json.loads(defaults.read_text()) | {flag: shown}))

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

    def open(self, kind):
        """Opens one of its windows with the command."""
        return AccessibleWindows(self.process.pid).opened_by(
            lambda: self.command("open", kind), f"the window that is called {kind!r}")

    def visible_windows(self):
        found = output_of("xdotool", "search", "--onlyvisible", "--pid", self.process.pid)
        return found.split()

    def panel_text(self):
        """The sentence on the panel; empty while it shows none."""
        windows = children(accessible_program(self.process.pid))
        return next((window.get_description() for window in windows
                     if window.get_name() == "Quillet status"), "")

    def await_panel_text(self, text):
        until(lambda: self.panel_text() == text, 10, f"the panel to say {text!r}")

    def shown(self, name):
        """What one of its windows shows under this name, as accessibility has it; None if none
        does."""
        return named(accessible_program(self.process.pid), name)

    def choose(self, place):
        """Opens the menu and chooses the item at this place, from 1; grey ones do not count."""
        before = set(self.visible_windows())
        self.command()
        until(lambda: set(self.visible_windows()) - before, 5, "the menu")
        for key in place * ["Down"] + ["Return"]:
            press(key)

    def has_logged(self, sentence):
        return sentence in self.log.read_text()

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

    def start_recording(self, chord=DICTATE):
        press(*chord)
        self.quillet.await_state("recording")

    def dictate(self, chord=DICTATE):
        """The main job, from the first chord to the last."""
        self.start_recording(chord)
        say(self.speech)
        press(*chord)

    def await_text(self, editor, text, seconds=10):
        deadline = time.monotonic() + seconds
        while (seen := editor.text()) != text:
            if time.monotonic() > deadline:
                self.fail(f"{text!r} should stand in the {type(editor).__name__.lower()} within "
                          f"{seconds} s; there stands {seen!r}")
            time.sleep(0.005)


class ServedTest(DesktopTest):
    """A test for which somebody must speak; what they say is up to the server."""

    def setUp(self):
        super().setUp()
        self.speech = speech_file(self.folder, seconds=1.2)
        self.quillet.set("selectedLanguage", "mixed")
        self.quillet.set("dictationOutputMode", "raw")

    def serve(self, server):
        self.addCleanup(server.close)
        return server

    def hear(self, *answers):
        server = self.serve(SpeechServer(*answers))
        self.quillet.set("sttEngineType", "cloud")
        self.quillet.set("sttEndpoint", server.endpoint)
        return server

    def rewrite(self, *answers):
        """Lets a language model with these answers do what Quillet asks for."""
        model = self.serve(LanguageServer(*answers))
        self.quillet.set("llmEnabled", "true")
        self.quillet.set("llmModel", "test-model")
        self.quillet.set("llmBaseURL", model.address)
        return model

    def remember(self, *texts):
        """Puts dictations of the last hour into the history while Quillet does not run."""
        self.quillet.start()  # it makes the database
        self.quillet.quit()
        begin = time.time() - 3600
        with sqlite3.connect(self.quillet.home / ".quillet/sessions.db") as database:
            database.execute("INSERT INTO sessions (id, started_at, app_bundle_id, app_display_name)"
                             " VALUES ('day', ?, 'mail', 'Mail')", [begin])
            database.executemany(
                "INSERT INTO transcript_entries (id, session_id, timestamp, raw_text, final_text)"
                " VALUES (?, 'day', ?, ?, ?)",
                [(f"entry-{number}", begin + number, text, text)
                 for number, text in enumerate(texts, 1)])

    def vocabulary(self):
        return {pair["original"]: pair["corrected"]
                for pair in self.quillet.json("vocabulary", "list")}

    def opened(self, program):
        self.addCleanup(program.close)
        return program

    def all_editors(self):
        """Opens one editor of each kind; each has the focus when its turn comes."""
        editors = self.open_editor(), self.opened(QtEditor()), self.opened(TextArea(self.folder))
        for editor in editors:
            editor.focus()
            yield editor

    def dictate_and_await(self, editor, text):
        """Dictates once more; `text` is all that stands in the editor then."""
        self.dictate()
        self.await_text(editor, text)
        self.quillet.await_state("idle")
