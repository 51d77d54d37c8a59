"""What a night makes of a day: spellings, and notes on what was said."""

import json
import time
import unittest

from desktop import until
from quillet import ServedTest
from servers import Answer, field_of, messages_of

NOTHING_TO_REMOVE = json.dumps({"remove": [], "drop_terms": []})


def review_reply(terms=(), fixes=(), profile="", known=()):
    return json.dumps({"terms": list(terms), "fixes": list(fixes),
                       "memory": {"profile": profile, "terms": list(known)}})


def term(heard, written, *ids, confidence=0.95):
    return {"heard": heard, "written": written, "ids": ids, "confidence": confidence,
            "reason": "a name"}


def reviewed(request):
    """The dictations that a request for a review shows."""
    return [json.loads(line) for line in messages_of(request)[-1]["content"].splitlines()]


def entries_of(request):
    """The entries that a request for the knowledge base shows."""
    text = messages_of(request)[0]["content"]
    return [json.loads(line.partition(". ")[2]) for line in
            text.partition("\n\nEntries:\n")[2].partition("\n\nReply")[0].splitlines()]


class NightTest(ServedTest):
    def dictate_each(self, editor, *texts):
        """Dictates what the speech server hears then; it is typed as it was heard."""
        for text in texts:
            self.dictate_and_await(editor, editor.text() + text)
        until(lambda: len(self.quillet.history()) >= len(texts), 5, "the history rows")

    def stored(self, name):
        """A file among those that Quillet keeps; None when it is not there."""
        file = self.quillet.home / ".quillet" / name
        return file.read_bytes() if file.exists() else None

    def suggestions(self):
        return self.quillet.json("review", "show")["suggestions"]

    def refused(self, *words):
        """What a command says that must fail."""
        run = self.quillet.run(*words)
        self.assertNotEqual(run.returncode, 0, run.stdout)
        return run.stderr.strip().removeprefix("quillet: ")


