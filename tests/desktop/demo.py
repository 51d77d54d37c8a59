"""The main job, shown: demo.py FOLDER dictates one sentence into an editor, prints what happened and
leaves two screenshots in FOLDER. Fails when the words did not land."""

import os
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from desktop import WORDS, area_of, differing_pixels, say, screenshot, speech_file, until
from keyboard import DICTATE, key_down, key_up, press
from programs import Editor
from quillet import Quillet


def tell(label, value):
    print(f"{label + ':':22}{value}", flush=True)


def wait_for_text(editor):
    """The moment at which text stands in the editor."""
    until(editor.text, 15, "words in the editor")
    return time.monotonic()


def picture_with_words(editor, before, path):
    """A screenshot on which the editor has drawn what it was given."""
    def drawn():
        screenshot(path)
        return differing_pixels(before, path, area_of(editor.id)) > 200
    until(drawn, 5, "words on the screen")


def show(quillet, folder, pictures):
    subprocess.run(["xsetroot", "-solid", "#46525f"], check=True)
    quillet.set("showsTextWhileSpeaking", "true")
    quillet.start()
    editor = Editor()
    speech = speech_file(folder, pause=0.2)
    press(*DICTATE)
    quillet.await_state("recording")
    with ThreadPoolExecutor() as beside:
        spoken = beside.submit(say, speech)
        time.sleep(1.9)  # in the middle of the sentence
        screenshot(pictures / "demo-recording.png")
        spoken.result()
    key_down(*DICTATE)
    stopped = time.monotonic()
    key_up(*DICTATE)
    landed = wait_for_text(editor)
    picture_with_words(editor, pictures / "demo-recording.png", pictures / "demo.png")
    until(quillet.history, 5, "the row in the history")

    tell("Said", f"{WORDS!r} ({speech.name}, recorded human speech)")
    tell("Landed in the editor", repr(editor.text()))
    tell("From chord to text", f"{(landed - stopped) * 1000:.0f} ms")
    for raw, final in quillet.history():
        tell("In the history", f"heard {raw!r}, wrote {final!r}")
    tell("Screenshots", f"{pictures / 'demo.png'}, {pictures / 'demo-recording.png'}")
    text = editor.text()
    editor.close()
    return text


def main():
    pictures = Path(sys.argv[1])
    folder = Path(tempfile.mkdtemp(prefix="demo.", dir=os.environ["VDESK_DIR"]))
    quillet = Quillet(folder)
    try:
        if show(quillet, folder, pictures) == WORDS:
            return
        print("The words that landed are not the ones that were said.", file=sys.stderr)
    except AssertionError as error:
        screenshot(pictures / "demo.png")
        print(f"The words did not land: {error}.\nThe screen is in {pictures / 'demo.png'}. "
              f"The end of quillet-app's log:", file=sys.stderr)
        print(quillet.log_tail(15) if quillet.log.exists() else "(none)", file=sys.stderr)
    finally:
        quillet.quit()
    sys.exit(1)


main()
