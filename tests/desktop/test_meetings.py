"""Meetings: both sides of a call are heard, written down and found again."""

import array
import json
import re
import subprocess
import time
import unittest
import wave
from collections import namedtuple
from concurrent.futures import ThreadPoolExecutor
from contextlib import suppress

from desktop import (OTHER_SPEECH, OTHER_WORDS, SPEECH, WORDS, Headset, hung_sound_server,
                     loudspeakers_in_the_microphone, output_of, play, prompt_speech_file, say,
                     speakers_are_muted, until)
from keyboard import DICTATE, press
from quillet import DesktopTest, ServedTest
from servers import Answer, messages_of

Line = namedtuple("Line", "time speaker text")
ME, OTHER = "Me", "Other side"
MIC, SPEAKERS = 0, 1  # channels of the audio that is kept


def lines_of(note):
    """The transcript at the end of a note; times in seconds."""
    transcript = note.partition("\n## 转写\n\n")[2]
    found = re.findall(r"^\[(\d+):(\d\d)\] (?:(.+?): )?(.*)$", transcript, re.M)
    return [Line(60 * int(minutes) + int(seconds), speaker, text)
            for minutes, seconds, speaker, text in found]


def loudness(file, channel, begin, end):
    """The largest sample of a channel of a sound file between two seconds."""
    with wave.open(str(file)) as audio:
        rate, channels = audio.getframerate(), audio.getnchannels()
        audio.setpos(int(begin * rate))
        samples = array.array("h", audio.readframes(int((end - begin) * rate)))
    return max(map(abs, samples[channel::channels]))


class MeetingTest(DesktopTest):
    """The user speaks into the microphone; the other side comes out of the speakers."""

    def setUp(self):
        super().setUp()
        self.mine = prompt_speech_file(self.folder, SPEECH)
        self.theirs = prompt_speech_file(self.folder, OTHER_SPEECH)
        self.notes = self.quillet.home / ".quillet/meetings"
        self.audio = self.quillet.home / ".quillet/meeting-audio"

    def begin_meeting(self):
        self.quillet.command("meeting", "start")
        status = self.quillet.json("meeting", "status")
        self.assertEqual(status["phase"], "recording")
        self.began = status["since"]

    def end_meeting(self, command="stop"):
        """Returns the note that is written then."""
        self.note = self.quillet.json("meeting", command)["note"]
        return (self.notes / self.note).read_text()

    def converse(self):
        """Each side speaks once; when they did, in seconds since the meeting began."""
        mine = self.now()
        say(self.mine)
        theirs = self.now()
        play(self.theirs)
        return [mine, theirs]

    def now(self):
        """Seconds since the meeting began."""
        return time.time() - self.began

    def assert_said(self, note, *expected):
        self.assertEqual([(line.speaker, line.text) for line in lines_of(note)], list(expected))

    def assert_times(self, note, *expected):
        """The times of the lines; a note rounds them down to seconds."""
        lines = lines_of(note)
        self.assertEqual(len(lines), len(expected), lines)
        for line, moment in zip(lines, expected):
            self.assertAlmostEqual(line.time, moment, delta=1.5, msg=f"{line} in {expected}")


