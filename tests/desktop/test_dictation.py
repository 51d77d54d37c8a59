"""Quillet's promises, kept on a real desktop."""

import signal
import subprocess
import time
import unittest

from desktop import (WORDS, area_of, clipboard, differing_pixels, say, screenshot,
                     speakers_are_muted, speech_file, until)
from keyboard import DICTATE, PASTE_LAST, key_down, key_up, press
from programs import PasswordDialog, Terminal, active_window
from quillet import DesktopTest
from servers import SpeechServer


class Dictation(DesktopTest):
    def setUp(self):
        super().setUp()
        self.quillet.start()
        self.editor = self.open_editor()

    def test_a_chord_a_sentence_a_chord(self):
        self.copy("copied before")
        # Speaking starts with the chord: nobody waits for a program to be ready.
        press(*DICTATE)
        say(self.speech)
        press(*DICTATE)
        self.await_text(self.editor, WORDS)
        until(lambda: clipboard() == "copied before", 10, "the clipboard to be as it was")
        until(self.quillet.history, 5, "the history row")
        self.assertEqual(self.quillet.history(), [(WORDS, WORDS)])
        self.assertEqual(self.quillet.state(), "idle")

    def test_fn_and_control_are_a_chord_in_either_order(self):
        press("Control_R", "Control_L")
        self.quillet.await_state("recording")
        say(self.speech)
        press("Control_L", "Control_R")
        self.await_text(self.editor, WORDS)

    def test_a_held_chord_is_pressed_once(self):
        key_down(*DICTATE)
        self.quillet.await_state("recording")
        time.sleep(1.2)  # a real keyboard has repeated the key a dozen times by now
        self.assertEqual(self.quillet.state(), "recording")
        key_up(*DICTATE)
        self.assertEqual(self.quillet.state(), "recording")
        self.assertEqual(self.editor.text(), "", "the chord's own key reached the editor")

    def test_escape_cancels(self):
        self.start_recording()
        say(self.speech)
        press("Escape")
        self.quillet.await_state("idle")
        # What comes after a cancelled dictation stands alone.
        self.dictate()
        self.await_text(self.editor, WORDS)
        until(self.quillet.history, 5, "the history row")
        self.assertEqual(self.quillet.history(), [(WORDS, WORDS)])

    def test_the_last_result_is_pasted_again(self):
        self.dictate()
        self.await_text(self.editor, WORDS)
        self.quillet.await_state("idle")
        press("Return")
        self.await_text(self.editor, WORDS + "\n")
        press(*PASTE_LAST)
        self.await_text(self.editor, f"{WORDS}\n{WORDS}")

    def test_the_panel_shows_while_recording_and_leaves_the_focus_alone(self):
        before, during = self.folder / "before.png", self.folder / "during.png"
        self.assertEqual(self.quillet.visible_windows(), [])
        screenshot(before)
        self.start_recording()
        panel = until(self.quillet.visible_windows, 5, "the panel")[0]
        area = area_of(panel)
        until(lambda: screenshot(during) or differing_pixels(before, during, area) > 500, 5,
              "the panel to be drawn")
        self.assertEqual(active_window(), self.editor.id)
        press("Escape")
        until(lambda: not self.quillet.visible_windows(), 10, "the panel to go")
        self.assertEqual(active_window(), self.editor.id)


