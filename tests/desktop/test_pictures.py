"""Pictures of all windows, in both languages, light and dark. QUILLET_PICTURES names the folder that
keeps them; without it they go with the test."""

import os
import re
import subprocess
import unittest
from pathlib import Path

import test_night
from accessible import AccessibleWindows, ShownWindow
from desktop import output_of, say, until
from keyboard import DICTATE, press
from programs import Chat
from quillet import ServedTest
from servers import Answer
from test_night import NOTHING_TO_REMOVE, review_reply, term

SMALLEST_SCREEN = (1024, 600)
FEWEST_COLOURS = 8
PAGES = ["general", "recognition", "writing", "vocabulary", "apps", "memory", "meetings", "mcp",
         "privacy"]
GUIDE_STEPS = 5
WIDTH_WITHOUT_WORDS = 200

# The colours of a desktop that is dark, in the file in which its settings are kept.
DARK = {"Window": ("42,46,50", "252,252,252"), "Button": ("49,54,59", "252,252,252"),
        "View": ("27,30,32", "252,252,252"), "Selection": ("61,174,233", "252,252,252"),
        "Tooltip": ("49,54,59", "252,252,252")}
FURTHER = ("BackgroundAlternate=35,38,41\nForegroundInactive=161,169,177\n"
           "ForegroundLink=29,153,243\nForegroundVisited=155,89,182\n")


def dark_desktop(home):
    """Makes a home's desktop a dark one; returns what its programs find in their environment."""
    colours = [f"[Colors:{part}]\nBackgroundNormal={ground}\nForegroundNormal={text}\n{FURTHER}"
               for part, (ground, text) in DARK.items()]
    settings = home / ".config/kdeglobals"
    settings.parent.mkdir(exist_ok=True)
    settings.write_text("\n".join(colours))
    return {"XDG_CURRENT_DESKTOP": "KDE", "KDE_FULL_SESSION": "true", "KDE_SESSION_VERSION": "5"}


def smallest_size(window):
    """What a window needs on the screen at least, with its frame."""
    told = output_of("xprop", "-id", window.id, "WM_NORMAL_HINTS", "_NET_FRAME_EXTENTS")
    size = re.search(r"minimum size: (\d+) by (\d+)", told)
    left, right, top, bottom = map(int, re.search(r"EXTENTS.*= (\d+), (\d+), (\d+), (\d+)",
                                                  told).groups())
    return int(size[1]) + left + right, int(size[2]) + top + bottom


class Pictures(ServedTest):
    said = "我在路上了，十分钟后到。"

    def setUp(self):
        super().setUp()
        self.pictures = Path(os.environ.get("QUILLET_PICTURES", self.folder))

    def take(self, name, window):
        """Takes the picture of a window once it holds still, at most a second."""
        file = self.pictures / f"{self.look}-{name}.png"
        before = None
        for _ in range(10):
            subprocess.run(["import", "-window", window.id, file], check=True)
            now = output_of("identify", "-format", "%#", file)
            if now == before:
                break
            before = now
        if int(output_of("identify", "-format", "%k", file)) < FEWEST_COLOURS:
            self.poor.append(f"{file.name} is blank")

    def take_window(self, name, window):
        self.take(name, window)
        needed = smallest_size(window)
        if any(need > there for need, there in zip(needed, SMALLEST_SCREEN)):
            self.poor.append(f"{self.look}-{name} needs {needed[0]}x{needed[1]}")

    def close(self, window):
        press("Escape")
        until(lambda: not window.is_open(), 5, "the window to close")

    def prepare(self, language, scheme):
        self.look = f"{language}-{scheme}"
        if scheme == "dark":
            self.quillet.environment.update(dark_desktop(self.quillet.home))
        self.quillet.set("language", language)
        self.remember("We give Acme ten percent off from fifty seats on.",
                      "I promised Ann the contract by Friday.", "我用配森写脚本", "江纳森明天来",
                      "给江纳森打电话", *[f"Call number {number} went well." for number in range(40)])
        self.rewrite(review_reply(
            [term("江纳森", "Jonathan", 4, 5), term("配森", "Python", 3, confidence=0.8)],
            [{"id": 3, "sent": "我用配森写脚本", "fixed": "我用 Python 写脚本", "reason": "a word"}],
            "The user has a friend, Jonathan.", ["Jonathan"]), NOTHING_TO_REMOVE,
            test_night.KnowledgeBase.distilled)
        for setting in "autoSend", "showsTextWhileSpeaking":
            self.quillet.set(setting, "true")
        self.quillet.set("autoSendDelay", "60")
        self.quillet.set("selectedLanguage", "English")
        self.answer = Answer.held(self.said)
        self.server = self.hear(self.answer, "")
        self.quillet.start()

    def take_panel(self):
        service = f"speech@{self.server.address}"
        chat = self.opened(Chat(self.folder))
        self.quillet.command("consent", "reset", service)
        shown = AccessibleWindows(self.quillet.process.pid)
        self.start_recording()
        panel, = until(shown.all, 5, "the panel")
        self.take("panel-recording", panel)
        say(self.speech)
        until(lambda: panel.width() > WIDTH_WITHOUT_WORDS, 10, "the words on the panel")
        self.take("panel-words", panel)
        dialog = shown.opened_by(lambda: press(*DICTATE), "the question").await_front()
        self.take_window("consent", dialog)
        self.close(dialog)
        recognised_here = until(chat.text, 10, "what this device recognised")
        self.take("panel-countdown-refused", panel)
        press("Escape")
        self.quillet.command("consent", "allow", service)
        self.dictate()
        until(self.server.posts, 5, "the speech to be sent")
        self.take("panel-working", panel)
        self.answer.given.set()
        until(lambda: len(chat.text()) > len(recognised_here), 10, "the text in the chat")
        self.take("panel-countdown", panel)
        press("Escape")
        self.dictate()  # the server hears nothing this time
        self.quillet.await_state("idle")
        self.take("panel-notice", panel)
        chat.close()

    def take_windows(self):
        self.quillet.command("review", "run")
        self.quillet.command("knowledge", "run")
        dictations = len(self.quillet.history())
        for kind in "history", "recordings", "review", "knowledge", "meetings":
            window = self.quillet.open(kind)
            self.take_window(kind, window)
            if kind == "history":
                press("Down")  # from the search to the list
                press("Delete")
                until(lambda: len(self.quillet.history()) < dictations, 5, "one to be deleted")
                self.take("history-deleted", window)
            self.close(window)
        settings = self.quillet.open("settings")
        for page in PAGES:
            self.take_window(f"settings-{page}", settings)
            press("Down")
        self.close(settings)
        guide = self.quillet.open("guide")
        for step in range(1, GUIDE_STEPS + 1):
            self.take_window(f"guide-{step}", guide)
            press("space")
        self.close(guide)
        before = set(self.quillet.visible_windows())
        self.quillet.command()
        menu = until(lambda: set(self.quillet.visible_windows()) - before, 5, "the menu")
        self.take("menu", ShownWindow(self.quillet.process.pid, menu.pop()))

    def check(self, language, scheme):
        self.poor = []
        self.prepare(language, scheme)
        self.take_panel()
        self.take_windows()
        self.assertEqual(self.poor, [])

    def test_english_light(self):
        self.check("en", "light")

    def test_english_dark(self):
        self.check("en", "dark")

    def test_chinese_light(self):
        self.check("zh_CN", "light")

    def test_chinese_dark(self):
        self.check("zh_CN", "dark")


if __name__ == "__main__":
    unittest.main(verbosity=2)
