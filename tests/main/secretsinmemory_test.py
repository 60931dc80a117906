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
    def start(self, folder, password, marker):
        """A follower that has set up its encryption; its log goes to a file in the folder."""
        (folder / "etc").mkdir()
        for name, values in {
            "hwinfo": {"HwMaxCurrent": 16, "HwHasMeter": True, "HwLoadBalancingAdapter": "lo", "Marker": marker},
            "settings": {"GroupLoadBalancingEnable": True, "GroupLoadBalancingRole": "Follower",
                         "GroupLoadBalancingInterface": "Ethernet", "GroupLoadBalancingGroupId": 7},
            "secrets": {"NotAsked": password[::-1], "GroupLoadBalancingPassword": password},
        }.items():
            (folder / "etc" / f"{name}.json").write_text(json.dumps(values))
        with open(folder / "log", "w") as log:
            process = subprocess.Popen([DAEMON, f"--root={folder}", "-vv"], stderr=log)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        deadline = time.monotonic() + 60
        while INITIALIZED not in (folder / "log").read_text() and time.monotonic() < deadline:
            time.sleep(0.1)
        self.assertIn(INITIALIZED, (folder / "log").read_text())
        return process

    def test_password_is_gone_soon_after_the_start(self):
        chance = random.Random(7)
        # One that a string object holds within itself, and one that it does not.
        for length in 15, 48:
            password, marker = ("".join(chance.choices(string.ascii_letters, k=length)) for _ in range(2))
            secrets = pieces_of(password) + pieces_of(password[::-1])
            with tempfile.TemporaryDirectory() as name:
                folder = pathlib.Path(name)
                process = self.start(folder, password, marker)
                time.sleep(2)
                mappings = list(memory_of(process.pid))
                process.send_signal(signal.SIGTERM)
                self.assertEqual(process.wait(20), 0)
                log = (folder / "log").read_text()
            for piece in pieces_of(marker):
                self.assertTrue(any(piece.encode() in memory for _, memory in mappings), "what is no secret is kept")
            found = [(piece, name) for name, memory in mappings for piece in secrets if piece.encode() in memory]
            self.assertEqual(found + [piece for piece in secrets if piece in log], [], password)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