class TwoVoices(MeetingTest):
    """Recognised on the device, from two recordings of people."""

    def setUp(self):
        super().setUp()
        self.quillet.start()

    def test_both_sides_are_in_the_note_with_speakers_and_times(self):
        self.begin_meeting()
        began = self.converse()
        began.append(self.now())
        with ThreadPoolExecutor() as beside:
            spoken = beside.submit(say, self.mine)
            time.sleep(1.2)  # the other side breaks in before the user has ended
            began.append(self.now())
            play(self.theirs)
            spoken.result()
        length = self.now()
        note = self.end_meeting()

        self.assert_said(note, (ME, WORDS), (OTHER, OTHER_WORDS), (ME, WORDS), (OTHER, OTHER_WORDS))
        self.assert_times(note, *began)
        heading = re.match(r"# 会议\n\n(\d{4}-\d\d-\d\d \d\d:\d\d) · (\d+) s · (.*)\n\n## 转写\n", note)
        self.assertTrue(heading, note)
        self.assertEqual(heading[1], time.strftime("%Y-%m-%d %H:%M", time.localtime(self.began)))
        self.assertAlmostEqual(int(heading[2]), length, delta=1.5)
        self.assertEqual(heading[3], f"{ME}、{OTHER}")
        self.assertEqual(self.quillet.json("meeting", "status"), {"phase": "idle", "unfinished": 0})

        # Each side has its own channel, and at the same time as in the note.
        audio, = self.audio.glob("*.wav")
        mine, theirs = began[:2]
        for channel, spoken, silent in (MIC, mine, theirs), (SPEAKERS, theirs, mine):
            self.assertGreater(loudness(audio, channel, spoken + 0.3, spoken + 1.2), 2000)
            self.assertLess(loudness(audio, channel, silent + 0.3, silent + 1.2), 100)

        # And it is found again.
        self.assertEqual(self.quillet.command("meeting", "list"), f"{self.note}\n")
        self.assertEqual(self.quillet.command("meeting", "show", self.note), note)
        found, = self.quillet.json("meeting", "search", "CLUBS")
        self.assertEqual(found["name"], self.note)
        self.assertEqual([line.partition("] ")[2] for line in found["lines"]],
                         2 * [f"{OTHER}: {OTHER_WORDS}"])
        self.assertEqual(self.quillet.json("meeting", "search", "nobody said this"), [])

    def test_a_headset_that_is_plugged_in_and_out_is_followed(self):
        self.begin_meeting()
        with ThreadPoolExecutor() as beside:
            heard = beside.submit(play, self.theirs)
            headset = Headset()
            heard.result()
            say(self.mine, into=headset.FEED)
            play(self.theirs)
            headset.unplug()
            self.assertEqual(output_of("pactl", "get-default-sink"), "spk")
            self.assertEqual(output_of("pactl", "get-default-source"), "mic")
            say(self.mine)
            play(self.theirs)
        note = self.end_meeting()
        self.assert_said(note, (OTHER, OTHER_WORDS), (ME, WORDS), (OTHER, OTHER_WORDS), (ME, WORDS),
                         (OTHER, OTHER_WORDS))
        self.assertFalse(self.quillet.has_logged("Meeting: microphone only"))

    def test_the_loudspeakers_in_the_microphone_are_not_the_user(self):
        with loudspeakers_in_the_microphone():
            self.begin_meeting()
            _, theirs = self.converse()
            note = self.end_meeting()
        audio, = self.audio.glob("*.wav")
        self.assertGreater(loudness(audio, MIC, theirs + 0.3, theirs + 1.2), 500, "loud enough")
        self.assert_said(note, (ME, WORDS), (OTHER, OTHER_WORDS))

    def test_muted_speakers_are_told_of(self):
        told = ("Meeting: microphone only\nThe speakers are muted, so a call's other side cannot be "
                "heard. Unmute them to include it.")
        subprocess.run(["pactl", "set-sink-mute", "spk", "1"], check=True)
        self.addCleanup(subprocess.run, ["pactl", "set-sink-mute", "spk", "0"])
        self.begin_meeting()
        self.quillet.await_panel_text(told)
        subprocess.run(["pactl", "set-sink-mute", "spk", "0"], check=True)
        play(self.theirs)
        until(lambda: not self.quillet.panel_text(), 10, "the panel to go")
        subprocess.run(["pactl", "set-sink-mute", "spk", "1"], check=True)
        self.quillet.await_panel_text(told)
        self.assert_said(self.end_meeting(), (OTHER, OTHER_WORDS))

    def test_a_meeting_survives_a_kill(self):
        self.begin_meeting()
        began = self.converse()
        time.sleep(1)  # the last second may be lost; here it is silent
        self.quillet.kill()
        self.quillet.start()
        self.quillet.await_panel_text(
            "A meeting was interrupted\nIts audio is safe. Menu → Finish the Interrupted Meeting, "
            "or `quillet meeting recover`, writes the note.")
        self.assertEqual(self.quillet.json("meeting", "status"), {"phase": "idle", "unfinished": 1})
        note = self.end_meeting("recover")
        self.assert_said(note, (ME, WORDS), (OTHER, OTHER_WORDS))
        self.assert_times(note, *began)
        self.assertIn(time.strftime("\n%Y-%m-%d %H:%M · ", time.localtime(self.began)), note)
        again = self.quillet.run("meeting", "recover")
        self.assertNotEqual(again.returncode, 0)
        self.assertIn("No meeting was interrupted.", again.stderr)
        self.assertEqual(self.quillet.json("meeting", "status"), {"phase": "idle", "unfinished": 0})


