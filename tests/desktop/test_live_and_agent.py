"""Dictations that are written while they are spoken, and those that a program asks for."""

import unittest

from desktop import WORDS, clipboard, say, speech_file, until
from keyboard import DICTATE, LIVE, press
from programs import PasswordDialog, QtEditor
from quillet import ServedTest


class LiveWriting(ServedTest):
    first, second = "this is the first part", "and this the second"

    def setUp(self):
        super().setUp()
        # A segment has at least 8 s, of which the last 2.5 are silent.
        self.segment = speech_file(self.folder, seconds=5.6, pause=2.5)
        self.server = self.hear(self.first, self.second)

    def start_writing(self):
        """Says the first segment; returns the editor in which it stands."""
        self.quillet.start()
        editor = self.open_editor()
        self.start_recording(LIVE)
        say(self.segment)
        self.await_text(editor, self.first)
        self.assertEqual(self.quillet.state(), "recording")
        return editor

    def finish(self):
        """Says the second segment."""
        say(self.speech)
        press(*LIVE)
        self.quillet.await_state("idle")
        entry, = until(lambda: self.quillet.json("history", "list"), 5, "the history row")
        self.assertEqual(entry["kind"], "live")
        self.assertEqual(entry["text"], f"{self.first} {self.second}")
        self.assertEqual(len(self.server.posts()), 2)

    def test_segments_are_typed_while_the_recording_goes_on(self):
        editor = self.start_writing()
        self.finish()
        self.await_text(editor, f"{self.first} {self.second}")

    def test_what_another_application_would_get_is_copied(self):
        editor = self.start_writing()
        other = self.opened(QtEditor())
        self.finish()
        self.quillet.await_panel_text("App changed — the rest is copied")
        self.assertEqual(clipboard().strip(), self.second)
        self.assertEqual((editor.text(), other.text()), (self.first, ""))

    def test_the_device_dictates_as_usual(self):
        self.quillet.set("sttEngineType", "apple")
        self.quillet.set("selectedLanguage", "English")
        self.quillet.start()
        editor = self.open_editor()
        self.start_recording(LIVE)
        self.quillet.await_panel_text(
            "Live mode isn't available with this engine — dictating normally")
        say(speech_file(self.folder))
        press(*LIVE)
        self.await_text(editor, WORDS)
        entry, = until(lambda: self.quillet.json("history", "list"), 5, "the history row")
        self.assertEqual(entry["kind"], "dictation")


class Agent(ServedTest):
    """What a program types and hears through Quillet."""

    heard = "yes, go on"

    def setUp(self):
        super().setUp()
        self.hear(self.heard)
        self.quillet.start()

    def test_a_program_types(self):
        text = "Grüße, 你好 😀\n\tand a second line"
        editor = self.open_editor()
        self.copy("copied before")
        self.quillet.command("type", text)
        self.await_text(editor, text)
        until(lambda: clipboard() == "copied before", 10, "the clipboard to be as it was")

    def test_a_program_types_only_where_the_user_would(self):
        editor = self.open_editor()
        self.start_recording()
        self.refused("Quillet is busy with a dictation", "type", "now")
        self.assertEqual(self.quillet.state(), "recording")
        press("Escape")
        self.quillet.await_state("idle")
        dialog = self.opened(PasswordDialog())
        self.refused("A password field is active", "type", "secret")
        self.assertEqual(dialog.text(), "")
        dialog.close()
        self.quillet.set("sessionBlacklist", '["com.apple.TextEdit"]')
        editor.focus()
        self.refused("The app in front is on Quillet's excluded list", "type", "excluded")
        self.assertEqual(editor.text(), "")

    def refused(self, sentence, *words):
        self.assert_refused(self.quillet.begin(*words), sentence)

    def assert_refused(self, program, sentence):
        said, complained = program.communicate(timeout=10)
        self.assertEqual(program.returncode, 1, said)
        self.assertEqual((said, complained.strip().removesuffix(".")), ("", "quillet: " + sentence))

    def listen(self, seconds):
        """A program that asks the user, who may answer now."""
        program = self.quillet.begin("dictate", "--seconds", str(seconds))
        self.addCleanup(program.communicate)
        self.addCleanup(program.kill)
        self.quillet.await_state("recording")
        return program

    def test_a_program_hears_what_is_said(self):
        editor = self.open_editor()
        program = self.listen(seconds=60)
        say(self.speech)
        press(*DICTATE)
        self.assertEqual(program.communicate(timeout=10), (self.heard + "\n", ""))
        self.assertEqual(program.returncode, 0)
        program = self.listen(seconds=2)
        say(self.speech)
        self.assertEqual(program.communicate(timeout=10), (self.heard + "\n", ""))
        self.quillet.await_state("idle")
        self.assertEqual(editor.text(), "")

    def test_a_program_hears_nothing(self):
        nothing = "No speech was captured, or the dictation was cancelled"
        self.start_recording()
        self.refused("Quillet is busy with another dictation", "dictate", "--seconds", "60")
        press("Escape")
        self.quillet.await_state("idle")
        self.refused(nothing, "dictate", "--seconds", "1")
        program = self.listen(seconds=60)
        press("Escape")
        self.assert_refused(program, nothing)


unittest.main(verbosity=2)
