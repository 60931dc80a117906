#!/usr/bin/env python3
"""The daemon as it ships, over real sockets: how it starts, ends, and what its client's exit status says.

usage: daemon_test.py DAEMON CLIENT
"""
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

DAEMON, CLIENT = sys.argv[1:3]


class DaemonTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="cc ")
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        (self.root / "etc").mkdir()
        self.write("hwinfo.json", {"HwMaxCurrent": 32, "HwOneOrThreePhase": 3, "HwHasSocket": False})
        self.write("settings.json", {"CurrentCtrlFixedChargeCurrentLimit": 25})
        self.socket = self.root / "run/ipc/currentcontrol.sock"

    def write(self, name, values):
        (self.root / "etc" / name).write_text(json.dumps(values))

    def start(self):
        process = subprocess.Popen([DAEMON, f"--root={self.root}"], stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        deadline = time.monotonic() + 20
        while self.client("state").returncode == 3 and process.poll() is None and time.monotonic() < deadline:
            time.sleep(0.02)
        return process

    def client(self, *words):
        return subprocess.run([CLIENT, "--root", self.root, *words], capture_output=True, text=True, timeout=20)

    def test_signals_end_it_in_order_and_leave_no_socket(self):
        for number in signal.SIGINT, signal.SIGTERM:
            process = self.start()
            self.assertTrue(self.socket.is_socket())
            process.send_signal(number)
            self.assertEqual(process.wait(20), 0)
            self.assertFalse(self.socket.exists())
            self.assertIn("Process state changed from Uninitialized to Terminating", process.stderr.read())

    def test_second_instance_is_refused_and_the_first_goes_on(self):
        process = self.start()
        second = subprocess.run([DAEMON, f"--root={self.root}"], capture_output=True, text=True, timeout=20)
        self.assertEqual(second.returncode, -signal.SIGABRT)
        self.assertRegex(second.stderr, f"Uncaught exception of type 'Rpc::CStartError' with message: '.*{self.socket}.*in use")
        self.assertNotIn("charge current", second.stderr, "it told charge control nothing")
        self.assertEqual(self.client("get").returncode, 0)
        process.kill()
        process.wait()
        self.assertTrue(self.socket.exists(), "killed, it leaves its socket")
        self.assertIsNone(self.start().poll(), "which the next one replaces")

    def test_client_status_tells_what_became_of_a_request(self):
        self.assertEqual(self.client("get").returncode, 3)
        process = self.start()
        self.assertEqual(self.client("set", "OCPP smart charging", "10.5", "1").returncode, 1, "charge control is away")
        setpoint = json.loads(self.client("--json", "get").stdout)
        self.assertEqual((10500, 1, 10), (setpoint["milliampere"], setpoint["phases"], setpoint["source"]["number"]))
        for words, status in ((["set", "4", "10"], 1), (["clear", "2"], 1), (["set", "15", "nan"], 2), (["brew"], 2)):
            answer = self.client(*words)
            self.assertEqual((words, answer.returncode), (words, status))
            self.assertEqual(answer.stderr.count("\n"), 1, answer.stderr)
        self.assertEqual(self.client("terminate").returncode, 0)
        self.assertEqual(process.wait(20), 0)

    def test_usage_goes_to_standard_output_with_status_1(self):
        answer = subprocess.run([DAEMON, "-r", "/srv", "-h"], capture_output=True, text=True, timeout=20)
        self.assertEqual(answer.returncode, 1)
        self.assertIn(f"usage: {DAEMON} [OPTION]\n", answer.stdout)
        self.assertIn("defaults to '/srv'", answer.stdout)
        self.assertFalse(os.path.exists("/srv/run/ipc"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
