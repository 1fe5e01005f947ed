# SPDX-License-Identifier: MIT
"""Pairings in the Secret Service, and on the way to and fro."""
import json
import time

from keyring import Keyring
from sandbox import CommandTest


class Places(CommandTest):
    def setUp(self):
        super().setUp()
        self.keyring = self.enterContext(Keyring())
        self.relay = self.paired()
        del self.environment["IDLEWYN_KEYCHAIN"]
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = self.keyring.address

    def where(self):
        return self.run_json("keychain", "where").get("place")

    def move(self, *arguments, **options):
        return self.run_command("keychain", "move", *arguments, **options)

    def test_are_moved_both_ways_and_lose_nothing(self):
        self.assertIsNone(self.where())
        self.pair(self.relay, "claude")
        listed = self.connections()
        self.assertEqual((self.where(), self.items()), ("secret-service", {}))
        self.move("file", has="Moved: 1 item.")
        self.assertEqual((self.where(), self.connections()), ("file", listed))
        self.assertEqual(len(self.stored()), 1)
        moved = json.loads(self.move("secret-service", "--json"))
        self.assertEqual((moved["place"], self.where()), ("secret-service",) * 2)
        self.assertEqual((self.items(), self.connections()), ({}, listed))
        self.move("secret-service", has="Moved: 0 items")
        self.keyring.lock()
        self.move("file", status=1, has="Nothing is lost")
        self.keyring.unlock()
        self.environment["IDLEWYN_KEYCHAIN"] = "secret-service"
        self.move("file", status=1)
        self.move("memory", status=2)
        self.run_command("sessions")

    def test_that_are_out_of_reach_cost_no_connection_and_no_code(self):
        self.keyring.lock()  # while it holds nothing yet
        link = self.relay.renew()
        self.run_command("pair", link, "--agent", "claude", status=1, has="is locked")
        self.keyring.unlock()
        self.run_command("pair", link, "--agent", "claude")
        listed, link = self.connections(), self.relay.renew()
        address, nowhere = self.keyring.address, f"unix:path={self.home}/absent"
        self.relay.forget()
        for out, back, bus, word in (
                (self.keyring.lock, self.keyring.unlock, address, "is locked"),
                (self.keyring.stop, self.keyring.start, address, "can't be reached"),
                (lambda: None, lambda: None, nowhere, "can't be reached")):
            out()
            self.environment["DBUS_SESSION_BUS_ADDRESS"] = bus
            for command in (("pair", link, "--agent", "codex"), ("pair", link, "--agent", "claude"),
                            ("unpair",), ("unpair", "--forget"), ("unpair", "--damaged"),
                            ("pin", "replace", "--pin", self.relay.fingerprint), ("sessions",),
                            ("keychain", "move", "file"), ("push", "register", "abcd"),
                            ("connections",)):
                begin = time.monotonic()
                self.run_command(*command, status=1, has=word)
                self.assertLess(time.monotonic() - begin, 5)
            self.assertEqual(self.relay.asked(), [], "neither code nor token was used")
            self.assertEqual(self.items(), {}, "no second place was begun")
            back()
            self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
            self.assertEqual(self.connections(), listed)
        self.run_command("pair", link, "--agent", "codex")
        self.run_command("sessions")

    def test_that_are_locked_while_pairing_end_the_new_pairing(self):
        self.pair(self.relay, "codex")
        listed = self.connections()
        self.relay.fault("v1/pair", "delay=1")
        process = self.start("pair", self.relay.renew(), "--agent", "claude")
        self.wait_for_request(self.relay, "/v1/pair", 2)
        self.keyring.lock()
        self.assertIn("has ended the new pairing", "".join(self.finish(process, 1)))
        self.assertEqual(self.relay.asked()[-1], "/v1/unpair")
        self.keyring.unlock()
        self.assertEqual(self.connections(), listed)
        self.run_command("sessions")
