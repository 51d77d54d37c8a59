"""What is written, and where: by scripted servers, into all kinds of programs."""

import json
import unittest

from desktop import WORDS, clipboard, speech_file, until
from keyboard import COMMAND, PASTE_LAST, TRANSLATE, active_layout, press, set_layouts
from programs import InputMethod, QtEditor, Terminal, TextArea
from quillet import ServedTest
from servers import Answer, messages_of

HEARD = "我们先把这个 feature 的 bug 修好 , 然后 review 一下代码."
WRITTEN = "我们先把这个 feature 的 bug 修好，然后 review 一下代码。"


class MixedWriting(ServedTest):
    """The same mixture of Chinese and English arrives the same wherever it is typed."""

    def setUp(self):
        super().setUp()
        self.hear(HEARD)
        self.quillet.start()

    def test_in_a_gtk_editor(self):
        self.dictate_and_await(self.open_editor(), WRITTEN)
        self.assertEqual(until(self.quillet.history, 5, "the history row"), [(HEARD, WRITTEN)])

    def test_in_a_qt_editor(self):
        self.dictate_and_await(self.opened(QtEditor()), WRITTEN)

    def test_in_a_text_area_of_a_browser(self):
        self.dictate_and_await(self.opened(TextArea(self.folder)), WRITTEN)

    def test_in_a_terminal(self):
        self.copy("copied before")
        terminal = self.opened(Terminal(self.folder))
        self.dictate()
        # The terminal has fetched the words once the clipboard is given back.
        until(self.quillet.history, 10, "the history row")
        until(lambda: clipboard() == "copied before", 10, "the clipboard to be as it was")
        press("Return")
        self.await_text(terminal, WRITTEN + "\n")


class InputMethods(ServedTest):
    """However the user types, the words arrive unchanged and typing goes on as before."""

    def setUp(self):
        super().setUp()
        self.addCleanup(set_layouts, "us")
        self.hear(WRITTEN)
        self.quillet.start()

    def test_a_layout_that_does_not_write_latin_is_active_again_afterwards(self):
        set_layouts("gr,ru,us", active=1)
        self.dictate_and_await(self.open_editor(), WRITTEN)
        until(lambda: active_layout() == 1, 5, "the Russian layout")

    def test_layouts_in_which_v_is_elsewhere_or_nowhere(self):
        editors = self.open_editor(), self.opened(QtEditor())
        for count, (layout, variant) in enumerate([("us", "dvorak"), ("ru", "")], 1):
            set_layouts(layout, variant)
            for editor in editors:
                editor.focus()
                self.dictate_and_await(editor, WRITTEN * count)

    def test_an_input_method_stays_on_and_leaves_the_words_alone(self):
        method = self.opened(InputMethod())
        editor = self.opened(method.open_editor())
        for key in method.KEYS:
            press(key)
        self.await_text(editor, method.WRITES)
        self.dictate_and_await(editor, method.WRITES + WRITTEN)
        for key in method.KEYS:
            press(key)
        self.await_text(editor, method.WRITES + WRITTEN + method.WRITES)