class MeetingsAtWork(MeetingTest):
    """What the user does around a meeting."""

    # Their places in the menu; while one is recorded, a line says so above.
    start, stop = 7, 8

    def await_phase(self, phase):
        until(lambda: self.quillet.json("meeting", "status")["phase"] == phase, 5,
              f"the meeting to be {phase}")

    def test_the_menu_starts_and_stops_one(self):
        self.quillet.start()
        editor = self.open_editor()
        self.quillet.choose(self.start)
        until(lambda: self.quillet.shown(
            "Recording other people? Let them know and get their consent first."), 5, "the reminder")
        self.await_phase("recording")
        self.quillet.shown("Don't show again").do_action(0)
        self.quillet.shown("OK").do_action(0)
        until(lambda: not self.quillet.shown("OK"), 5, "the reminder to go")
        editor.focus()
        self.quillet.choose(self.stop)
        self.quillet.await_panel_text("Nothing was heard — no note written.")
        self.await_phase("idle")
        self.quillet.choose(self.start)
        self.await_phase("recording")
        self.quillet.await_panel_text("Meeting started")
        self.assertFalse(self.quillet.shown("OK"), "it was not to be shown again")
        self.quillet.choose(self.stop)
        self.await_phase("idle")
        self.assertEqual(self.quillet.json("meeting", "list"), [])
        self.assertEqual(list(self.audio.iterdir()), [], "silence is not kept")

    def test_a_stop_counts_even_while_the_meeting_starts(self):
        self.quillet.start()
        self.begin_meeting()
        self.quillet.command("meeting", "stop")
        with hung_sound_server():
            starting = self.quillet.begin("meeting", "start")
            self.await_phase("recording")
            stopping = self.quillet.begin("meeting", "stop")
            with suppress(subprocess.TimeoutExpired):
                stopping.wait(0.3)  # it is asked for before the sound server lets the meeting start
        starting.communicate(timeout=10)
        _, error = stopping.communicate(timeout=10)
        self.assertEqual(stopping.returncode, 0, error)
        self.await_phase("idle")

    def test_a_dictation_meanwhile_leaves_the_speakers_on(self):
        self.quillet.set("muteSystemAudioWhileRecording", "true")
        self.quillet.start()
        editor = self.open_editor()
        self.begin_meeting()
        self.start_recording()
        with ThreadPoolExecutor() as beside:
            heard = beside.submit(play, self.theirs)
            say(self.mine)
            self.assertFalse(speakers_are_muted(), "the meeting cannot hear muted speakers")
            press(*DICTATE)
            heard.result()
        self.await_text(editor, WORDS)
        note = self.end_meeting()
        self.assertEqual({(line.speaker, line.text) for line in lines_of(note)},
                         {(ME, WORDS), (OTHER, OTHER_WORDS)})
        self.start_recording()
        until(speakers_are_muted, 5, "the speakers to be muted, now that nobody else listens")
        # A meeting that begins now wants to hear them.
        self.begin_meeting()
        until(lambda: not speakers_are_muted(), 5, "the speakers to be heard again")
        press("Escape")
        play(self.theirs)
        self.assert_said(self.end_meeting(), (OTHER, OTHER_WORDS))