class OtherPrograms(DesktopTest):
    def setUp(self):
        super().setUp()
        self.quillet.start()

    def test_a_terminal_receives_the_words(self):
        terminal = Terminal(self.folder)
        self.addCleanup(terminal.close)
        self.dictate()
        until(self.quillet.history, 10, "the history row")
        self.quillet.await_state("idle")
        press("Return")
        self.await_text(terminal, WORDS + "\n")

    def test_what_the_user_copies_meanwhile_stays(self):
        editor = self.open_editor()
        self.copy("copied before")
        self.dictate()
        self.await_text(editor, WORDS)
        self.copy("copied meanwhile")
        # Well after the moment at which the old content would have come back.
        time.sleep(1.5)
        self.assertEqual(clipboard(), "copied meanwhile")

    def test_a_hung_clipboard_owner_holds_nothing_up(self):
        editor = self.open_editor()
        owner = self.copy("never to be pasted")
        owner.process.send_signal(signal.SIGSTOP)
        self.dictate()
        self.await_text(editor, WORDS)


    def test_a_password_field_is_not_dictated_into(self):
        dialog = PasswordDialog()
        self.addCleanup(dialog.close)
        press(*DICTATE)
        until(self.quillet.visible_windows, 5, "the panel that says so")
        self.quillet.await_state("idle")
        self.assertEqual(self.quillet.json("recordings", "list"), [])
        # Whatever happens to the look at text fields, the next one is as good.
        subprocess.run(["pkill", "-KILL", "-P", str(self.quillet.process.pid)], check=True)
        until(lambda: not self.quillet.visible_windows(), 15, "the panel to go")
        press(*DICTATE)
        until(self.quillet.visible_windows, 5, "the panel that says so again")
        self.quillet.await_state("idle")

    def test_a_server_gets_the_recording_and_its_own_key(self):
        server = SpeechServer("words of the server")
        self.addCleanup(server.close)
        self.quillet.set("sttEndpoint", server.endpoint)
        self.quillet.set("sttEngineType", "cloud")
        stored = self.quillet.run("keys", "set", "sttAPIKey", given="a secret\n")
        self.assertEqual(stored.returncode, 0, stored.stderr)
        editor = self.open_editor()
        self.dictate()
        self.await_text(editor, "words of the server")
        methods = [request.method for request in server.requests]
        self.assertEqual(methods, ["HEAD", "POST"], "the connection is opened before the upload")
        self.assertNotIn("Authorization", server.requests[0].headers)
        _, _, headers, body = server.requests[1]
        self.assertEqual(headers["Authorization"], "Bearer a secret")
        self.assertIn(b'name="language"\r\n\r\nen\r\n', body)
        self.assertIn(b"RIFF", body)
        # Another server is not given the key.
        other = SpeechServer("and another's")
        self.addCleanup(other.close)
        self.quillet.set("sttEndpoint", other.endpoint.replace("127.0.0.1", "localhost"))
        self.quillet.await_state("idle")
        self.dictate()
        self.await_text(editor, "words of the serverand another's")
        self.assertNotIn("Authorization", other.requests[-1].headers)
        self.assertNotIn("a secret", self.quillet.log_tail(1000))


class Lifetime(DesktopTest):
    def test_a_second_start_does_not_start_a_second_copy(self):
        self.quillet.start()
        second = self.quillet.launch()
        self.addCleanup(second.kill)
        until(lambda: second.poll() is not None, 10, "the second copy to end")
        editor = self.open_editor()
        self.dictate()
        self.await_text(editor, WORDS)

    def test_a_recording_survives_a_kill(self):
        self.quillet.start()
        self.start_recording()
        # The last second may be lost; here it is silent.
        say(speech_file(self.folder, pause=1.5))
        self.quillet.kill()
        self.quillet.start()
        editor = self.open_editor()
        recordings = self.quillet.json("recordings", "list")
        self.assertEqual(len(recordings), 1, recordings)
        self.quillet.command("recordings", "send", recordings[0]["id"])
        self.await_text(editor, WORDS)

    def test_speakers_are_as_before_after_a_kill(self):
        self.quillet.set("muteSystemAudioWhileRecording", "true")
        self.quillet.start()
        self.start_recording()
        until(speakers_are_muted, 5, "the speakers to be muted")
        self.quillet.kill()
        self.assertTrue(speakers_are_muted(), "a killed program cannot have tidied up")
        self.quillet.start()
        until(lambda: not speakers_are_muted(), 5, "the speakers to be heard again")

    def test_speakers_are_as_before_after_a_dictation(self):
        self.quillet.set("muteSystemAudioWhileRecording", "true")
        self.quillet.start()
        self.start_recording()
        until(speakers_are_muted, 5, "the speakers to be muted")
        press("Escape")
        until(lambda: not speakers_are_muted(), 5, "the speakers to be heard again")


unittest.main(verbosity=2)
