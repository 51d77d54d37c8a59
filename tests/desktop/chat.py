"""A chat: chat.py KEY FILE sends what is written when KEY is pressed, "enter" or "cmdEnter" (with
Ctrl); Return alone begins a new line there. Whatever happens is a line of JSON at FILE's end: a
message that was sent, or a key that arrived."""

import json
import sys

from PyQt6.QtCore import Qt
from PyQt6.QtGui import QKeySequence
from PyQt6.QtWidgets import QApplication, QPlainTextEdit

MODIFIERS = (Qt.Key.Key_Control, Qt.Key.Key_Shift, Qt.Key.Key_Alt, Qt.Key.Key_AltGr,
             Qt.Key.Key_Meta, Qt.Key.Key_Super_L, Qt.Key.Key_Super_R)


class Message(QPlainTextEdit):
    def __init__(self, modifier, file):
        super().__init__()
        self.modifier = modifier
        self.file = file

    def keyPressEvent(self, event):
        if event.key() not in MODIFIERS:
            self.note(key=QKeySequence(event.keyCombination()).toString())
        if event.key() != Qt.Key.Key_Return or event.modifiers() != self.modifier:
            super().keyPressEvent(event)
        elif self.toPlainText():
            self.note(sent=self.toPlainText())
            self.clear()

    def note(self, **event):
        with open(self.file, "a") as file:
            file.write(json.dumps(event) + "\n")


_, key, file = sys.argv
application = QApplication(sys.argv)
message = Message(Qt.KeyboardModifier.ControlModifier if key == "cmdEnter" else
                  Qt.KeyboardModifier.NoModifier, file)
message.setWindowTitle("Chat")
message.resize(700, 400)
message.show()
sys.exit(application.exec())
