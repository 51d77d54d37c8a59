"""Servers on this machine that say what a test told them to."""

import hashlib
import http.server
import json
import shutil
import threading
from collections import namedtuple
from dataclasses import dataclass

Request = namedtuple("Request", "method path headers body")


@dataclass
class Answer:
    """What a server says to one request. A text, when its words are all that matters."""

    text: str = ""
    status: int = 200
    finish_reason: str = "stop"
    delay: float = 0.0  # seconds
    given: threading.Event = None  # the answer is held back until then

    @classmethod
    def held(cls, text):
        return cls(text, given=threading.Event())


class _Connection(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_HEAD(self):
        self.server.owner.requests.append(Request("HEAD", self.path, self.headers, b""))
        self._send(404, b"")

    def do_POST(self):
        owner = self.server.owner
        body = self.rfile.read(int(self.headers["Content-Length"]))
        request = Request("POST", self.path, self.headers, body)
        answer = owner.take(request)
        if answer.delay:
            owner.closing.wait(answer.delay)
        if answer.given:
            answer.given.wait()
        owner.answered()
        self._send(answer.status, owner.encode(answer))

    def _send(self, status, body):
        try:
            self.send_response(status)
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            if self.command != "HEAD":
                self.wfile.write(body)
        except ConnectionError:
            self.close_connection = True  # who asked no longer wants to know

    def log_message(self, *_):
        pass


class _Listener(http.server.ThreadingHTTPServer):
    def verify_request(self, *_):
        self.owner.connections += 1
        return True


class ScriptedServer:
    """Gives its answers one after the other, and the last of them from then on. An answer is a text,
    an Answer, or a function that makes a text of the request."""

    def __init__(self, *answers):
        self.requests = []
        self.connections = 0
        self.most_at_once = 0  # requests that waited for their answers at the same time
        self._waiting = 0
        self.closing = threading.Event()
        self._answers = list(answers)
        self._held = []
        self._turn = threading.Lock()
        self._http = _Listener(("127.0.0.1", 0), _Connection)
        self._http.owner = self
        threading.Thread(target=self._http.serve_forever, daemon=True).start()
        self.address = f"http://127.0.0.1:{self._http.server_port}/v1"

    def posts(self):
        return [request for request in self.requests if request.method == "POST"]

    def close(self):
        self.closing.set()
        with self._turn:
            for answer in self._held:
                answer.given.set()
        self._http.shutdown()
        self._http.server_close()

    def take(self, request):
        """The answer to a request. It is chosen before the request shows up in `requests`."""
        with self._turn:
            answer = self._answers.pop(0) if len(self._answers) > 1 else self._answers[0]
            if callable(answer):
                answer = answer(request)
            if isinstance(answer, str):
                answer = Answer(answer)
            if answer.given:
                self._held.append(answer)
            self.requests.append(request)
            self._waiting += 1
            self.most_at_once = max(self.most_at_once, self._waiting)
            return answer

    def answered(self):
        with self._turn:
            self._waiting -= 1


class SpeechServer(ScriptedServer):
    """An OpenAI-compatible speech server that hears what it was told to."""

    @property
    def endpoint(self):
        return self.address + "/audio/transcriptions"

    @staticmethod
    def encode(answer):
        return json.dumps({"text": answer.text}).encode()


class LanguageServer(ScriptedServer):
    """An OpenAI-compatible language model. Without answers it puts what it was asked last in
    brackets, so that its work can be told from the transcript."""

    def __init__(self, *answers):
        super().__init__(*(answers or [lambda request: f"[{messages_of(request)[-1]['content']}]"]))

    @staticmethod
    def encode(answer):
        choice = {"index": 0, "finish_reason": answer.finish_reason,
                  "message": {"role": "assistant", "content": answer.text}}
        return json.dumps({"object": "chat.completion", "choices": [choice]}).encode()


class _Download(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        owner = self.server.owner
        owner.requests.append(self.path)
        content = owner.archive.read_bytes()
        self.send_response(200)
        self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        try:
            self.wfile.write(content[:len(content) // 3])
            owner.goes_on.wait()
            self.wfile.write(content[len(content) // 3:])
        except ConnectionError:
            pass  # it was cancelled

    def log_message(self, *_):
        pass


class ModelServer:
    """Offers a model in `folder` for download. After a third of it, it waits for `goes_on`."""

    def __init__(self, folder, model, language="en"):
        self.requests = []
        self.goes_on = threading.Event()
        self.archive = folder / "model.tar"
        shutil.make_archive(folder / "model", "tar", model)
        self._http = http.server.ThreadingHTTPServer(("127.0.0.1", 0), _Download)
        self._http.owner = self
        threading.Thread(target=self._http.serve_forever, daemon=True).start()
        content = self.archive.read_bytes()
        self.catalogue = folder / "models.json"
        self.catalogue.write_text(json.dumps([{
            "language": language, "url": f"http://127.0.0.1:{self._http.server_port}/model.tar",
            "bytes": len(content), "sha256": hashlib.sha256(content).hexdigest()}]))

    def close(self):
        self.goes_on.set()
        self._http.shutdown()
        self._http.server_close()


def messages_of(request):
    """The messages of a request to a language model."""
    return json.loads(request.body)["messages"]


def field_of(upload, name):
    """A field of a form that was sent; empty when it has none by that name."""
    _, found, rest = upload.body.partition(f'name="{name}"\r\n\r\n'.encode())
    return rest.partition(b"\r\n--")[0].decode() if found else ""