class ServedMeetings(MeetingTest, ServedTest):
    """Written down by a speech server that answers nothing but text, and by a language model."""

    summary = {
        "title": "发布",
        "summary": "- 讨论了发布日期\n- 公告由对方来写",
        "decisions": ["周五发布"],
        "todos": [{"owner": "对方", "task": "写公告", "due": "周四"},
                  {"owner": None, "task": "通知客户", "due": None}],
        "questions": [{"question": "谁来写公告？", "answer": "对方"},
                      {"question": "要不要开发布会？", "answer": None}],
        "follow_up": "大家好，我们周五发布，公告周四写好。",
    }
    page = """# 发布

{started} · {seconds} s · 我、对方

## 纪要

- 讨论了发布日期
- 公告由对方来写

## 决定

- 周五发布

## 待办

- [ ] **对方**：写公告（周四）
- [ ] 通知客户

## 问题与回答

**谁来写公告？**
对方

**要不要开发布会？**

## 跟进消息

大家好，我们周五发布，公告周四写好。

## 转写

[00:{mine:02}] 我: 我们周五发布吧。
[00:{theirs:02}] 对方: 好，公告我来写。

"""

    def test_a_note_by_servers(self):
        unwell = Answer(status=503)
        server = self.hear(unwell, unwell, Answer("我们周五发布吧。好，公告我来写。", delay=0.2),
                           Answer("我们周五发布吧。", delay=0.2), Answer("好，公告我来写。", delay=0.2))
        model = self.rewrite(json.dumps(self.summary))
        self.quillet.start()
        self.begin_meeting()
        began = self.converse()
        note = self.end_meeting()

        seconds = int(re.search(r" · (\d+) s · ", note)[1])
        mine, theirs = (line.time for line in lines_of(note))
        self.assertEqual(note, self.page.format(
            started=time.strftime("%Y-%m-%d %H:%M", time.localtime(self.began)),
            seconds=seconds, mine=mine, theirs=theirs))
        self.assert_times(note, *began)
        self.assertEqual(self.note, time.strftime("%Y-%m-%d %H.%M 发布.md",
                                                  time.localtime(self.began)))
        self.assertEqual([file.name for file in self.notes.glob("*.md")], [self.note])
        # Both sides at once, until the server would not be asked in vain; then each by itself.
        self.assertEqual(len(server.posts()), 5)
        for upload in server.posts():
            self.assertIn(b'filename="meeting.wav"', upload.body)
            self.assertIn(b"RIFF", upload.body)
        self.assertEqual(server.most_at_once, 1)
        request, = model.posts()
        instructions, transcript = messages_of(request)
        self.assertIn("Write everything in Simplified Chinese (简体中文).", instructions["content"])
        self.assertEqual(transcript["content"], note.partition("## 转写\n\n")[2].strip())

    def test_a_long_meeting_is_sent_piece_by_piece(self):
        """What was recorded before a kill may be long; a recording of it is made here."""
        self.hear("never asked")
        self.quillet.start()
        self.begin_meeting()
        self.quillet.kill()
        audio, = self.audio.glob("*.wav")
        exchanges = 15
        subprocess.run(["sox", "-M", f"|sox {self.mine} -p trim 0 2 pad 0 6",
                        f"|sox {self.theirs} -p pad 4 0", "-b", "16", audio,
                        "repeat", str(exchanges - 1)], check=True)
        held = Answer.held("the last turn")
        turns = [Answer(f"turn {number}", delay=0.02) for number in range(2 * exchanges - 1)]
        server = self.hear("all of it", *turns, held)
        self.quillet.start()
        recovering = self.quillet.begin("meeting", "recover", "--json")
        until(lambda: len(server.posts()) == 2 * exchanges + 1, 20, "all turns to be sent")
        # Until then there is a draft.
        draft, = self.quillet.json("meeting", "list")
        self.assertIn("会议（进行中）", draft["name"])
        so_far = len(lines_of(self.quillet.command("meeting", "show", draft["name"])))
        held.given.set()
        answer, _ = recovering.communicate(timeout=20)
        self.note = json.loads(answer)["note"]
        note = (self.notes / self.note).read_text()
        lines = lines_of(note)
        self.assertGreater(so_far, exchanges)
        self.assertLess(so_far, len(lines))
        self.assertEqual([line.text for line in lines],
                         [f"turn {number}" for number in range(2 * exchanges - 1)] +
                         ["the last turn"])
        self.assertEqual([line.speaker for line in lines], exchanges * [ME, OTHER])
        self.assert_times(note, *range(0, 8 * exchanges, 4))
        self.assertIn(" · 2 min · ", note)
        self.assertEqual(server.most_at_once, 1)

        # Its summary, once there is somebody to write it.
        self.assertNotIn("## 纪要", note)
        self.rewrite(json.dumps(self.summary))
        self.assertEqual(lines_of(self.end_meeting("summarize")), lines)
        self.assertIn("发布", self.note)
        self.assertEqual([note["name"] for note in self.quillet.json("meeting", "list")],
                         [self.note])


unittest.main(verbosity=2)
