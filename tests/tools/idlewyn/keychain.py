#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""keychain.py IDLEWYN SANDBOX_RELAY: pairings in the Secret Service, and on the way to and fro."""
import json
import sys
import time

sys.dont_write_bytecode = True
import sandbox
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

    def move(self, *arguments, status=0):
        return self.run_command("keychain", "move", *arguments, status=status)

    def test_are_moved_both_ways_and_lose_nothing(self):
        self.assertIsNone(self.where())
        self.pair(self.relay, "claude")
        listed = self.connections()
        self.assertEqual((self.where(), self.items()), ("secret-service", {}))
        self.assertIn("Moved: 1 item.", self.move("file"))
        self.assertEqual((self.where(), self.connections()), ("file", listed))
        self.assertEqual(len(self.stored()), 1)
        self.keyring.lock()
        self.assertIn("Nothing is lost", self.move("secret-service", status=1))
        self.assertEqual((self.where(), self.connections()), ("file", listed))
        self.keyring.unlock()
        moved = json.loads(self.move("secret-service", "--json"))
        self.assertEqual((moved["place"], self.where()), ("secret-service",) * 2)
        self.assertEqual((self.items(), self.connections()), ({}, listed))
        self.assertIn("Moved: 0 items", self.move("secret-service"))
        self.environment["IDLEWYN_KEYCHAIN"] = "secret-service"
        self.move("file", status=1)
        self.move("memory", status=2)
        self.run_command("sessions")

    def test_that_are_out_of_reach_cost_no_connection_and_no_code(self):
        self.keyring.lock()  # while it holds nothing yet
        self.assertIn("is locked", "".join(
            self.finish(self.start_pairing(self.relay, "claude"), 1)))
        self.assertEqual(self.relay.asked(), [])
        self.keyring.unlock()
        self.pair(self.relay, "claude")
        listed = self.connections()
        self.relay.renew()
        self.note_secrets(self.relay)
        address, nowhere = self.keyring.address, "unix:path=/nonexistent"
        for out, back, bus, word in (
                (self.keyring.lock, self.keyring.unlock, address, "is locked"),
                (self.keyring.stop, self.keyring.start, address, "can't be reached"),
                (lambda: None, lambda: None, nowhere, "can't be reached")):
            out()
            self.environment["DBUS_SESSION_BUS_ADDRESS"] = bus
            self.relay.control("requests", method="DELETE")
            for command in (("pair", self.relay.pairingLink, "--agent", "codex"),
                            ("pair", self.relay.pairingLink, "--agent", "claude"), ("unpair",),
                            ("unpair", "--forget"), ("unpair", "--damaged"), ("connections",),
                            ("pin", "replace", "--pin", self.relay.fingerprint), ("sessions",),
                            ("keychain", "move", "file"), ("push", "register", "abcd")):
                begin = time.monotonic()
                self.assertIn(word, self.run_command(*command, status=1), command)
                self.assertLess(time.monotonic() - begin, 5)
            self.assertEqual(self.relay.asked(), [], "neither code nor token was used")
            self.assertEqual(self.items(), {}, "no second place was begun")
            back()
            self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
            self.assertEqual(self.connections(), listed)
        self.run_command("pair", self.relay.pairingLink, "--agent", "codex")
        self.run_command("sessions")

    def test_that_are_locked_while_pairing_end_the_new_pairing(self):
        self.pair(self.relay, "codex")
        listed = self.connections()
        self.relay.fault("v1/pair", "delay=1")
        process = self.start_pairing(self.relay, "claude")
        self.wait_for_request(self.relay, "/v1/pair", 2)
        self.keyring.lock()
        self.assertIn("has ended the new pairing", "".join(self.finish(process, 1)))
        self.assertEqual(self.relay.asked()[-1], "/v1/unpair")
        self.keyring.unlock()
        self.assertEqual(self.connections(), listed)
        self.run_command("sessions")


if __name__ == "__main__":
    sandbox.run()
