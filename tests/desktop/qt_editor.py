"""A window with nothing but a page to type on, which begins with the text that is given."""

import sys

from PyQt6.QtWidgets import QApplication, QPlainTextEdit

application = QApplication(sys.argv)
page = QPlainTextEdit(" ".join(sys.argv[1:]))
page.setWindowTitle("Qt editor")
page.resize(700, 400)
page.show()
sys.exit(application.exec())
