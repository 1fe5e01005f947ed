#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""storage.py IDLEWYN SANDBOX_RELAY: what the command keeps, where, and for whom."""
import contextlib
import fcntl
import http.server
import json
import re
import sqlite3
import sys
import threading
import time

sys.dont_write_bytecode = True
import sandbox
from keyring import Keyring
from sandbox import CommandTest, session

HEAVY = re.compile(r"cairo|pango|harfbuzz|freetype|fontconfig|icu|gtk|gdk|glib|gobject|gio|dbus"
                   r"|secret", re.IGNORECASE)


class Connections(CommandTest):
    def test_are_listed_without_secrets(self):
        self.assertEqual(self.connections(), [])
        self.assertIn("No agent is paired", self.run_command("connections"))
        relay = self.paired("claude", "codex", options=["--account", "robin\x1b[2J"])
        listed = self.connections()
        self.assertEqual([c["agent"] for c in listed], ["claude", "codex"])
        self.assertEqual({(c["address"], c["fingerprint"]) for c in listed},
                         {(relay.address, relay.fingerprint)})
        text = self.run_command("connections", "--agent", "codex")
        self.assertIn("Codex as robin\\u{1B}[2J at " + relay.address, text)
        self.assertNotIn("Claude", text)

    def test_pairing_anew_replaces_and_revokes(self):
        relay, other = self.paired("claude"), self.paired()
        old = self.stored()
        self.assertTrue(self.pair(relay, "claude")["replaced"])
        self.assertEqual(relay.asked()[-1], "/v1/unpair")
        self.run_command("sessions")
        new = self.stored()
        self.store(old)
        self.run_command("sessions", status=4)
        self.store(new)
        # Whatever becomes of the old token, the new pairing stands.
        for fault, is_told in (("status=500", True), ("status=401", False)):
            relay.fault("v1/unpair", fault)
            other.renew()
            self.note_secrets(other)
            text = self.run_command("pair", other.pairingLink, "--agent", "claude")
            self.assertIn("This replaces", text)
            self.assertEqual("could not be revoked" in text, is_told, text)
            self.assertEqual([c["serverURL"] for c in self.stored()], [other.address])
            self.store(new)
        relay.stop()
        self.assertTrue(self.pair(other, "claude")["replaced"])
        self.run_command("sessions")

    def test_unpairing_removes_all_that_there_is_of_an_agent(self):
        relay = self.paired("claude", "codex")
        relay.show(session("claude"), session("codex"))
        self.run_command("sessions")
        self.run_command("unpair", "--agent", "claude")
        self.assertEqual([c["provider"] for c in self.stored()], ["codex"])
        self.assertEqual(self.seen(), {"s-codex"})
        self.assertEqual(relay.asked()[-1], "/v1/unpair")
        self.run_command("unpair")
        self.assertEqual((self.items(), self.seen()), ({}, set()))

    def test_the_list_is_only_changed_under_the_lock(self):
        relay = self.paired("codex")
        before = self.items()
        relay.fault("v1/pair", "delay=1")
        pairing = self.start_pairing(relay, "claude")
        self.wait_for_request(relay, "/v1/pair", 2)
        with open(self.keychain / "connections.lock", "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            moving = self.start("keychain", "move", "file")
            time.sleep(1.5)
            self.assertEqual((pairing.poll(), moving.poll()), (None, None))
            self.assertEqual(self.items(), before)
        self.finish(pairing, 0)
        self.finish(moving, 0)
        self.assertEqual([c["provider"] for c in self.stored()], ["codex", "claude"])

    def test_a_list_that_cannot_be_saved_keeps_the_pairing_on_both_sides(self):
        relay = self.paired("claude")
        before = self.items()
        with contextlib.closing(sqlite3.connect(self.file)) as database:
            database.execute("BEGIN IMMEDIATE")
            self.assertEqual(self.run_json("unpair", status=1)["error"]["kind"], "storage")
        self.assertEqual(self.items(), before)
        self.run_command("sessions")

    def test_damaged_ones_are_set_aside(self):
        relay = self.paired("claude")
        self.assertIn("not damaged", self.run_command("unpair", "--damaged", status=1))
        listed = self.stored()
        damaged = ((b"[", "damaged;"), (b'{"accessToken":"hushhush"}', "damaged"),
                   (json.dumps([{**listed[0], "accountName": 7}]).encode(), "accountName"),
                   (json.dumps([{**listed[0], "provider": "hushhush"}]).encode(), "provider"),
                   (b"", "damaged"))
        keys = ["connections.damaged"] + [f"connections.damaged-{n}" for n in (2, 3, 4, 5)]
        self.secrets.add("hushhush")
        for (value, part), key in zip(damaged, keys):
            self.store(value)
            for command in (("connections",), ("sessions",), ("unpair",), ("pin", "show"),
                            ("pair", relay.pairingLink, "--agent", "claude")):
                text = self.run_command(*command, status=1)
                self.assertIn(part, text)
                self.assertIn("unpair --damaged", text)
            self.assertEqual(self.items()["connections"], value)
            self.run_command("unpair", "--damaged")
            self.assertEqual(self.items()[key], value)
            self.assertEqual(self.connections(), [])
        self.assertEqual(list(self.items()), keys)

    def set_aside(self):
        """The files, without what belongs to them."""
        return set(self.keychain.glob("keychain.sqlite3.damaged-*[Z0-9]"))

    def test_a_damaged_file_is_set_aside_by_name_and_only_then(self):
        relay = self.paired("claude")
        whole, file = self.file.read_bytes(), str(self.file)
        for damage in (b"x\n", b"", whole[:60], b"x" * len(whole), whole[:4096] + bytes(4096)):
            self.file.write_bytes(damage)
            for command in (("connections",), ("sessions",), ("unpair",), ("keychain", "where"),
                            ("doctor",), ("keychain", "move", "file"),
                            ("pair", relay.pairingLink, "--agent", "codex")):
                text = self.run_command(*command, status=command[0:2] != ("keychain", "where"))
                self.assertIn(f"{file} is damaged", text, command)
                self.assertIn("unpair --damaged", text, command)
            del self.environment["IDLEWYN_KEYCHAIN"]  # and nothing was recorded
            self.assertIn("is damaged", self.run_command("connections", status=1))
            self.environment["IDLEWYN_KEYCHAIN"] = "file"
            self.assertIn(file, self.run_json("keychain", "where")["problem"])
            self.assertEqual(self.file.read_bytes(), damage, "nothing touches it unasked")
            before = self.set_aside()
            text = self.run_command("unpair", "--damaged")
            aside, = self.set_aside() - before
            self.assertIn(f"aside as {aside}; no agent", text)
            self.assertEqual(aside.read_bytes(), damage, "nothing is lost")
            self.assertEqual(self.connections(), [])
            self.assertNotIn("problem", self.run_json("keychain", "where"))
            self.assertIn("not damaged", self.run_command("unpair", "--damaged", status=1))
            self.pair(relay, "claude")
        kept = self.file.read_bytes()
        for mode, status, part in ((0o644, 1, f"chmod 600 {file}"), (0o600, 0, "Claude")):
            self.file.chmod(mode)
            self.run_command("unpair", "--damaged", status=1)
            self.assertIn(part, self.run_command("connections", status=status))
            self.assertEqual(self.file.read_bytes(), kept, "what is not damaged stays")

    def test_a_place_that_is_none_is_named(self):
        self.environment["IDLEWYN_KEYCHAIN"] = "bogus"
        for command, status in ((("connections",), 1), (("pair", "-", "--agent", "claude"), 1),
                                (("doctor",), 1), (("keychain", "where"), 0),
                                (("keychain", "move", "file"), 1)):
            text = self.run_command(*command, status=status,
                                    input="idlewyn://pair?url=http://r.example&code=c\n")
            self.assertIn('IDLEWYN_KEYCHAIN is "bogus", which is neither secret-service nor file '
                          'nor memory', text, command)


class Snapshot(CommandTest):
    def libraries(self, *command):
        """What the loader says that it has loaded, from the start or later."""
        self.environment["LD_DEBUG"] = "files"
        self.environment["LD_DEBUG_OUTPUT"] = str(self.home / "tmp/loaded")
        self.run_command(*command)
        del self.environment["LD_DEBUG"]
        found = set()
        for log in (self.home / "tmp").glob("loaded.*"):
            found.update(re.findall(r"calling init: (\S+)", log.read_text(errors="replace")))
            log.unlink()
        return found

    def test_is_saved_for_others_by_agents(self):
        relay, other = self.paired("claude"), self.paired("codex")
        relay.show(session("claude"))
        other.show(session("codex"))
        for command in (("sessions",), ("watch", "--count", "1")):
            self.run_command(*command)
            self.assertEqual(self.seen(), {"s-claude", "s-codex"})
            relay.show(session("claude", id="later"))
            other.show(session("codex", id="unseen"))
            self.run_command(*command, "--agent", "claude")
            self.assertEqual(self.seen(), {"later", "s-codex"})
            relay.show(session("claude"))
            other.show(session("codex"))
        other.stop()
        self.run_command("sessions", status=3)
        self.assertEqual(self.seen(), {"s-claude", "s-codex"}, "the last that was known")
        # Of an agent that is paired no more nothing stays.
        self.run_command("unpair", "--agent", "codex", "--forget")
        self.pair(relay, "codex")
        self.run_command("sessions")
        self.store([c for c in self.stored() if c["provider"] == "claude"])
        relay.show(session("claude"))
        self.run_command("sessions")
        self.assertEqual(self.seen(), {"s-claude"})

    def test_is_drawn_without_a_socket_and_without_heavy_libraries(self):
        keyring = self.enterContext(Keyring())
        del self.environment["IDLEWYN_KEYCHAIN"]
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = keyring.address
        self.paired("claude")
        self.assertEqual(self.run_json("keychain", "where")["place"], "secret-service")
        self.run_command("sessions")
        for format in ("text", "line", "waybar"):
            text = self.run_command("status", "--format", format, preexec_fn=sandbox.die_on_socket)
            self.assertIn("larkspur" if format == "text" else "working", text)
            loaded = self.libraries("status", "--format", format)
            self.assertIn("libidlewynkit-core", " ".join(loaded))
            self.assertEqual([name for name in loaded if HEAVY.search(name)], [])
        for command, part in ((("render", "--output", f"{self.home}/a.png"), "cairo"),
                              (("connections",), "secret")):
            self.assertIn(part, " ".join(self.libraries(*command)), "the look would miss it")

    def test_formats(self):
        empty = {"text": "", "tooltip": "No sessions", "alt": "none", "class": "none"}
        self.assertEqual(json.loads(self.run_command("status", "--format", "waybar")), empty)
        self.assertEqual(self.run_command("status", "--format", "line"), "No sessions\n")
        self.assertNotIn("ago", self.run_command("status"))
        relay = self.paired("claude")
        relay.show(session("claude", {"id": "p", "detail": "ls"}, title='<b>&"\n\x1b\u202e'))
        self.run_command("sessions")
        raw = self.run_command("status", "--format", "waybar")
        self.assertEqual(raw.count("\n"), 1)
        bar = json.loads(raw)
        self.assertEqual((bar["text"], bar["class"], bar["alt"]),
                         ("1 needs you", "waitingForInput", "waitingForInput"))
        lines = bar["tooltip"].split("\n")
        self.assertEqual(len(lines), 2, lines)
        self.assertIn('&lt;b&gt;&amp;"\\n\\u{1B}\\u{202E}', lines[1])
        self.assertEqual(self.run_command("status", "--format", "line"), "1 needs you\n")
        self.assertRegex(self.run_command("status"), r"As of \d:\d\d ago\.")
        self.assertEqual(list(self.run_json("status")),
                         ["summary", "updatedAt", "sessions", "errors"])


class Pictures(CommandTest):
    def test_are_of_the_kind_that_was_asked_for(self):
        file = self.home / "picture"
        for arguments, name, magic in (
                ((), ".png", b"\x89PNG"), ((), ".pdf", b"%PDF"),
                (("--format", "svg"), "", b"<?xml"), (("--scale", "1"), "", b"\x89PNG"),
                (("--format", "pdf"), ".png", b"%PDF")):
            path = file.with_suffix(name)
            self.run_command("render", "--output", str(path), *arguments)
            self.assertEqual(path.read_bytes()[:len(magic)], magic, arguments)
            self.assertEqual(path.stat().st_mode & 0o111, 0)
            path.unlink()
        out, _ = self.finish(self.start("render", "--format", "svg"), 0)
        self.assertIn("<svg", out)
        relay = self.paired("claude")
        relay.show(session("claude", title="<&\n" * 3000))
        self.run_command("sessions")
        pictures = {}
        for look in ("light", "dark", "night"):
            self.run_command("render", "--output", f"{file}.png", "--appearance", look)
            pictures[look] = file.with_suffix(".png").read_bytes()
        self.assertEqual(len(set(pictures.values())), 3)

    def test_of_nonsense_there_are_none(self):
        for arguments, status in ((("--format", "gif"), 2), (("--output", "a.gif"), 2),
                                  (("--appearance", "pink"), 2), (("--scale", "0"), 2),
                                  (("--scale", "nan"), 2),
                                  (("--output", str(self.home), "--format", "png"), 1),
                                  (("--output", "/nonexistent/a.png"), 1)):
            self.run_command("render", *arguments, status=status)
        terminal = sandbox.Terminal(self.environment, "render")
        self.assertIn("--output", terminal.finish(self, 2))
        self.assertNotIn("PNG", terminal.shown)


class Gateway(http.server.BaseHTTPRequestHandler):
    status, asked = 200, []

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        Gateway.asked.append((self.path, json.loads(body)))
        self.send_response(Gateway.status)
        self.end_headers()
        self.wfile.write(b'{"pushKey":"hush-key"}')

    def log_message(self, *_):
        pass


class Push(CommandTest):
    def setUp(self):
        super().setUp()
        self.secrets.update({"a1b2c3d4", "A1B2C3D4", "hush-key"})

    def kept(self, relay):
        return relay.control("push-tokens", method="GET")["pushTokens"]

    @contextlib.contextmanager
    def gateway(self):
        server = http.server.HTTPServer(("127.0.0.1", 0), Gateway)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        information = self.home / "info.json"
        information.write_text(json.dumps(
            {"VantorPushGateway": f"http://127.0.0.1:{server.server_port}/base"}))
        self.environment["IDLEWYN_INFO"] = str(information)
        Gateway.status, Gateway.asked = 200, []
        yield
        server.shutdown()
        server.server_close()

    def test_tokens_go_to_every_relay_with_the_gateways_key(self):
        relay, other = self.paired(), self.paired()
        self.pair(relay, "claude")
        self.pair(other, "codex")
        record = self.run_json("push", "register", "A1B2C3D4")
        self.assertEqual(record["agents"], ["claude", "codex"])
        self.assertFalse(record["hasPushKey"])
        self.assertRegex(record["deviceID"], "^[0-9a-f]{32}$")
        with self.gateway():
            again = self.run_json("push", "register", "a1b2c3d4", "--kind", "pushToStart",
                                  "--environment", "sandbox")
            self.assertTrue(again["hasPushKey"])
            self.assertEqual(again["deviceID"], record["deviceID"], "one a machine")
            self.assertEqual(Gateway.asked, [("/base/v1/register", {
                "token": "a1b2c3d4", "environment": "sandbox"})])
            for one in (relay, other):
                first, second = self.kept(one)
                self.assertEqual(first["token"], "a1b2c3d4")
                self.assertNotIn("pushKey", first)
                self.assertEqual((second["kind"], second["environment"], second["pushKey"]),
                                 ("pushToStart", "sandbox", "hush-key"))
            other.stop()
            partly = self.run_json("push", "register", "a1b2c3d4", status=3)
            self.assertEqual((partly["agents"], [e["agent"] for e in partly["errors"]]),
                             (["claude"], ["codex"]))
            relay.control("requests", method="DELETE")
            Gateway.status = 503
            self.run_command("push", "register", "a1b2c3d4", status=14)
        self.run_command("push", "register", "a1b2c3d4", status=20)
        self.assertEqual(relay.asked(), [], "no token without the key that belongs to it")

    def test_malformed_tokens_are_refused(self):
        for token in ("", "a1b2c3d", "a1b2c3d4x0", "xy"):
            self.run_command("push", "register", token, status=2)


if __name__ == "__main__":
    sandbox.run()
