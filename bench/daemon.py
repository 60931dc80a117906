"""The daemon as it is started to be measured."""
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time

BIN = pathlib.Path("build/release/bin")
START_LIMIT_S = 5
END_LIMIT_S = 10
SETTINGS = {"CurrentCtrlFixedChargeCurrentLimit": 25}
HWINFO = {"HwMaxCurrent": 32, "HwOneOrThreePhase": 3, "HwHasMeter": True}


class Daemon:
    """The daemon below a fresh root, without any peer."""

    def __init__(self, settings=SETTINGS, hwinfo=HWINFO, secrets=None, within=()):
        """within: the command that runs it somewhere else, as in another network."""
        self.within = within
        self.folder = tempfile.TemporaryDirectory(prefix="currentcontrol.")
        self.root = pathlib.Path(self.folder.name)
        (self.root / "etc").mkdir()
        for name, content in {"settings": settings, "hwinfo": hwinfo, "secrets": secrets}.items():
            if content is not None:
                file = self.root / f"etc/{name}.json"
                file.touch(0o600)
                file.write_text(json.dumps(content))

    def __enter__(self):
        self.started = time.monotonic()
        self.process = subprocess.Popen([*self.within, BIN / "currentcontrol", "-q", f"--root={self.root}"])
        return self

    def __exit__(self, *_):
        self.process.terminate()
        status = self.process.wait(END_LIMIT_S)
        self.folder.cleanup()
        if status != 0:
            sys.exit(f"measure: the daemon ended with status {status}")

    def ask(self, command):
        """What the client says; nothing: it was not answered."""
        client = subprocess.run([BIN / "currentcontrolctl", "--root", self.root, command], capture_output=True, text=True)
        return client.stdout.strip() if client.returncode == 0 else None

    def first_answer_ms(self):
        """From the start of the process to the end of a client that was answered."""
        socket = self.root / "run/ipc/currentcontrol.sock"
        while time.monotonic() < self.started + START_LIMIT_S:
            if socket.exists() and self.ask("get") is not None:
                return (time.monotonic() - self.started) * 1000
            time.sleep(0.001)
        sys.exit(f"measure: no answer within {START_LIMIT_S} s of the start")

    def cpu_seconds(self):
        return cpu_seconds(self.process.pid)

    def resident_mb(self):
        return memory_mb(self.process.pid)["Rss"]


def cpu_seconds(pid):
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def memory_mb(pid):
    """The kernel's sums over all mappings, which unlike VmRSS are exact: Rss, Pss, Private_Dirty, ..."""
    lines = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()[1:]
    return {line.split(":")[0]: int(line.split()[1]) * 1024 / 1e6 for line in lines}
