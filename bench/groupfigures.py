"""What a station of a group must reach on a real network: the daemon in a network of its own, its leader in another."""
import contextlib
import importlib.util
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import time

from daemon import BIN, HWINFO, SETTINGS, Daemon, memory_mb

LEADER = pathlib.Path(__file__).resolve().parent / "groupleader.py"
ADAPTER = "eth0"
GROUP = 26
PASSWORD = "a password for measuring"
FOLLOWER = {
    "GroupLoadBalancingEnable": True, "GroupLoadBalancingRole": "Follower", "GroupLoadBalancingInterface": "Ethernet",
    "GroupLoadBalancingGroupId": GROUP, "GroupLoadBalancingFallbackCurrent": 6,
}
SERIAL_NUMBER = {"MainboardSn": "12-34-ABC-DE1"}
CARRIER_LIMIT_S = 5
ENABLE_LIMIT_S = 10
ECHO_PORT, NO_ECHO = 5000, 0
REQUESTS = 1500
SAME_LIMIT, NEW_LIMITS = "6000", "6000,13000"
FLOOD_PER_SECOND = 10000
FLOOD_S = 3
MEMORY_STARTS = 5
MEMORY_REQUESTS = 300
SETTLE_S = 1

FLOOD_TEXTS = {
    "forged": "limits with random contents from many ports",
    "as-leader": "the same as if from the leader",
    "costliest": "packets of which every byte begins another one from many ports",
    "captured": "answers of other followers, captured, from many ports",
}

# Requirement, bound, whether the bound itself is allowed, name of the figure, unit.
ROWS = [
    ("From a limit of the leader's on a network to the answer there, p99", 1, True, "same_p99_ms", "ms"),
    ("The same for a new limit, of which charge control is told first; beyond the p99 of a bare gRPC round trip", 1, True,
     "new_p99_ms", "ms"),
    (f"{FLOOD_PER_SECOND} forged packets per second: share of one core", 50, False, "flood_share", "%"),
    ("An answer in the midst of them, slowest", 250, True, "flood_slowest_ms", "ms"),
    ("Memory that a group takes, resident", 1, True, "added_mb", "MB"),
]


class NotMeasured(Exception):
    """With the reason."""


class Networks:
    """A follower's and a leader's, each with an eth0, joined by a cable."""

    def __init__(self):
        if os.geteuid() != 0:
            raise NotMeasured("only root can make networks")
        if shutil.which("ip") is None:
            raise NotMeasured("the command ip is not here")
        if importlib.util.find_spec("cryptography") is None:
            raise NotMeasured("python3-cryptography is not here")
        self.names = [f"ccbench-{os.getpid()}-{role}" for role in ("follower", "leader")]

    def __enter__(self):
        with contextlib.ExitStack() as removing:
            for name in self.names:
                ip("netns", "add", name)
                removing.callback(subprocess.run, ["ip", "netns", "delete", name])
            ip("link", "add", ADAPTER, "netns", self.names[0], "type", "veth", "peer", "name", ADAPTER, "netns", self.names[1])
            for number, name in enumerate(self.names, 1):
                # Addresses that need no second to find out whether somebody else has them.
                ip("-n", name, "link", "set", ADAPTER, "addrgenmode", "none")
                ip("-n", name, "address", "add", f"fe80::{number}/64", "dev", ADAPTER, "nodad")
                ip("-n", name, "link", "set", ADAPTER, "up")
            self.wait_for_carrier()
            self.removing = removing.pop_all()
        self.follower, self.leader = (("ip", "netns", "exec", name) for name in self.names)
        return self

    def __exit__(self, *_):
        self.removing.close()

    def wait_for_carrier(self):
        begin = time.monotonic()
        while any("state UP" not in ip("-n", name, "link", "show", ADAPTER) for name in self.names):
            if time.monotonic() > begin + CARRIER_LIMIT_S:
                raise NotMeasured(f"the cable has no carrier after {CARRIER_LIMIT_S} s")
            time.sleep(0.01)

    def lead(self, *arguments):
        command = [*self.leader, sys.executable, LEADER, ADAPTER, str(GROUP), PASSWORD, *map(str, arguments)]
        run = subprocess.run(command, capture_output=True, text=True)
        if run.returncode != 0:
            sys.exit(f"measure: {run.stderr.strip()}")
        return json.loads(run.stdout)


def ip(*arguments):
    run = subprocess.run(["ip", *arguments], capture_output=True, text=True)
    if run.returncode != 0:
        raise NotMeasured(f"ip {' '.join(arguments)}: {run.stderr.strip()}")
    return run.stdout


@contextlib.contextmanager
def running(command):
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    try:
        yield
    finally:
        process.terminate()
        process.wait()


