"""A home folder of somebody who has dictated for a while, in Chinese and English. The words are the
same each time; the times end now."""

import json
import random
import sqlite3
import time
import uuid
from contextlib import closing

PHRASES = """
帮我跟王经理确认一下明天下午的会议时间|这个报价要在周五之前发给客户|我觉得第二个方案更稳妥一些|先把登录页的问题修好再上线|合同里的付款条件还要再谈
下周二去上海出差，机票已经订好了|把刚才说的整理成三点发给大家|用户反馈说搜索结果太慢了|预算可能要增加百分之十五|数据库昨天晚上备份失败，需要再跑一次
please send me the latest numbers before lunch|the release is on track for Thursday|let us move the call to three thirty|I will review the pull request tonight
we should cache the result instead of computing it again|the customer wants a discount of ten percent|remind me to book a table for six|that test has been flaky since Monday
把 pull request 合并到 main branch|这个 API 返回的是 four hundred 错误|跟 design team 约个 meeting|周报里记得写 latency 降了一半|新的 onboarding 流程 looks good to me
""".strip().replace("\n", "|").split("|")
APPS = [(f"org.example.{name.lower()}", name)
        for name in "Mail Editor Terminal Browser Chat Notes Slides Sheets".split()]
CATEGORIES = "sales clients commitments decisions lessons knowhow ideas".split()
RARE_WORDS = "zeppelin 紫檀木 Überraschung 量子退火".split()  # one of them in every hundredth text
SECONDS_APART = 20
ENTRIES_IN_A_ROW = 10


class Talk:
    """Says something new each time."""

    def __init__(self):
        self.random = random.Random(7)
        self.said = 0

    def text(self):
        """20 to 300 characters."""
        wanted = self.random.randint(20, 300)
        self.said += 1
        parts = [self.random.choice(RARE_WORDS)] if self.said % 100 == 0 else []
        while sum(map(len, parts)) + 2 * len(parts) < wanted:
            parts.append(self.random.choice(PHRASES))
        separator = self.random.choice(["，", "。", ", ", ". "])
        return separator.join(parts)[:wanted].strip().ljust(20, "。")


def new_id():
    return str(uuid.uuid4()).upper()


def has_tables(database):
    """Whether the application has made all of its database."""
    if not database.exists():
        return False
    with closing(sqlite3.connect(database, timeout=10)) as connection:
        return connection.execute(
            "SELECT 1 FROM sqlite_master WHERE name = 'idx_sessions_ts'").fetchone()


def add_history(database, count, every_fifth="dictation"):
    """Writes so many dictations into the application's database, which has its tables already;
    every fifth is of this kind."""
    talk = Talk()
    # Half a millisecond past the millisecond: nobody rounds it differently.
    began = int(time.time()) - count * SECONDS_APART + 0.1235
    with closing(sqlite3.connect(database, timeout=10)) as connection, connection:
        for i in range(count):
            moment = began + i * SECONDS_APART
            if i % ENTRIES_IN_A_ROW == 0:
                session = new_id()
                bundle, name = APPS[i // ENTRIES_IN_A_ROW % len(APPS)]
                connection.execute(
                    "INSERT INTO sessions (id, started_at, ended_at, app_bundle_id, "
                    "app_display_name) VALUES (?, ?, ?, ?, ?)",
                    (session, moment, moment + ENTRIES_IN_A_ROW * SECONDS_APART, bundle, name))
            heard = talk.text()
            sent = heard[0].upper() + heard[1:] + "。"
            kind = every_fifth if i % 5 == 0 else "dictation"
            connection.execute(
                "INSERT INTO transcript_entries (id, session_id, timestamp, raw_text, final_text, "
                "kind) VALUES (?, ?, ?, ?, ?, ?)",
                (new_id(), session, moment, heard, sent, kind))


def write_knowledge(file, count):
    talk = Talk()
    now = time.time()

    def item(i):
        seen = now - i * 3600
        example = {"quote": talk.text(), "date": seen, "source": APPS[i % len(APPS)][1],
                   "bundleID": APPS[i % len(APPS)][0]}
        return {"id": f"item-{i}", "category": CATEGORIES[i % len(CATEGORIES)],
                "title": talk.text()[:30], "takeaway": talk.text(), "notes": [talk.text()],
                "examples": [example] * 2, "superseded": [], "firstSeen": seen, "lastSeen": seen,
                "mentions": 2}

    store = {"version": 1, "categories": [], "items": [item(i) for i in range(count)]}
    file.write_text(json.dumps({"store": store}, ensure_ascii=False))


def write_meetings(folder, count):
    """Notes of an hour each."""
    talk = Talk()
    folder.mkdir(parents=True, exist_ok=True)
    for i in range(count):
        began = time.localtime(time.time() - i * 86400 / 2)
        day, clock = time.strftime("%Y-%m-%d", began), time.strftime("%H.%M", began)
        lines = [f"[{minute:02}:00] {'Me' if minute % 2 else 'Other side'}: {talk.text()}"
                 for minute in range(60)]
        note = [f"# Meeting {i}", "", f"{day} {clock.replace('.', ':')} · 60 min · Me、Other side",
                "", "## 要点", "", f"- {talk.text()}", f"- {talk.text()}", "",
                "## 转写", "", *lines, ""]
        (folder / f"{day} {clock} Meeting {i}.md").write_text("\n".join(note))
