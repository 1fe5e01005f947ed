# SPDX-License-Identifier: MIT
"""What strangers send to the relay's port, and what the relay's own clients do wrong. Takes the
environment of program.py."""
import http.client
import json
import socket
import ssl
import threading
import time
import unittest

import program


class Stranger:
    """Bytes as they are given, from an address of this machine that is chosen."""

    def __init__(self, port, source="127.0.0.2", tls=False, seconds=5):
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=seconds,
                                               source_address=(source, 0))
        if tls:
            self.socket = ssl._create_unverified_context().wrap_socket(self.socket)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, data):
        try:
            self.socket.sendall(data)
        except (BrokenPipeError, ConnectionResetError, ssl.SSLError):
            pass  # an answer may be there though not all was taken

    def rest(self):
        """Everything until the relay closes; None when it does not."""
        data = b""
        try:
            while more := self.socket.recv(65536):
                data += more
        except (ConnectionResetError, ssl.SSLError):
            pass
        except TimeoutError:
            return None
        return data

    def answer(self, head_only=False):
        response = http.client.HTTPResponse(self.socket, method="HEAD" if head_only else "GET")
        response.begin()
        return response.status, response.read()


class Hostile(program.RelayCase):
    def setUp(self):
        super().setUp()
        self.relay("setup", "--no-service")
        self.serve()
        self.port = self.asked("status")["port"]

    def code(self):
        return self.asked("link")["link"].split("code=")[1].split("&")[0]

    def call(self, method, path, body=None, token=None, source="127.0.0.1"):
        """One request as a client of ours sends it: status and body."""
        connection = http.client.HTTPSConnection(
            "127.0.0.1", self.port, timeout=10, context=ssl._create_unverified_context(),
            source_address=(source, 0))
        headers = {"Authorization": "Bearer " + token} if token else {}
        try:
            connection.request(method, path, body and json.dumps(body), headers)
            response = connection.getresponse()
            return response.status, response.read()
        finally:
            connection.close()

    def token(self, agent="claude"):
        status, body = self.call("POST", "/v1/pair", {"provider": agent, "code": self.code()})
        self.assertEqual(status, 200)
        return json.loads(body)["token"]

    def expect_alive(self):
        self.assertEqual(self.call("GET", "/v1/settings")[0], 401)

    def test_each_wrong_request_of_a_client_has_its_status(self):
        claude = self.token()
        asking = self.hook("claude", "PermissionRequest", {
            "tool_name": "Write", "tool_input": {"file_path": "/a", "content": "b"}})
        sessions = []
        deadline = time.monotonic() + 10
        while not sessions and time.monotonic() < deadline:
            body = self.call("GET", "/v1/sessions?provider=claude", token=claude)[1]
            sessions = [s for s in json.loads(body)["sessions"] if s.get("permission")]
        prompt = "/v1/permissions/" + sessions[0]["permission"]["id"]
        allow = {"decision": "allow"}
        rows = [
            ("no token", 401, "GET", "/v1/sessions", None, None),
            ("an unknown token", 401, "GET", "/v1/sessions", None, claude[::-1]),
            ("sessions of another agent", 403, "GET", "/v1/sessions?provider=codex", None, claude),
            ("an unknown agent", 400, "GET", "/v1/sessions?provider=Claude", None, claude),
            ("a prompt that never was", 404, "POST", "/v1/permissions/x", allow, claude),
            ("a prompt of another agent", 404, "POST", prompt, allow, self.token("codex")),
            ("always without a rule", 400, "POST", prompt, {"decision": "always"}, claude),
            ("another method", 405, "PUT", "/v1/settings", {}, claude),
            ("no such place", 404, "GET", "/v2/sessions", None, claude),
            ("another record", 400, "POST", "/v1/settings", {"remote": True}, claude),
            ("the answer at last", 200, "POST", prompt, allow, claude),
            ("the same answer again", 404, "POST", prompt, allow, claude),
            ("leaving", 200, "POST", "/v1/unpair", {}, claude),
            ("after leaving", 401, "GET", "/v1/sessions", None, claude),
        ]
        for why, status, method, path, body, token in rows:
            self.assertEqual(self.call(method, path, body, token)[0], status, why)
        self.assertEqual(asking.wait(10), 0)

    def test_wrong_codes_slow_down_their_address_and_never_a_right_code(self):
        def statuses(source, count):
            wrong = {"provider": "claude", "code": "WRONG"}
            return [self.call("POST", "/v1/pair", wrong, source=source)[0] for _ in range(count)]
        code = self.code()
        first = statuses("127.0.0.2", 40)
        self.assertEqual((first[0], first[-1]), (401, 429))
        self.assertEqual(statuses("127.0.0.3", 1), [401], "another address counts for itself")
        right = {"provider": "claude", "code": code}
        self.assertEqual(self.call("POST", "/v1/pair", right, source="127.0.0.2")[0], 200)
        self.assertEqual(self.call("POST", "/v1/pair", right, source="127.0.0.4")[0], 401, "used")
        self.assertEqual(self.call("GET", "/v1/sessions", source="127.0.0.2")[0], 401,
                         "429 speaks of codes, so nothing else is answered with it")

    def test_malformed_requests_end_their_connection_and_smuggle_nothing(self):
        post, body = b"POST /v1/pair HTTP/1.1\r\nHost: a\r\n", b"GET /v1/settings HTTP/1.1\r\n\r\n"
        rows = [
            b"\x16\x03\x01\x00\x05hello", b"\x00" * 4096, b"nonsense\r\n\r\n",
            b"GET / HTTP/1.1\r\n\r\n", b"GET / HTTP/9.9\r\nHost: a\r\n\r\n",
            b"GET / HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n",
            b"GET /\x00 HTTP/1.1\r\nHost: a\r\n\r\n", b"GET  / HTTP/1.1\r\nHost: a\r\n\r\n",
            b"GET / HTTP/1.1\r\nHost : a\r\n\r\n", b"GET / HTTP/1.1\r\nHost: a\x01\r\n\r\n",
            post + b"Content-Length: 5\r\nContent-Length: 6\r\n\r\n" + body,
            post + b"Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n" + body,
            post + b"Transfer-Encoding: chunked\r\nContent-Length: 5\r\n\r\n0\r\n\r\n" + body,
            post + b"Content-Length: -1\r\n\r\n" + body, post + b"Content-Length: +3\r\n\r\nabc",
            post + b"Content-Length: 99999999999999999999\r\n\r\n",
            post + b"Transfer-Encoding: chunked\r\n\r\nzz\r\n" + body,
            post + b"Transfer-Encoding: chunked\r\n\r\nffffffffffffffff1\r\n" + body,
            post + b"Content-Length: 70000\r\n\r\n" + b"x" * 70000,
            post + b"A: " + b"a" * 40000 + b"\r\n\r\n",
        ]
        for row in rows:
            with Stranger(self.port, tls=True) as stranger:
                stranger.send(row)
                data = stranger.rest()
                self.assertIsNotNone(data, row[:80])
                self.assertLessEqual(data.count(b"HTTP/1.1 "), 1, row[:80])
                if data:
                    self.assertRegex(data, rb"^HTTP/1.1 (400|413|431|501|505) ", row[:80])
        with Stranger(self.port) as stranger:
            stranger.send(b"GET / HTTP/1.1\r\nHost: a\r\n\r\n")
            self.assertNotIn(b"HTTP/1.1", stranger.rest(), "plain http where TLS is spoken")
        self.expect_alive()

    def test_one_connection_carries_requests_whose_answers_have_no_body(self):
        with Stranger(self.port, tls=True) as client:
            head = b" /v1/settings HTTP/1.1\r\nHost: a\r\n"
            client.send(b"HEAD" + head + b"\r\n")
            status, _ = client.answer(head_only=True)
            self.assertIn(status, (401, 405))
            client.send(b"GET" + head + b"\r\nGET /v1/none HTTP/1.1\r\nHost: a\r\n\r\n")
            data = b""
            while data.count(b"HTTP/1.1 ") < 2:
                more = client.socket.recv(65536)
                self.assertTrue(more, "requests may follow without waiting")
                data += more
            self.assertTrue(data.startswith(b"HTTP/1.1 401 "), "the HEAD left a body behind")

    def test_thousands_of_connections_of_one_address_keep_nobody_else_out(self):
        held = []
        self.addCleanup(lambda: [stranger.socket.close() for stranger in held])
        for _ in range(1500):
            try:
                held.append(Stranger(self.port, "127.0.0.2", seconds=1))
            except OSError:
                break
        time.sleep(0.5)
        self.expect_alive()
        self.assertLess(len((self.work / "log").read_bytes()), 2000, "no stranger fills a log")

    def test_slow_and_silent_peers_are_closed(self):
        ended = {}

        def silent(name, tls, first):
            with Stranger(self.port, tls=tls, seconds=40) as stranger:
                stranger.send(first)
                ended[name] = stranger.rest()

        def dribbling():
            with Stranger(self.port, tls=True, seconds=1) as stranger:
                stranger.send(b"GET /v1/settings HTTP/1.1\r\nHost: ")
                for _ in range(40):
                    stranger.send(b"a")
                    data = stranger.rest()
                    if data is not None:
                        ended["dribbling"] = data
                        return

        threads = [threading.Thread(target=silent, args=("no handshake", False, b"")),
                   threading.Thread(target=silent, args=("half a handshake", False,
                                                         b"\x16\x03\x01\x02\x00\x01")),
                   threading.Thread(target=silent, args=(
                       "half a body", True,
                       b"POST /v1/pair HTTP/1.1\r\nHost: a\r\nContent-Length: 9\r\n\r\n{")),
                   threading.Thread(target=dribbling)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(45)
        self.assertEqual(sorted(k for k, v in ended.items() if v is not None),
                         ["dribbling", "half a body", "half a handshake", "no handshake"])


if __name__ == "__main__":
    unittest.main()