class Review(NightTest):
    day = ["江纳森明天来", "给江纳森打电话", "我用配森写脚本"]
    findings = review_reply(
        [term("江纳森", "Jonathan", 1, 2), term("配森", "Python", 3),
         term("明天", "Mingtian", 1, confidence=0.69), term("没人说过", "Nobody", 1, 2)],
        [{"id": 3, "sent": "我用配森写脚本", "fixed": "我用 Python 写脚本", "reason": "a word"}],
        "The user has a friend, Jonathan.", ["Jonathan"])

    def test_a_day_is_learned_from_and_taken_back(self):
        self.hear(*self.day, "江纳森用配森")
        model = self.rewrite(self.findings, NOTHING_TO_REMOVE)
        self.quillet.start()
        editor = self.open_editor()
        self.dictate_each(editor, *self.day)
        self.assertEqual(model.posts(), [], "raw dictations are nobody's business")
        self.assertEqual(self.quillet.command("review", "run").strip(),
                         "3 dictations read: 1 learned, 2 waiting for you.")

        # It was shown the whole day, and found three things in it.
        self.assertEqual(len(model.posts()), 2)
        shown = reviewed(model.posts()[0])
        self.assertEqual([entry["sent"] for entry in shown], self.day)
        self.assertEqual({entry["app"] for entry in shown}, {"Mousepad"})
        ids = [entry["id"] for entry in reversed(self.quillet.json("history", "list"))]
        self.assertEqual([(found["kind"], found["status"], found["heard"], found["entries"])
                          for found in self.suggestions()],
                         [("term", "learned", "江纳森", ids[:2]),
                          ("term", "pending", "配森", ids[2:]),
                          ("fix", "pending", "我用配森写脚本", ids[2:])])
        page = self.quillet.command("review", "show")
        for line in (f"1  learned    term  江纳森 → Jonathan\n      a name\n"
                     f"      from dictation {ids[0]}\n      from dictation {ids[1]}\n",
                     "About you: The user has a friend, Jonathan.\n", "Your terms: Jonathan\n"):
            self.assertIn(line, page)

        # What it was sure of counts from the next dictation on, the rest once it is accepted.
        self.dictate_and_await(editor, editor.text() + "Jonathan用配森")
        self.quillet.command("review", "accept", "2")
        self.quillet.command("review", "dismiss", "3")
        self.dictate_and_await(editor, editor.text() + "Jonathan用Python")
        self.assertEqual(self.vocabulary(), {"江纳森": "Jonathan", "配森": "Python"})
        self.assertIn("settled already", self.refused("review", "accept", "2"))
        self.assertIn("no suggestion 4", self.refused("review", "accept", "4"))

        # All of it can be taken back.
        self.quillet.command("review", "undo", "1")
        self.dictate_and_await(editor, editor.text() + "江纳森用Python")
        self.quillet.command("review", "undo")
        self.assertEqual(self.vocabulary(), {"配森": "Python"}, "what was accepted is the user's")
        self.quillet.command("review", "undo", "2")
        self.assertEqual(self.vocabulary(), {})
        self.assertEqual({found["status"] for found in self.suggestions()}, {"dismissed"})
        self.assertEqual(self.quillet.json("review", "show")["memory"], {"profile": "", "terms": []})
        self.assertIn("no review to undo", self.refused("review", "undo"))

    def test_what_is_remembered_helps_with_the_next_dictation(self):
        server = self.hear("one more")
        model = self.rewrite(self.findings, NOTHING_TO_REMOVE, "One more")
        self.remember(*self.day)
        self.quillet.set("dictationOutputMode", "smart")
        self.quillet.start()
        self.quillet.command("review", "run")
        self.dictate_and_await(self.open_editor(), "One more")
        instructions = messages_of(model.posts()[-1])[0]["content"]
        self.assertIn("The user has a friend, Jonathan.", instructions)
        self.assertIn("Jonathan", instructions.replace("a friend, Jonathan", ""))
        self.assertIn("Jonathan", field_of(server.posts()[-1], "prompt"))

    def test_nothing_is_reviewed_twice(self):
        self.hear("one more")
        model = self.rewrite(self.findings, NOTHING_TO_REMOVE, review_reply())
        self.remember(*self.day)
        self.quillet.start()
        self.quillet.command("review", "run")
        self.assertEqual(self.quillet.command("review", "run").strip(), "Nothing new to review.")
        asked = len(model.posts())
        self.dictate_each(self.open_editor(), "one more")
        self.quillet.command("review", "run")
        self.assertEqual([entry["sent"] for entry in reviewed(model.posts()[asked])], ["one more"])

    def test_a_review_that_is_killed_has_done_nothing_yet(self):
        model = self.rewrite(self.findings, Answer.held(NOTHING_TO_REMOVE))
        self.remember(*self.day)
        self.quillet.start()
        reviewing = self.quillet.begin("review", "run")
        until(lambda: len(model.posts()) == 2, 10, "the second question")
        self.quillet.kill()
        reviewing.communicate(timeout=10)
        self.assertNotEqual(reviewing.returncode, 0)
        self.quillet.start()
        self.assertEqual(self.vocabulary(), {})
        self.assertEqual(self.suggestions(), [])
        again = self.rewrite(NOTHING_TO_REMOVE)
        self.assertEqual(self.quillet.command("review", "run").strip(),
                         "3 dictations read: 1 learned, 2 waiting for you.")
        self.assertEqual(self.vocabulary(), {"江纳森": "Jonathan"})
        self.assertEqual(len(again.posts()), 1, "what was answered is not asked again")

    def test_recordings_are_heard_again(self):
        self.quillet.set("nightlyReview", "true")
        server = self.hear("我用配森写脚本", "我用 Python 写脚本")
        model = self.rewrite(review_reply())
        self.quillet.start()
        self.dictate_each(self.open_editor(), "我用配森写脚本")
        kept, = until(lambda: self.quillet.json("recordings", "list"), 5, "the recording")
        self.assertEqual(kept["text"], "我用配森写脚本")
        self.quillet.command("review", "run")
        first, second = server.posts()
        self.assertEqual(len(first.body), len(second.body))
        entry, = reviewed(model.posts()[0])
        self.assertEqual((entry["heard"], entry["heard_again"]),
                         ("我用配森写脚本", "我用 Python 写脚本"))

    def test_a_model_that_does_not_answer_is_asked_again(self):
        self.remember(*self.day)
        self.quillet.start()
        self.assertIn("No language model", self.refused("review", "run"))
        self.rewrite(self.findings).close()
        self.assertEqual(self.refused("review", "run"),
                         "The LLM couldn't be reached — trying again later.")
        self.rewrite("I am sorry, but I cannot do that.")
        self.assertEqual(self.refused("review", "run"),
                         "The LLM didn't answer — trying again later.")
        self.assertEqual(self.suggestions(), [])
        self.rewrite(self.findings, NOTHING_TO_REMOVE)
        self.quillet.command("review", "run")
        self.assertEqual(self.vocabulary(), {"江纳森": "Jonathan"})