class Modes(ServedTest):
    """What a language model makes of a dictation."""

    said = "um push the release to Monday no wait Tuesday"
    meant = "Push the release to Tuesday."

    def setUp(self):
        super().setUp()
        self.hear(self.said)

    def ask(self, mode, *answers):
        """Starts Quillet with a language model and an editor."""
        model = self.rewrite(*answers)
        self.quillet.set("dictationOutputMode", mode)
        self.quillet.start()
        return model, self.open_editor()

    def dictate_until_asked(self, model):
        self.dictate()
        until(model.posts, 10, "the language model to be asked")
        self.assertEqual(self.quillet.state(), "refining")

    def test_smart(self):
        model, editor = self.ask("smart", self.meant)
        self.dictate_and_await(editor, self.meant)
        until(self.quillet.history, 5, "the history row")
        self.assertEqual(self.quillet.history(), [(self.said, self.meant)])
        request, = model.posts()
        self.assertEqual(request.path, "/v1/chat/completions")
        self.assertEqual(json.loads(request.body)["model"], "test-model")
        messages = messages_of(request)
        self.assertEqual([message["role"] for message in messages],
                         ["system"] + 13 * ["user", "assistant"] + ["user"])
        self.assertEqual(messages[-1]["content"], self.said)

    def test_polish(self):
        # More than one line is for polishing only.
        reply = "The release:\n\n- not on Monday\n- on Tuesday"
        model, editor = self.ask("polish", reply)
        self.dictate_and_await(editor, reply)
        request, = model.posts()
        self.assertEqual([message["role"] for message in messages_of(request)], ["system", "user"])

    def test_a_spoken_command(self):
        reply = "Dear Ann,\n\nthe release is on Tuesday."
        model, editor = self.ask("raw", reply)
        self.dictate(COMMAND)
        self.await_text(editor, reply)
        request, = model.posts()
        self.assertTrue(messages_of(request)[-1]["content"].startswith(f"Instruction: {self.said}"))

    def test_a_command_rewrites_what_is_selected(self):
        draft, reply = "release 改到周二吧，Monday 来不及了", "The release moves to Tuesday."
        self.hear(*3 * [draft, self.said])
        model, gtk = self.ask("raw", reply)
        for editor in gtk, self.opened(QtEditor()), self.opened(TextArea(self.folder)):
            editor.focus()
            self.dictate_and_await(editor, draft)
            press("Control_L", "a")
            self.dictate(COMMAND)
            self.await_text(editor, reply)
            self.assertEqual(messages_of(model.posts()[-1])[-1]["content"],
                             f"Instruction: {self.said}\n\nSelected text:\n<<<\n{draft}\n>>>")
            self.quillet.await_state("idle")

    def test_a_command_that_fails_leaves_the_selection_alone(self):
        draft = "three long pages of a draft"
        self.hear(draft, self.said)
        model, editor = self.ask("raw", Answer(status=500))
        self.dictate_and_await(editor, draft)
        press("Control_L", "a")
        self.dictate(COMMAND)
        until(model.posts, 10, "the language model to be asked")
        self.quillet.await_state("idle")
        self.assertEqual(editor.text(), draft)
        press("End")
        press(*PASTE_LAST)
        self.await_text(editor, draft + self.said)

    def test_a_translation(self):
        self.quillet.set("translationTarget", "German")
        model, editor = self.ask("raw")
        self.dictate(TRANSLATE)
        self.await_text(editor, f"[{self.said}]")
        request, = model.posts()
        self.assertIn("German", messages_of(request)[0]["content"])

    def test_what_a_model_does_not_improve_is_typed_as_heard(self):
        model, editor = self.ask("smart", Answer(status=500), 10 * self.said,
                                 Answer("Push the", finish_reason="length"))
        for count in 1, 2, 3:
            self.dictate_and_await(editor, count * self.said)
            self.assertEqual(len(model.posts()), count)

    def test_escape_does_not_discard_what_is_being_refined(self):
        answer = Answer.held(self.meant)
        model, editor = self.ask("smart", answer)
        self.dictate_until_asked(model)
        press("Escape")
        self.assertEqual(self.quillet.state(), "refining")
        answer.given.set()
        self.await_text(editor, self.meant)

    def test_nothing_of_a_cancelled_dictation_is_typed(self):
        answer = Answer.held("Too late.")
        model, editor = self.ask("smart", answer, self.meant)
        self.dictate_until_asked(model)
        self.quillet.command("cancel")
        self.quillet.await_state("idle")
        answer.given.set()
        self.dictate_and_await(editor, self.meant)


class Race(ServedTest):
    def test_the_device_takes_over_from_a_server_that_fails(self):
        self.quillet.set("selectedLanguage", "English")
        self.speech = speech_file(self.folder)
        server = self.hear(Answer(status=500))
        self.quillet.start()
        self.dictate_and_await(self.open_editor(), WORDS)
        self.assertTrue(server.posts(), "the server was not asked")


class Vocabulary(ServedTest):
    def test_a_correction_counts_from_the_next_dictation_on(self):
        heard = "quill it 用配森写 price 和 prices"
        self.hear(heard)
        self.quillet.start()
        editor = self.open_editor()
        self.dictate_and_await(editor, heard)
        self.quillet.command("vocabulary", "add", "Quill it", "Quillet")
        self.quillet.command("vocabulary", "add", "配森", "Python")
        self.quillet.command("vocabulary", "add", "price", r"$1 \0")
        self.dictate_and_await(editor, heard + r"Quillet 用Python写 $1 \0 和 prices")

    def test_a_snippet_is_typed_as_it_was_saved(self):
        saved = "  Ann  Lee , 😀\n\n$1 \\0 \\\\ .* ...\tend. \n"
        self.hear("插入我的地址。", "把我的地址发给他")
        self.quillet.start()
        editor = self.open_editor()
        self.quillet.command("snippets", "add", "我的地址", saved)
        self.dictate_and_await(editor, saved)
        self.dictate_and_await(editor, saved + "把我的地址发给他")


unittest.main(verbosity=2)
