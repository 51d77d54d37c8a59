"""A window with nothing but a page to type on."""

import sys

from PyQt6.QtWidgets import QApplication, QPlainTextEdit

application = QApplication(sys.argv)
page = QPlainTextEdit()
page.setWindowTitle("Qt editor")
page.resize(700, 400)
page.show()
sys.exit(application.exec())
