#!/usr/bin/env python3
"""The command grouplead: what it prints where, and its status.

usage: grouplead_test.py GROUPLEAD
"""
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

GROUPLEAD = sys.argv[1]


def run(*words):
    done = subprocess.run([GROUPLEAD, *words], capture_output=True, text=True, timeout=60, check=False)
    return done.returncode, done.stdout, done.stderr


class GroupLead(unittest.TestCase):
    def test_help(self):
        status, out, err = run("--help")
        self.assertEqual((status, err), (0, ""))
        self.assertTrue(out.startswith("usage: grouplead --adapter NAME --group N --secrets FILE"))

    def test_refuses_in_one_line(self):
        with tempfile.TemporaryDirectory() as folder:
            script = pathlib.Path(folder, "s.json")
            plain = ("--adapter", "lo", "--group", "7", "--plain")
            for text, words, status, line in (
                ('{"orders": [{"milliampere": 1}]}', (*plain, "--script", str(script)), 2, f'{script}:1:13: must have "at"'),
                ('{"orders": 16}', (*plain, "--script", str(script)), 2, f'{script}:1:2: "orders" must be a list'),
                ("", (*plain, "--script", folder), 2, f"cannot read script {folder}: it is a folder"),
                ("", (*plain, "--password", "abc"), 2, "unknown option '--password'"),
                ("", ("--adapter", "none0", "--group", "7", "--plain"), 1,
                 "there is no network adapter 'none0'; `ip link` lists them"),
                ("", (*plain, "--journal", folder), 1, f"journal {folder} cannot be written"),
            ):
                script.write_text(text)
                self.assertEqual(run(*words), (status, "", f"grouplead: {line}\n"))

    def test_has_led_nobody_on_a_network_that_is_empty(self):
        status, out, err = run("--adapter", "lo", "--group", "65535", "--plain", "--seconds", "2", "--json")
        if "cannot talk there" in err:
            self.skipTest("this machine has no way to any group")
        self.assertEqual(status, 3)
        self.assertEqual(json.loads(out.splitlines()[0])["stations"], [])
        self.assertIn("grouplead: no station was ever led", err)


unittest.main(argv=sys.argv[:1])
