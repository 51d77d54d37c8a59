"""What follows a paste: a message is sent, a text is changed, what the user corrects is learnt."""

import signal
import time
import unittest

from desktop import clipboard, say, until
from keyboard import AMEND, CANCEL_SEND, DICTATE, press
from programs import Chat, QtEditor, Terminal
from quillet import ServedTest
from servers import Answer, messages_of


class AutoSend(ServedTest):
    said = "I am on my way"
    delay = 1.0  # seconds

    def setUp(self):
        super().setUp()
        self.hear(self.said)
        self.quillet.set("autoSend", "true")
        self.quillet.set("autoSendDelay", str(self.delay))
        self.quillet.start()

    def chat(self, key="enter"):
        return self.opened(Chat(self.folder, key))

    def let_the_delay_pass(self):
        time.sleep(self.delay + 0.5)

    def await_message(self, chat, *messages):
        """Waits for a message to be sent; these are all then."""
        until(lambda: len(chat.sent()) >= len(messages), 10, "the message to be sent")
        self.assertEqual(chat.sent(), list(messages))

    def test_a_message_is_sent_once(self):
        chat = self.chat()
        self.dictate_and_await(chat, self.said)
        pasted = time.monotonic()
        self.await_message(chat, self.said)
        self.assertGreater(time.monotonic() - pasted, self.delay / 2, "there was no time to object")
        self.let_the_delay_pass()
        self.assertEqual(chat.keys(), ["Ctrl+V", "Return"])

    def test_a_profile_goes_before_the_settings(self):
        chat, editor = self.chat("cmdEnter"), self.open_editor()
        self.dictate_and_await(editor, self.said)  # there is a profile for editors: no sending
        self.quillet.command("profiles", "set", chat.ID, "--auto-send", "true", "--send-key",
                             "cmdEnter", "--delay", "0.3")
        self.quillet.set("autoSendDelay", "60")
        chat.focus()
        self.dictate()
        self.await_message(chat, self.said)
        self.assertEqual(chat.keys(), ["Ctrl+V", "Ctrl+Return"])
        self.assertEqual(editor.text(), self.said)

    def test_the_keys_that_cancel_do_nothing_else(self):
        chat = self.chat()
        for count, chord in enumerate([("Escape",), CANCEL_SEND], 1):
            self.dictate_and_await(chat, self.said * count)
            press(*chord)
            self.let_the_delay_pass()
            self.assertEqual(chat.sent(), [], f"{chord} did not cancel")
        self.assertEqual(chat.keys(), ["Ctrl+V"] * 2)
        # Afterwards they are the application's again.
        press("Escape")
        until(lambda: chat.keys()[2:] == ["Esc"], 5, "Esc to arrive")

    def test_who_goes_on_writing_sends_for_himself(self):
        chat = self.chat()
        self.dictate_and_await(chat, self.said)
        press("x")
        self.let_the_delay_pass()
        self.assertEqual(chat.sent(), [])
        self.dictate_and_await(chat, f"{self.said}x{self.said}")
        press("Return")
        self.let_the_delay_pass()
        self.assertEqual(chat.keys(), ["Ctrl+V", "X", "Ctrl+V", "Return"])
        self.dictate()
        self.await_message(chat, f"{self.said}x{self.said}", self.said)

    def test_nothing_is_sent_into_another_application(self):
        editor, chat = self.opened(QtEditor()), self.chat()
        self.dictate_and_await(chat, self.said)
        editor.focus()
        self.let_the_delay_pass()
        self.assertEqual(editor.text(), "")
        chat.focus()
        self.dictate()
        self.await_message(chat, 2 * self.said)


