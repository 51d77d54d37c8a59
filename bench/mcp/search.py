"""How long search_memory takes for somebody who has said a lot."""

import json
import time

import seed
from exchange import exchange, request_bytes, result_of, tool_call

HISTORY, KNOWLEDGE, MEETINGS = 100_000, 2_000, 300
NEVER_SAID = "nobody ever said this"
QUERIES = ("会议时间", "报价", "customer discount", "zeppelin", "紫檀木", "ÜBERRASCHUNG", "量子退火",
           "latency", "pull request", "flaky Monday", "上海 机票", "备份", "onboarding",
           "review tonight", "合同 付款", "three thirty", "周五", "release Thursday", "搜索结果",
           NEVER_SAID)
KINDS = "dictation", "live", "meeting", "knowledge"


def hits(server, **arguments):
    request = request_bytes(server.ports["ping"], server.key,
                            *tool_call("search_memory", **arguments))
    reply = result_of(exchange(server.ports["ping"], request))
    return json.loads(reply["content"][0]["text"])


def measured_search(quillet, history):
    """Milliseconds for each query over all kinds, after the first search of all. So much of the
    history is there."""
    seed.add_history(quillet.database, HISTORY - history, every_fifth="live")
    seed.write_knowledge(quillet.app.home / ".quillet/knowledge.json", KNOWLEDGE)
    seed.write_meetings(quillet.app.home / ".quillet/meetings", MEETINGS)
    quillet.restart()
    for kind in KINDS:
        if not hits(quillet, query=QUERIES[0], kinds=[kind]):
            raise AssertionError(f"nothing was found in kind {kind}")
    took = {}
    for query in QUERIES:
        began = time.monotonic()
        found = hits(quillet, query=query)
        took[query] = 1e3 * (time.monotonic() - began)
        if bool(found) == (query == NEVER_SAID):
            raise AssertionError(f"{len(found)} hits for {query}")
    return took
