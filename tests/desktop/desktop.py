"""A virtual desktop as its user meets it: sound, screen, clipboard, and patience.

Everything here runs inside scripts/virtual-desktop and without Quillet's knowledge.
"""

import os
import re
import signal
import subprocess
import time
from contextlib import contextmanager
from pathlib import Path

# Two people, and what they say.
RECORDINGS = Path("/usr/share/pocketsphinx/test/data")
SPEECH = RECORDINGS / "goforward.raw"
WORDS = "go forward ten meters"
OTHER_SPEECH = RECORDINGS / "cards/003.wav"
OTHER_WORDS = "seven of clubs"


def until(condition, seconds, what):
    """Waits until condition() is true and returns what it gave; fails with a sentence otherwise."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {seconds} s in vain for {what}; last seen: {value!r}")
        time.sleep(0.005)


def output_of(*command, **options):
    """What a command prints; empty when it fails."""
    run = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE,
                         stderr=subprocess.DEVNULL, text=True, timeout=20, **options)
    return run.stdout.strip() if run.returncode == 0 else ""


# ---- Sound, screen, clipboard --------------------------------------------------------------------


def speech_file(folder, pause=0.0, seconds=None):
    """A recording of somebody who says WORDS, or repeats them for just so many seconds, and is
    silent for `pause` seconds afterwards."""
    path = Path(folder, f"speech-{seconds}-{pause}.wav")
    cut = ["repeat", "-", "trim", "0", str(seconds)] if seconds else []
    return _converted(SPEECH, path, *cut, "pad", "0", str(pause))


def prompt_speech_file(folder, recording):
    """A recording that begins with its first sound."""
    return _converted(recording, Path(folder, f"{recording.stem}.wav"), "silence", "1", "0.02", "1%")


def _converted(recording, path, *effects):
    headless = ["-t", "raw", "-r", "16000", "-e", "signed", "-b", "16", "-c", "1"]
    subprocess.run(["sox", *(headless if recording.suffix == ".raw" else []), recording, path,
                    *effects], check=True)
    return path


def say(file, into="micfeed"):
    """Plays a file into the microphone; returns when its last sample was played."""
    subprocess.run(["paplay", f"--device={into}", file], check=True)


def play(file):
    """Plays a file to the speakers, or whatever is the output now; returns when it was played."""
    subprocess.run(["paplay", file], check=True)


class Headset:
    """Speakers and a microphone that are plugged in, and in use, until they are unplugged."""

    FEED = "headset-feed"  # what is played to it is heard by the headset's microphone

    def __init__(self):
        parts = [("module-null-sink", "sink_name=headset", "rate=48000", "norewinds=1"),
                 ("module-null-sink", f"sink_name={self.FEED}", "rate=16000", "channels=1",
                  "norewinds=1"),
                 ("module-remap-source", "source_name=headset-mic", f"master={self.FEED}.monitor")]
        self._parts = [output_of("pactl", "load-module", *part) for part in parts]
        subprocess.run(["pactl", "set-default-sink", "headset"], check=True)
        subprocess.run(["pactl", "set-default-source", "headset-mic"], check=True)

    def unplug(self):
        for part in reversed(self._parts):
            subprocess.run(["pactl", "unload-module", part], check=True)


@contextmanager
def hung_sound_server():
    """The sound server of this desktop does not answer meanwhile."""
    desktop = f"VDESK_ID={os.environ['VDESK_ID']}".encode()
    server, = (int(process) for process in output_of("pgrep", "-x", "pulseaudio").split()
               if desktop in Path(f"/proc/{process}/environ").read_bytes().split(b"\0"))
    os.kill(server, signal.SIGSTOP)
    try:
        yield
    finally:
        os.kill(server, signal.SIGCONT)


def speakers_are_muted():
    return output_of("pactl", "get-sink-mute", "spk") == "Mute: yes"


def screenshot(path):
    subprocess.run(["import", "-window", "root", path], check=True)


def area_of(window):
    """The place of a window on the screen, as differing_pixels takes it."""
    shell = dict(re.findall(r"^(\w+)=(\d+)$",
                            output_of("xdotool", "getwindowgeometry", "--shell", window), re.M))
    return "{WIDTH}x{HEIGHT}+{X}+{Y}".format(**shell)


def differing_pixels(one, other, area=""):
    """How many pixels differ between two screenshots, within an area such as 300x80+20+30."""
    crop = ["-crop", area, "+repage"] if area else []
    run = subprocess.run(["compare", "-metric", "AE", one, other, *crop, "null:"],
                         stderr=subprocess.PIPE, text=True)
    return int(float(run.stderr.split()[0]))


def clipboard():
    return output_of("timeout", "5", "xclip", "-selection", "clipboard", "-out")


class ClipboardOwner:
    """A program that copied a text, and from which others paste it."""

    def __init__(self, text):
        self.process = subprocess.Popen(["xclip", "-quiet", "-selection", "clipboard", "-in"],
                                        stdin=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.process.stdin.write(text)
        self.process.stdin.close()
        until(lambda: clipboard() == text, 5, "xclip to own the clipboard")

    def close(self):
        self.process.kill()
        self.process.wait()
