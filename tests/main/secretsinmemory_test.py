#!/usr/bin/env python3
"""What a running daemon of a group holds of the group's password: nothing, in its memory or in its log.

Built with the address sanitizer, which does not use freed memory again for long, the daemon shows most.

usage: secretsinmemory_test.py DAEMON
"""
import json
import pathlib
import random
import signal
import string
import subprocess
import sys
import tempfile
import threading
import time
import unittest

DAEMON = sys.argv[1]
INITIALIZED = "Ethernet group load balancing encryption initialized"
# Freed memory loses its first bytes and keeps the others, so pieces are looked for. What stands somewhere with twice as
# many letters less one holds a whole piece.
PIECE = 8
# No mapping of the daemon's own is as large: it is the address sanitizer's, of addresses and not of their contents.
SHADOW = 1 << 32


def memory_of(pid):
    """Every mapping that can be read, as (name, bytes)."""
    with open(f"/proc/{pid}/maps") as maps, open(f"/proc/{pid}/mem", "rb", 0) as memory:
        for line in maps:
            span, rights, *rest = line.split(maxsplit=5)
            begin, end = (int(address, 16) for address in span.split("-"))
            if rights.startswith("r") and end - begin < SHADOW and "[v" not in line:
                memory.seek(begin)
                yield rest[3].strip() if len(rest) > 3 else "no file", memory.read(end - begin)


def pieces_of(text):
    return [text[begin : begin + PIECE] for begin in range(0, len(text) - PIECE + 1, PIECE)]


class SecretsInMemoryTest(unittest.TestCase):
    def start(self, password, marker):
        """A follower that has set up its encryption."""
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        etc = pathlib.Path(folder.name) / "etc"
        etc.mkdir()
        for name, values in {
            "hwinfo": {"HwMaxCurrent": 16, "HwHasMeter": True, "MainboardSn": "12-34-ABC-DE1", "HwLoadBalancingAdapter": "lo"},
            "settings": {"CurrentCtrlFixedChargeCurrentLimit": 16, "GroupLoadBalancingEnable": True,
                         "GroupLoadBalancingRole": "Follower", "GroupLoadBalancingInterface": "Ethernet",
                         "GroupLoadBalancingGroupId": 7, "GroupLoadBalancingFallbackCurrent": 6, "Marker": marker},
            "secrets": {"Comment": password[::-1], "GroupLoadBalancingPassword": password},
        }.items():
            (etc / f"{name}.json").write_text(json.dumps(values))
            (etc / f"{name}.json").chmod(0o600)
        self.log = []
        self.initialized = threading.Event()
        process = subprocess.Popen([DAEMON, f"--root={folder.name}", "-vv"], stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)

        def listen():
            for line in process.stderr:
                self.log.append(line)
                if INITIALIZED in line:
                    self.initialized.set()

        listener = threading.Thread(target=listen)
        listener.start()
        self.addCleanup(listener.join)
        self.addCleanup(process.kill)
        self.assertTrue(self.initialized.wait(60), "".join(self.log))
        return process

    def test_password_is_gone_soon_after_the_start(self):
        chance = random.Random(7)
        letters = string.ascii_letters + string.digits
        # One that a string object holds within itself, and one that it does not.
        for length in 15, 48:
            password, marker = ("".join(chance.choices(letters, k=length)) for _ in range(2))
            secrets = pieces_of(password) + pieces_of(password[::-1])
            process = self.start(password, marker)
            time.sleep(2)
            mappings = list(memory_of(process.pid))
            for piece in pieces_of(marker):
                self.assertTrue(any(piece.encode() in memory for _, memory in mappings), "settings are kept")
            found = [(piece, name) for name, memory in mappings for piece in secrets if piece.encode() in memory]
            self.assertEqual(found, [], password)
            process.send_signal(signal.SIGTERM)
            self.assertEqual(process.wait(20), 0)
            log = "".join(self.log)
            self.assertEqual([piece for piece in secrets if piece in log], [], password)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
