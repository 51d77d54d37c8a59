"""AI clients as their makers ship them. QUILLET_MCP_CLIENTS names the folder with them."""

import itertools
import json
import os
import subprocess
import threading
from concurrent.futures import Future
from pathlib import Path

URL = "http://127.0.0.1:7865/mcp"
# Two generations of the official SDK, by the names of their packages.
SDKS = "sdk", "client"
PROGRAM = Path(__file__).parent.parent / "clients/mcp-client.mjs"


def clients_folder():
    return Path(os.environ["QUILLET_MCP_CLIENTS"])


class Refused(Exception):
    """What a client says when its request, or its connection, came to nothing."""

    def __init__(self, answer):
        super().__init__(answer["error"])
        self.code = answer.get("code")  # the HTTP status or the operating system's


class Client:
    """A client on the official SDK, connected until it is closed."""

    def __init__(self, sdk, key):
        self._numbers = itertools.count(1)
        self._asked = {}
        self._process = subprocess.Popen(
            [clients_folder() / "node", PROGRAM, sdk, URL], text=True, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            env=dict(os.environ, MCP_CLIENTS=str(clients_folder()), MCP_KEY=key))
        self._reader = threading.Thread(target=self._read)
        greeting = json.loads(self._process.stdout.readline())
        self._reader.start()
        if "error" in greeting:
            self.close()
            raise Refused(greeting)
        self.introduction = greeting["result"]

    def close(self):
        self._process.stdin.close()
        self._process.wait(10)
        self._reader.join()
        self._process.stdout.close()

    def _read(self):
        for line in self._process.stdout:
            answer = json.loads(line)
            asked = self._asked.pop(answer["number"])
            if "error" in answer:
                asked.set_exception(Refused(answer))
            else:
                asked.set_result(answer["result"])

    def begin(self, method, **params):
        """What will come of a request: "ping", "listTools" or "callTool"."""
        number = next(self._numbers)
        asked = self._asked[number] = Future()
        request = {"number": number, "method": method, "params": params}
        self._process.stdin.write(json.dumps(request) + "\n")
        self._process.stdin.flush()
        return asked

    def begin_call(self, tool, **arguments):
        return self.begin("callTool", name=tool, arguments=arguments)

    def result(self, tool, **arguments):
        """(text, whether it is an error) of a tool's result."""
        return content_of(self.begin_call(tool, **arguments).result(30))

    def text(self, tool, **arguments):
        """What a tool says; it must succeed."""
        text, is_error = self.result(tool, **arguments)
        if is_error:
            raise AssertionError(f"{tool} {arguments} failed: {text}")
        return text

    def json(self, tool, **arguments):
        return json.loads(self.text(tool, **arguments))

    def error(self, tool, **arguments):
        """What a tool says that must fail."""
        text, is_error = self.result(tool, **arguments)
        if not is_error:
            raise AssertionError(f"{tool} {arguments} should have failed; it said {text}")
        return text


def content_of(result):
    block, = result["content"]
    return block["text"], result["isError"]


def inspect(key, *words):
    """The inspector's command line, run and completed."""
    folder = clients_folder()
    return subprocess.run(
        [folder / "node", folder / "node_modules/.bin/mcp-inspector", "--cli", URL, "--transport",
         "http", "--header", f"Authorization: Bearer {key}", *words],
        text=True, capture_output=True, stdin=subprocess.DEVNULL, timeout=30)