class KnowledgeBase(NightTest):
    secrets = ("hunter2-Rosebud", "4111 1111 1111 1111", "tq9XfZ2mKpLr7VbN4sHd8WcJ6yTgE3aU")
    day = ["We give Acme ten percent off from fifty seats on.",
           "The password is " + secrets[0],
           f"Charge the card {secrets[1]} for Acme.",
           f"Their key {secrets[2]} goes into the vault.",
           "I promised Ann the contract by Friday.",
           *[f"Call number {number} was nothing special." for number in range(60)]]
    note = "2026-01-02 10.00 Acme.md"

    @staticmethod
    def distilled(request):
        """Files what it knows of, as a model would: with quotes from the entries."""
        filed = {"ten percent off": ("sales", "Volume discount", "Ten percent off from 50 seats."),
                 "contract by Friday": ("commitments", "Contract for Ann", "Send it by Friday."),
                 "renew in March": ("clients", "Acme renews", "Acme renews in March.")}
        ops = []
        for number, entry in enumerate(entries_of(request), 1):
            for quote, (category, title, takeaway) in filed.items():
                if quote in entry["text"]:
                    ops.append({"op": "add", "category": category, "title": title,
                                "takeaway": takeaway, "entry": number, "quote": quote,
                                "confidence": 0.9})
        ops.append({"op": "add", "category": "ideas", "title": "Invented", "takeaway": "Nobody said.",
                    "entry": 1, "quote": "never said by anybody", "confidence": 1})
        return json.dumps({"ops": ops})

    def setUp(self):
        super().setUp()
        self.model = self.rewrite(self.distilled)
        self.remember(*self.day)
        notes = self.quillet.home / ".quillet/meetings"
        notes.mkdir()
        self.note_file = notes / self.note
        self.note_file.write_text("# Acme\n\n## 转写\n\n[00:01] Ann: we will renew in March.\n")
        self.quillet.start()

    def items(self):
        return {item["title"]: item for item in self.quillet.json("knowledge", "list")["items"]}

    def test_what_was_said_is_filed_found_and_deleted(self):
        report = self.quillet.command("knowledge", "run")
        self.assertIn("3 new items added", report)
        self.assertIn("left out", report)
        items = self.items()
        self.assertEqual({title: item["category"] for title, item in items.items()},
                         {"Volume discount": "sales", "Contract for Ann": "commitments",
                          "Acme renews": "clients"})
        sent = [entry["text"] for request in self.model.posts() for entry in entries_of(request)]
        self.assertIn(self.day[0], sent)
        self.assertEqual(len([text for text in sent if text.startswith("Call number")]), 60)
        self.assertGreater(len(self.model.posts()), 1, "more than fits into one request")
        for request in self.model.requests:
            for secret in self.secrets:
                self.assertNotIn(secret, request.body.decode())

        discount = items["Volume discount"]["id"]
        page = self.quillet.command("knowledge", "show", discount)
        today = time.strftime("%Y-%m-%d", time.localtime(time.time() - 3600))
        self.assertEqual(page, "# Volume discount\n\nTen percent off from 50 seats.\n\n"
                               f"> ten percent off\n> — {today}, Mail\n")
        self.assertIn("## Acme renews\n", self.quillet.command("knowledge", "show", "clients"))
        found, = self.quillet.json("knowledge", "search", "FRIDAY")
        self.assertEqual(found["title"], "Contract for Ann")
        self.quillet.command("knowledge", "delete", discount)
        self.refused("knowledge", "show", discount)
        self.assertIn("1 item(s) are deleted too",
                      self.refused("knowledge", "delete", "--category", "clients"))
        self.quillet.command("knowledge", "delete", "--category", "clients", "--yes")
        self.assertEqual(set(self.items()), {"Contract for Ann"})

        # What was read is not read again, but for a note that has changed.
        asked = len(self.model.posts())
        self.assertEqual(self.quillet.command("knowledge", "run").strip(), "Nothing new to file.")
        self.assertEqual(len(self.model.posts()), asked)
        with self.note_file.open("a") as note:
            note.write("[00:09] Ann: and one more thing.\n")
        self.quillet.command("knowledge", "run")
        entry, = entries_of(self.model.posts()[asked])
        self.assertIn("one more thing", entry["text"])
        # An item that the user deleted comes back when the note that says so was changed.
        self.assertEqual(set(self.items()), {"Contract for Ann", "Acme renews"})

    def test_memory_that_is_off_is_frozen(self):
        self.quillet.command("knowledge", "run")
        before = self.stored("knowledge.json"), self.stored("review.json")
        asked = len(self.model.posts())
        self.quillet.set("rememberWhatISay", "false")
        for command in "knowledge", "review":
            self.assertEqual(self.refused(command, "run"),
                             "Memory is paused (Memory & Knowledge).")
        self.assertEqual(len(self.model.posts()), asked)
        self.assertEqual((self.stored("knowledge.json"), self.stored("review.json")), before)
        # What is known can still be read.
        self.assertEqual(len(self.items()), 3)


if __name__ == "__main__":
    unittest.main(verbosity=2)
