"""Requests to a server on this machine, one connection each."""

import json
import socket
import time

OPERATIONS = {
    "ping": ("ping", None),
    "tools/list": ("tools/list", None),
    "20 entries": ("tools/call", {"name": "get_transcripts", "arguments": {"limit": 20}}),
}


def tool_call(name, **arguments):
    return "tools/call", {"name": name, "arguments": arguments}


def request_bytes(port, key, method, params=None):
    """A request as the official clients write it, but for the connection, which is not kept."""
    message = {"jsonrpc": "2.0", "id": 1, "method": method}
    if params is not None:
        message["params"] = params
    body = json.dumps(message, separators=(",", ":"), ensure_ascii=False).encode()
    head = ["POST /mcp HTTP/1.1", f"host: 127.0.0.1:{port}", "connection: close",
            f"authorization: Bearer {key}", "mcp-protocol-version: 2025-06-18",
            "content-type: application/json", "accept: application/json, text/event-stream",
            "accept-language: *", "sec-fetch-mode: cors", "user-agent: node",
            "accept-encoding: gzip, deflate", f"content-length: {len(body)}", "", ""]
    return "\r\n".join(head).encode() + body


def exchange(port, request):
    """All bytes of the reply."""
    with socket.create_connection(("127.0.0.1", port), timeout=30) as connection:
        connection.sendall(request)
        reply = b""
        while part := connection.recv(1 << 16):
            reply += part
        return reply


def result_of(reply):
    """What a reply says, which must be a result."""
    head, _, body = reply.partition(b"\r\n\r\n")
    if not head.startswith(b"HTTP/1.1 200 OK\r\n"):
        raise AssertionError(f"not answered: {head[:300]!r}")
    message = json.loads(body)
    if "result" not in message or message["result"].get("isError"):
        raise AssertionError(f"answered with an error: {body[:300].decode()}")
    return message["result"]


def await_answer(port, request, seconds=20):
    """Asks until there is an answer."""
    deadline = time.monotonic() + seconds
    while True:
        try:
            return result_of(exchange(port, request))
        except ConnectionError:
            if time.monotonic() > deadline:
                raise
            time.sleep(0.0005)
