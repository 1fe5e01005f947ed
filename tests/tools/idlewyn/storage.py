# SPDX-License-Identifier: MIT
"""What the command keeps, where, and for whom."""
import contextlib
import fcntl
import functools
import http.server
import json
import re
import resource
import sqlite3
import threading
import time

import sandbox
from keyring import Keyring
from sandbox import CommandTest, Terminal, session

HEAVY = re.compile(r"cairo|pango|harfbuzz|freetype|fontconfig|icu|gtk|gdk|glib|gobject|gio|dbus"
                   r"|secret", re.IGNORECASE)


class Connections(CommandTest):
    def test_are_listed_without_secrets(self):
        self.assertEqual(self.connections(), [])
        self.run_command("connections", has="No agent is paired")
        relay = self.paired("claude", "codex", options=["--account", "robin\x1b[2J"])
        self.assertEqual([(c["agent"], c["address"], c["fingerprint"])
                          for c in self.connections()],
                         [(a, relay.address, relay.fingerprint) for a in ("claude", "codex")])
        self.run_command("connections", "--agent", "codex", lacks="Claude",
                         has="Codex as robin\\u{1B}[2J at " + relay.address)

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
            text = self.run_command("pair", other.renew(), "--agent", "claude",
                                    has="This replaces")
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
        pairing = self.start("pair", relay.renew(), "--agent", "claude")
        self.wait_for_request(relay, "/v1/pair", 2)
        with open(self.keychain / "connections.lock", "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            waiting = [self.start("keychain", "move", "file"),
                       self.start("pair", relay.pairingLink, "--agent", "claude")]
            time.sleep(1.5)
            self.assertEqual([p.poll() for p in (pairing, *waiting)], [None] * 3)
            self.assertEqual(self.items(), before)
            self.interrupt(waiting.pop())
        self.finish(pairing, 0)
        self.finish(*waiting, 0)
        self.assertEqual([c["provider"] for c in self.stored()], ["codex", "claude"])
        self.assertEqual(relay.asked().count("/v1/pair"), 2, "no code is sent before the lock")

    def test_a_list_that_cannot_be_saved_keeps_the_pairing_on_both_sides(self):
        relay = self.paired("claude")
        before, asked = self.items(), relay.asked()
        with contextlib.closing(sqlite3.connect(self.file)) as database:
            database.execute("BEGIN IMMEDIATE")
            self.assertEqual(self.run_json("unpair", status=1)["error"]["kind"], "storage")
        self.assertEqual(self.items(), before)
        self.environment["XDG_DATA_HOME"] = "/proc/x"
        self.run_command("pair", relay.renew(), "--agent", "claude", status=1)
        self.assertEqual(relay.asked(), asked)
        self.environment["XDG_DATA_HOME"] = str(self.home / "data")
        self.run_command("sessions")

    def test_damaged_ones_are_set_aside(self):
        relay = self.paired("claude")
        self.run_command("unpair", "--damaged", status=1, has="not damaged")
        listed, link = self.stored(), relay.renew()
        damaged = ((b"[", "damaged;"), (b'{"accessToken":"hushhush"}', "damaged"),
                   (json.dumps([{**listed[0], "accountName": 7}]).encode(), "accountName"),
                   (json.dumps([{**listed[0], "provider": "hushhush"}]).encode(), "provider"),
                   (b"", "damaged"))
        keys = ["connections.damaged"] + [f"connections.damaged-{n}" for n in (2, 3, 4, 5)]
        self.secrets.add("hushhush")
        relay.forget()
        for (value, part), key in zip(damaged, keys):
            self.store(value)
            for command in (("connections",), ("sessions",), ("unpair",), ("pin", "show"),
                            ("pair", link, "--agent", "claude")):
                self.run_command(*command, status=1, has=(part, "unpair --damaged"))
            self.assertEqual(self.items()["connections"], value)
            self.assertEqual(self.run_json("unpair", "--damaged"), {"item": key})
            self.assertEqual(self.items()[key], value)
            self.assertEqual(self.connections(), [])
        self.assertEqual(list(self.items()), keys)
        self.assertEqual(relay.asked(), [], "no code was spent")
        self.run_command("pair", link, "--agent", "claude")

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
                self.run_command(*command, status=command[0:2] != ("keychain", "where"),
                                 has=(f"{file} is damaged", "unpair --damaged"))
            del self.environment["IDLEWYN_KEYCHAIN"]  # and nothing was recorded
            self.run_command("connections", status=1, has="is damaged")
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
            self.pair(relay, "claude")
        kept = self.file.read_bytes()
        for mode, status, part in ((0o644, 1, f"chmod 600 {file}"), (0o600, 0, "Claude")):
            self.file.chmod(mode)
            self.run_command("unpair", "--damaged", status=1)
            self.run_command("connections", status=status, has=part)
            self.assertEqual(self.file.read_bytes(), kept, "what is not damaged stays")

    def test_a_place_that_is_none_is_named(self):
        self.environment["IDLEWYN_KEYCHAIN"] = "bogus"
        for command in (("connections",), ("pair", "-", "--agent", "claude"), ("doctor",),
                        ("keychain", "where"), ("keychain", "move", "file")):
            self.run_command(*command, status=command != ("keychain", "where"),
                             input="idlewyn://pair?url=http://r.example&code=c\n",
                             has='IDLEWYN_KEYCHAIN is "bogus", which is neither secret-service nor '
                             'file nor memory')