@contextlib.contextmanager
def station(within, settings):
    """An enabled daemon with all its peers, in one of the networks."""
    daemon = Daemon(SETTINGS | settings, HWINFO | SERIAL_NUMBER, {"GroupLoadBalancingPassword": PASSWORD}, within)
    with daemon, running([BIN / "stationsim", "--root", daemon.root]):
        while daemon.ask("state") != "Enabling, enabled":
            if time.monotonic() > daemon.started + ENABLE_LIMIT_S:
                sys.exit(f"measure: the daemon was not enabled within {ENABLE_LIMIT_S} s")
            time.sleep(0.01)
        yield daemon


def answers(networks):
    """With the limit as before, and with a new one each time."""
    with station(networks.follower, FOLLOWER), running([*networks.follower, sys.executable, LEADER, "echo", str(ECHO_PORT)]):
        return [networks.lead("answer", ECHO_PORT, REQUESTS, limits) for limits in (SAME_LIMIT, NEW_LIMITS)]


def floods(networks):
    """Kind to what it did."""
    with station(networks.follower, FOLLOWER) as daemon:
        found = {kind: networks.lead("flood", kind, FLOOD_PER_SECOND, FLOOD_S, daemon.process.pid)
                 for kind in FLOOD_TEXTS}
    for kind, figures in found.items():
        if figures["received_per_second"] < 0.98 * FLOOD_PER_SECOND:
            raise NotMeasured(f"of the flood \"{kind}\" only {figures['received_per_second']:.0f} per second arrived")
    return found


def memory(networks, settings):
    with station(networks.follower, settings) as daemon:
        if settings:
            networks.lead("answer", NO_ECHO, MEMORY_REQUESTS, SAME_LIMIT)
        time.sleep(SETTLE_S)
        return memory_mb(daemon.process.pid)


def added_memory(networks):
    """Kind of memory to MB, the middle of several starts of each."""
    pairs = [(memory(networks, {}), memory(networks, FOLLOWER)) for _ in range(MEMORY_STARTS)]
    return {kind: statistics.median(pair[1][kind] for pair in pairs) - statistics.median(pair[0][kind] for pair in pairs)
            for kind in ("Rss", "Pss", "Private_Dirty")}


def measure(bare_call_p99_us):
    """Rows and remarks as of measure.py; a text instead of a figure: why there is none."""
    try:
        with Networks() as networks:
            figures, remarks = on(networks, bare_call_p99_us)
    except NotMeasured as reason:
        figures, remarks = {row[3]: str(reason) for row in ROWS}, []
    return [(*row[:3], figures[row[3]], row[4]) for row in ROWS], remarks


def on(networks, bare_call_p99_us):
    same, new = answers(networks)
    flood = floods(networks)
    added = added_memory(networks)
    figures = {
        "same_p99_ms": same["answer_p99_us"] / 1000,
        "new_p99_ms": (new["answer_p99_us"] - bare_call_p99_us) / 1000,
        "flood_share": max(figures["share"] for figures in flood.values()) * 100,
        "flood_slowest_ms": max(figures["slowest_ms"] for figures in flood.values()),
        "added_mb": added["Rss"],
    }
    micros = {name: f"{took:.0f} µs" for name, took in same.items()}
    micros |= {f"new_{name}": f"{took:.0f} µs" for name, took in new.items()}
    remarks = [
        f"A leader's limit, from its packet sent to the answer at the leader's end of a cable between two networks on this "
        f"machine, encrypted; {REQUESTS} requests in rounds, in turns with a bare echo on that cable; the round counts in which "
        f"the echo was disturbed least by whatever else runs on the host. As before: p50 {micros['answer_p50_us']}, p99 "
        f"{micros['answer_p99_us']}, the echo's p99 {micros['echo_p99_us']}; in the middle one of the rounds p99 "
        f"{micros['answer_middle_p99_us']}. A new one each time, which charge control is told first: p50 "
        f"{micros['new_answer_p50_us']}, p99 {micros['new_answer_p99_us']}, the echo's p99 {micros['new_echo_p99_us']}; in the "
        f"middle one p99 {micros['new_answer_middle_p99_us']}; a bare gRPC round trip with pauses between, as limits have: p99 "
        f"{bare_call_p99_us:.0f} µs.",
        f"Floods, {FLOOD_S} s each; the share of one core and the slowest answer to {min(f['requests'] for f in flood.values())} "
        f"limits or more in their midst: "
        + "; ".join(f"{FLOOD_TEXTS[kind]} {f['share'] * 100:.1f} %, {f['slowest_ms']:.1f} ms" for kind, f in flood.items())
        + ". The worst counts.",
        f"Memory of a group: an enabled daemon with all its peers that was discovered and has answered {MEMORY_REQUESTS} limits, "
        f"compared with one whose group is off; the middle of {MEMORY_STARTS} starts each, resident by smaps_rollup. Of it "
        f"{added['Private_Dirty']:.2f} MB are written by the process alone; proportionally shared, {added['Pss']:.2f} MB.",
    ]
    return figures, remarks
