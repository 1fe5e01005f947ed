# SPDX-License-Identifier: MIT
"""doctor finds what was broken on purpose."""
import base64
import contextlib
import os
import re
import socket
import subprocess
import threading

from sandbox import CommandTest, Relay

STEPS = ["address", "name", "tcp", "tls", "dates", "pin", "answer", "token"]


def ordinary_user():
    """Root may write everywhere."""
    if os.geteuid() == 0:
        os.setgroups([])
        os.setgid(65534)
        os.setuid(65534)


def close_all(server):
    with contextlib.suppress(OSError):
        while True:
            server.accept()[0].close()


class Doctor(CommandTest):
    def examine(self, *arguments, status=0):
        """State and text of each check of relays, by name; people are shown the same."""
        checks = self.run_json("doctor", *arguments, status=status)["checks"]
        self.assertTrue(all(c["state"] == "ok" or c.get("advice") for c in checks), checks)
        self.run_command("doctor", *arguments, status=status, has=[
            text for c in checks for text in (c["message"], c.get("advice", ""))])
        return {c["name"]: (c["state"], c["message"] + " " + c.get("advice", "")) for c in checks}

    def check_fails(self, status, name, part, *arguments):
        """That this is the last step, and says so; it is well where the status is 0."""
        checks = self.examine(*arguments, status=status)
        self.assertEqual([step for step in checks if step in STEPS][-1], name, checks)
        self.assertEqual(checks[name][0], "failed" if status else "ok")
        self.assertIn(part, checks[name][1])
        self.assertEqual("Something else" in checks[name][1], "Something" in part, part)
        return checks

    def certificate(self, days, date=None, place=1):
        """A self-signed one; `date` overwrites its end, or with `place` 0 its beginning, which
        breaks the signature only."""
        key, file = self.home / "key.pem", self.home / "certificate.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:P-256", "-nodes", "-days", str(days), "-subj", "/CN=r",
                        "-keyout", key, "-out", file], check=True, capture_output=True)
        if date:
            der = base64.b64decode("".join(file.read_text().splitlines()[1:-1]))
            at = [m.start() for m in re.finditer(b"\x17\x0d", der)][place] + 2
            text = base64.encodebytes(der[:at] + date + der[at + 13:]).decode()
            file.write_text(f"-----BEGIN CERTIFICATE-----\n{text}-----END CERTIFICATE-----\n")
        return "--certificate", str(file), "--private-key", str(key)

    def test_finds_nothing_where_all_is_well_and_tells_agents_apart(self):
        relay = self.paired("claude")
        checks = self.examine()
        self.assertEqual([name for name in checks if name in STEPS], STEPS)
        self.assertEqual({checks[name][0] for name in STEPS}, {"ok"}, checks)
        self.assertIn(relay.fingerprint, checks["tls"][1])
        self.assertIn("127.0.0.1 takes connections", checks["tcp"][1])
        self.paired("codex").stop()
        checks = self.run_json("doctor", status=3)["checks"]
        self.assertEqual([(c["agent"], c["name"]) for c in checks if c["state"] == "failed"],
                         [("codex", "tcp")])
        self.examine("--agent", "claude")
        self.run_command("unpair", "--agent", "codex", "--forget")
        state, text = self.examine("--agent", "codex", status=1)["pairings"]
        self.assertEqual(state, "failed")
        self.assertIn("Codex is not paired", text)

    def test_names_the_step_that_fails(self):
        relay = self.paired("claude")
        for fault, status, name, part, without_pairing in (
                ("status=401", 4, "token", "pair again", False),
                ("status=403", 4, "token", "A proxy", False),
                ("status=404", 14, "answer", "does not know this path", False),
                ("status=418", 14, "answer", "Something else", False),
                ("status=429", 12, "answer", "wait a minute", True),
                ("status=502", 14, "answer", "does not reach the relay", False),
                ("status=503", 14, "answer", "is up and says", True),
                ("not-json", 13, "answer", "Something else", False),
                ("close", 20, "answer", "ends it without an answer", True)):
            relay.fault("*", fault)
            self.check_fails(status, name, part)
            if without_pairing:
                self.check_fails(status, name, part, "--address", relay.address)
            relay.heal()

    def test_a_wrong_certificate_gets_no_token(self):
        relay = self.paired("claude")
        old = relay.fingerprint
        relay.control("certificate")
        before = relay.asked()
        checks = self.check_fails(10, "pin", "pin replace --agent claude")
        self.assertIn(old, checks["pin"][1])
        self.assertEqual(relay.asked(), before)

    def test_an_address_before_pairing(self):
        silent = self.enterContext(socket.create_server(("127.0.0.1", 0)))
        threading.Thread(target=close_all, args=(silent,), daemon=True).start()
        port = silent.getsockname()[1]
        tls, http = self.paired(), self.paired(options=["--http"])
        for address, status, name, part in (
                (tls.address, 0, "answer", "it can be paired"),
                (http.address, 0, "answer", "it can be paired"),
                (tls.address + "/elsewhere", 14, "answer", "no relay; its status is 404"),
                (http.address.replace("http:", "https:"), 20, "tls", "http without"),
                (tls.address.replace("https:", "http:"), 20, "tls", "speaks TLS"),
                (f"https://127.0.0.1:{port}", 20, "tls", "something else may listen"),
                ("https://" + "a" * 70, 20, "name", "typing error"),
                ("https://127.0.0.1:1", 20, "tcp", "nothing listens")):
            checks = self.check_fails(status, name, part, "--address", address)
            self.assertNotIn("air again", str(checks), "nothing is paired")
        self.assertIn("nothing is encrypted", self.examine("--address", http.address)["address"][1])
        for nonsense in ("a b", "nonsense", "ftp://127.0.0.1", "https://"):
            for command in (("doctor",), ("pair", "--code", "x", "--agent", "claude")):
                self.run_command(*command, "--address", nonsense, status=2,
                                 has="must be http or https")

    def test_a_machine_that_stays_silent(self):
        with socket.create_server(("127.0.0.1", 0), backlog=0) as full, contextlib.ExitStack() as s:
            for _ in range(4):  # more than wait for being taken are not answered
                waiting = s.enter_context(socket.socket())
                waiting.setblocking(False)
                waiting.connect_ex(full.getsockname())
            address = f"https://127.0.0.1:{full.getsockname()[1]}"
            last = self.run_json("doctor", "--address", address, status=20)["checks"][-1]
            self.assertEqual(last["name"], "tcp")
            self.assertIn("whether the machine is on", last["advice"])

    def test_dates_of_certificates(self):
        for certificate, state, part in (((365,), "ok", "valid from 20"),
                                         ((10,), "warning", "have the new one at hand"),
                                         ((10, b"200102030405Z"), "warning", "has run out"),
                                         ((365, b"490102030405Z", 0), "warning", "clocks"),
                                         ((9, b"no time there"), None, "")):
            with Relay(*self.certificate(*certificate)) as relay:
                dates = self.examine("--address", relay.address).get("dates", (None, ""))
                self.assertEqual(dates[0], state)
                self.assertIn(part, dates[1])

    def test_this_machine(self):
        checks = self.examine()
        self.assertIn("pair - --agent", checks["pairings"][1])
        self.assertEqual(checks["notifications"][0], "warning")
        self.assertIn("no session bus", checks["notifications"][1])
        self.assertFalse((self.home / "data").exists(), "a look makes nothing")

    def test_a_folder_in_which_nothing_can_be_kept(self):
        folder, plain = self.home / "readonly", self.home / "plain"
        folder.mkdir(mode=0o555)
        plain.write_text("no folder")
        self.home.chmod(0o755)
        for path, part in ((plain, "plain is no folder"), (plain / "below", "plain is no folder"),
                           (folder, "Permission denied"), (folder / "below", "Permission denied")):
            self.environment["IDLEWYN_DATA_DIR"] = str(path)
            checks = self.run_json("doctor", status=1, preexec_fn=ordinary_user)["checks"]
            failed = {c["name"]: c["message"] for c in checks if c["state"] == "failed"}
            self.assertIn(part, failed["keychain"], path)
            self.assertIn(part, failed["snapshot"], path)