class Snapshot(CommandTest):
    def libraries(self, *command):
        """What the loader says that it has loaded, from the start or later."""
        self.environment["LD_DEBUG"] = "files"
        said = self.run_command(*command)
        del self.environment["LD_DEBUG"]
        return set(re.findall(r"calling init: (\S+)", said))

    def bar(self):
        return json.loads(self.run_command("status", "--format", "waybar"))

    def age(self, when="2026-03-05T14:07:09.250Z"):
        """Makes the snapshot one of another time."""
        place = self.home / f"data/idlewyn/defaults/{sandbox.GROUP}.sqlite3"
        with contextlib.closing(sqlite3.connect(place)) as database, database:
            read = "SELECT value FROM defaults WHERE key = 'sessionSnapshot'"
            snapshot = json.loads(database.execute(read).fetchone()[0])
            snapshot["updatedAt"] = when
            database.execute("UPDATE defaults SET value = ? WHERE key = 'sessionSnapshot'",
                             (json.dumps(snapshot).encode(),))

    def test_is_saved_for_others_by_agents(self):
        relay, other = self.paired("claude"), self.paired("codex")
        for command in (("sessions",), ("watch", "--count", "1")):
            relay.show(session("claude"))
            other.show(session("codex"))
            self.run_command(*command)
            self.assertEqual(self.seen(), {"s-claude", "s-codex"})
            relay.show(session("claude", id="later"))
            other.show(session("codex", id="unseen"))
            self.run_command(*command, "--agent", "claude")
            self.assertEqual(self.seen(), {"later", "s-codex"})
        other.stop()
        self.run_command("sessions", status=3)
        self.assertEqual(self.seen(), {"later", "s-codex"}, "the last that was known")
        # Of an agent that is paired no more nothing stays.
        self.store([c for c in self.stored() if c["provider"] == "claude"])
        self.run_command("sessions")
        self.assertEqual(self.seen(), {"later"})

    def test_is_drawn_without_a_socket_and_without_heavy_libraries(self):
        keyring = self.enterContext(Keyring())
        del self.environment["IDLEWYN_KEYCHAIN"]
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = keyring.address
        self.paired("claude")
        self.assertEqual(self.run_json("keychain", "where")["place"], "secret-service")
        self.run_command("sessions")
        for format, part in (("text", "larkspur"), ("line", "working"), ("waybar", "working")):
            self.run_command("status", "--format", format, has=part,
                             preexec_fn=sandbox.die_on_socket)
            loaded = self.libraries("status", "--format", format)
            self.assertIn("libidlewynkit-core", " ".join(loaded))
            self.assertEqual([name for name in loaded if HEAVY.search(name)], [])
        for command, part in ((("render", "--output", f"{self.home}/a.png"), "cairo"),
                              (("connections",), "secret")):
            self.assertIn(part, " ".join(self.libraries(*command)), "the look would miss it")

    def test_formats(self):
        self.assertEqual(self.bar(), {"text": "", "tooltip": "No sessions", "alt": "none",
                                      "class": "none"})
        self.assertEqual(self.run_command("status", "--format", "line"), "No sessions\n")
        self.run_command("status", lacks="ago")
        relay = self.paired("claude")
        relay.show(session("claude", {"id": "p", "detail": "ls"}, title='<b>&"\n\x1b\u202e'))
        self.run_command("sessions")
        raw = self.run_command("status", "--format", "waybar")
        self.assertEqual(raw.count("\n"), 1)
        bar = json.loads(raw)
        self.assertEqual((bar["text"], bar["class"], bar["alt"]),
                         ("1 needs you", "waitingForInput", "waitingForInput"))
        lines = bar["tooltip"].split("\n")
        self.assertRegex(lines[0], r"As of \d:\d\d ago\.")
        self.assertEqual(lines[1], "1 needs you")
        self.assertIn('&lt;b&gt;&amp;"\\u{0A}\\u{1B}\\u{202E}', lines[2])
        self.assertEqual(self.run_command("status", "--format", "line"), "1 needs you\n")
        self.assertRegex(self.run_command("status"), r"As of \d:\d\d ago\.")
        self.age()
        self.assertRegex(self.run_command("status", "--format", "line"), r"1 needs you \(.* ago\)")
        bar = self.bar()
        self.assertRegex(bar["text"], r"1 needs you \(.* ago\)")
        self.assertEqual((bar["class"], bar["alt"]), ("stale", "waitingForInput"))
        self.age("2199-01-01T00:00:00.000Z")
        self.assertEqual(self.bar()["class"], "stale", "the clock was ahead, and is right again")

    def test_is_as_old_as_the_answers(self):
        relay, other = self.paired("claude"), self.paired("codex")
        relay.show(session("claude"))
        other.show(session("codex"))
        self.run_command("sessions")
        first = self.run_json("status")
        time.sleep(1.1)
        for each in (relay, other):
            each.fault("v1/sessions", "status=503")
        for command in (("sessions",), ("watch", "--count", "1"), ("sessions", "--agent", "codex")):
            shown = self.run_json(*command, status=14)
            self.assertEqual((shown["updatedAt"], shown["errors"][-1]["answeredAt"]),
                             (first["updatedAt"],) * 2, command)
            now = self.run_json("status")
            for key in ("updatedAt", "sessions", "agents"):
                self.assertEqual(now[key], first[key], "nobody saw anything new")
            self.assertEqual([error["kind"] for error in now["errors"]], ["server"] * 2)
            self.assertEqual(now["stale"], ["claude", "codex"])
        self.run_command("sessions", status=14, has="503. Last seen 0:0")
        self.run_command("watch", "--count", "1", status=14, has="503. Last answer 0:0")
        relay.heal()
        for command in (("sessions",), ("watch", "--count", "1")):
            shown = self.run_json(*command, status=3)
            self.assertEqual(shown["errors"][0]["answeredAt"], first["updatedAt"])
            self.assertGreater(shown["updatedAt"], first["updatedAt"])
            self.assertEqual(self.run_json("status")["updatedAt"], shown["updatedAt"])
            self.assertEqual(self.seen(), {"s-claude", "s-codex"})
        only = self.run_json("status", "--agent", "codex")
        old = {"agent": "codex", "answeredAt": first["updatedAt"]}
        self.assertEqual((only["updatedAt"], only["agents"]), (first["updatedAt"], [old]))
        self.assertEqual(self.run_json("status")["agents"][1], old)
        self.run_command("status", has="ago.\nCodex: last seen 0:0")
        self.assertIn("\nCodex: last seen 0:0", self.bar()["tooltip"])

    def test_is_small_in_a_bar(self):
        def width(line):
            return sum((c != "\u0301") + (c == "日") for c in line)

        relay = self.paired("claude")
        relay.show(*(session("claude", id=f"s-{n}", title=title, workingDirectory="/" + title)
                     for title in ("日" * 900, "e" + "\u0301" * 900) for n in range(30)))
        self.run_command("sessions")
        lines = self.bar()["tooltip"].split("\n")
        self.assertEqual((len(lines), lines[-1]), (20, "… 43 more"))
        self.assertLess(max(map(len, lines)), 200)
        self.assertIn(max(map(width, lines)), range(71, 81), "and not smaller than need be")


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
        self.run_command("render", "--format", "svg", has="<svg")
        relay = self.paired("claude")
        relay.show(session("claude", title="<&\n" * 3000))
        self.run_command("sessions")
        pictures = set()
        for look in ("light", "dark", "night"):
            self.run_command("render", "--output", f"{file}.png", "--appearance", look)
            pictures.add(file.with_suffix(".png").read_bytes())
        self.assertEqual(len(pictures), 3)

    def test_replace_others_as_a_whole_and_follow_no_links(self):
        file, link = self.home / "a.png", self.home / "link.png"
        file.write_text("old")
        file.chmod(0o640)
        link.symlink_to(file)
        self.run_command("render", "--output", str(link), status=1, has="is a link")

        no_room = functools.partial(resource.setrlimit, resource.RLIMIT_FSIZE, (64, 64))
        self.run_command("render", "--output", str(file), status=1, preexec_fn=no_room,
                         restore_signals=False)  # Python ignores SIGXFSZ
        self.assertEqual(file.read_text(), "old")
        self.run_command("render", "--output", str(file))
        self.assertEqual(file.read_bytes()[:4], b"\x89PNG")
        self.assertEqual(file.stat().st_mode & 0o777, 0o640)
        self.assertEqual({path.name for path in self.home.glob("*.png*")}, {"a.png", "link.png"})

    def test_of_nonsense_there_are_none(self):
        for arguments, status in ((("--format", "gif"), 2), (("--output", "a.gif"), 2),
                                  (("--appearance", "pink"), 2), (("--scale", "0"), 2),
                                  (("--scale", "nan"), 2),
                                  (("--output", str(self.home), "--format", "png"), 1),
                                  (("--output", str(self.home / "absent/a.png")), 1)):
            self.run_command("render", *arguments, status=status)
        shown = Terminal(self.environment, "render").finish(self, 2)
        self.assertIn("--output", shown)
        self.assertNotIn("PNG", shown)


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
    def test_tokens_go_to_every_relay_with_the_gateways_key(self):
        self.secrets.update({"a1b2c3d4", "A1B2C3D4", "hush-key"})
        relay, other = self.paired("claude"), self.paired("codex")
        record = self.run_json("push", "register", "A1B2C3D4")
        self.assertEqual((record["agents"], record["hasPushKey"]), (["claude", "codex"], False))
        self.assertRegex(record["deviceID"], "^[0-9a-f]{32}$")
        with http.server.HTTPServer(("127.0.0.1", 0), Gateway) as server:
            threading.Thread(target=server.serve_forever, daemon=True).start()
            information = self.home / "info.json"
            information.write_text(json.dumps(
                {"VantorPushGateway": f"http://127.0.0.1:{server.server_port}/base"}))
            self.environment["IDLEWYN_INFO"] = str(information)
            again = self.run_json("push", "register", "a1b2c3d4", "--kind", "pushToStart",
                                  "--environment", "sandbox")
            self.assertTrue(again["hasPushKey"])
            self.assertEqual(again["deviceID"], record["deviceID"], "one a machine")
            self.assertEqual(Gateway.asked, [("/base/v1/register", {
                "token": "a1b2c3d4", "environment": "sandbox"})])
            for one in (relay, other):
                first, second = one.control("push-tokens", method="GET")["pushTokens"]
                self.assertEqual(first["token"], "a1b2c3d4")
                self.assertNotIn("pushKey", first)
                self.assertEqual((second["kind"], second["environment"], second["pushKey"]),
                                 ("pushToStart", "sandbox", "hush-key"))
            other.stop()
            partly = self.run_json("push", "register", "a1b2c3d4", status=3)
            self.assertEqual((partly["agents"], [e["agent"] for e in partly["errors"]]),
                             (["claude"], ["codex"]))
            relay.forget()
            Gateway.status = 503
            self.run_command("push", "register", "a1b2c3d4", status=14)
            server.shutdown()
        self.run_command("push", "register", "a1b2c3d4", status=20)
        self.assertEqual(relay.asked(), [], "no token without the key that belongs to it")

    def test_malformed_tokens_are_refused(self):
        for token in ("", "a1b2c3d", "a1b2c3d4x0", "xy"):
            self.run_command("push", "register", token, status=2)