class Amend(ServedTest):
    draft = "we meet on Monday"
    instruction = "make it Tuesday"
    changed = "We meet on Tuesday."

    def setUp(self):
        super().setUp()
        self.hear(*3 * [self.draft, self.instruction])
        self.model = self.rewrite(self.changed)
        self.quillet.start()

    def test_the_last_text_is_replaced(self):
        for editor in self.all_editors():
            press("x")
            self.dictate_and_await(editor, "x" + self.draft)
            self.dictate(AMEND)
            self.await_text(editor, "x" + self.changed)
            self.quillet.await_state("idle")
            self.assertEqual(messages_of(self.model.posts()[-1])[-1]["content"],
                             f"Instruction: {self.instruction}\n\n"
                             f"Selected text:\n<<<\n{self.draft}\n>>>")
        until(lambda: len(self.quillet.history()) == 6, 5, "the last history row")
        change, draft = self.quillet.json("history", "list", "--limit", "2")
        self.assertEqual((change["text"], draft["text"]), (self.changed, self.draft))
        self.assertEqual(change.get("replaces"), draft["id"])

    def test_what_is_not_found_is_copied(self):
        editor, terminal = self.open_editor(), self.opened(Terminal(self.folder))
        self.dictate()
        self.quillet.await_state("idle")
        self.amend_and_await_a_copy()
        press("Return")
        self.await_text(terminal, self.draft + "\n")
        editor.focus()
        self.dictate_and_await(editor, self.draft)
        press("x")
        self.amend_and_await_a_copy()
        self.assertEqual(editor.text(), self.draft + "x")

    def amend_and_await_a_copy(self):
        self.dictate(AMEND)
        self.quillet.await_panel_text("Couldn't find the last dictation — the change is copied")
        self.assertEqual(clipboard(), self.changed)
        self.quillet.await_state("idle")

    def test_only_what_was_dictated_here_is_changed(self):
        self.dictate_and_await(self.open_editor(), self.draft)
        editor = self.opened(QtEditor())
        press(*AMEND)
        self.quillet.await_panel_text(
            "Nothing dictated here to change — select text and use Fn+Ctrl+Shift")
        self.quillet.await_state("idle")
        self.assertEqual(editor.text(), "")
        self.assertEqual(self.model.posts(), [])


class HungProgram(ServedTest):
    def test_words_are_copied_while_the_last_ones_are_not_fetched(self):
        first, second = "for the program that hangs", "for whoever is in front"
        self.hear(first, second)
        self.quillet.start()
        other, hung = self.opened(QtEditor()), self.open_editor()
        self.copy("copied before")
        hung.process.send_signal(signal.SIGSTOP)
        self.dictate()
        until(self.quillet.history, 10, "the history row")
        self.quillet.await_state("idle")
        self.start_recording()
        say(self.speech)
        other.focus()
        press(*DICTATE)
        until(lambda: clipboard() == second, 10, "the words on the clipboard")
        self.quillet.await_state("idle")


class EditLearning(ServedTest):
    heard, meant = "hello wrld", "hello world"

    def setUp(self):
        super().setUp()
        # As with all servers, the chord is let go before the answer comes.
        self.hear(Answer(self.heard, delay=0.2))
        self.quillet.start()

    def correct(self, editor):
        """Mends the last word by keyboard."""
        for key in "Left", "Left", "Left", "o":
            press(key)
        self.await_text(editor, self.meant)

    def learnt(self):
        return [(pair["original"], pair["corrected"], pair["source"])
                for pair in self.quillet.json("vocabulary", "list")]

    def await_lesson(self):
        until(self.learnt, 10, "the correction in the vocabulary")
        self.assertEqual(self.learnt(), [("wrld", "world", "edit")])

    def test_by_the_next_dictation(self):
        for editor in self.all_editors():
            self.dictate_and_await(editor, self.heard)
            self.correct(editor)
            press("End")
            self.quillet.command("start")
            self.await_lesson()
            self.quillet.command("cancel")
            self.quillet.await_state("idle")
            self.dictate_and_await(editor, self.meant + self.meant)
            self.quillet.command("vocabulary", "remove", "wrld", "world")

    def test_by_sending(self):
        chat = self.opened(Chat(self.folder))
        self.dictate_and_await(chat, self.heard)
        self.correct(chat)
        # With each key the field is looked at again; on a slow machine a look may come to nothing.
        until(lambda: press("End") or self.quillet.has_logged("User started editing"), 10,
              "the correction to be seen")
        time.sleep(0.3)  # nobody corrects and sends at once
        press("Return")
        self.await_lesson()
        self.assertEqual(chat.sent(), [self.meant])
        self.dictate_and_await(chat, self.meant)


unittest.main(verbosity=2)
