"""What a group's leader must reach: a full group on a real network, and a large one's day in virtual time."""
import json
import os
import pathlib
import subprocess
import sys

from daemon import BIN
from groupfigures import ADAPTER, FOLLOWER, GROUP, PASSWORD, Networks, NotMeasured, ip, station

FOLLOWERS = 99
LIGHT_FOLLOWERS = pathlib.Path(__file__).resolve().parent / "lightfollowers.py"
LEADER = FOLLOWER | {
    "GroupLoadBalancingRole": "Leader", "GroupLoadBalancingGroupSize": FOLLOWERS + 1, "GroupLoadBalancingMaxCurrent": 1000,
}
DAY_STATIONS, DAY_SEED = 32, 1


def followers(networks, seconds):
    """What the followers saw in that time, and the share of one core that the leader took."""
    addresses = [f"fe80::1:{number:x}" for number in range(1, FOLLOWERS + 1)]
    for address in addresses:
        ip("-n", networks.names[0], "address", "add", f"{address}/64", "dev", ADAPTER, "nodad")
    command = [*networks.follower, sys.executable, LIGHT_FOLLOWERS, ADAPTER, str(GROUP), PASSWORD, str(seconds), *addresses]
    with station(networks.leader, LEADER) as leader, subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as crowd:
        try:
            found = json.loads(crowd.stdout.readline())
            before = leader.cpu_seconds()
            if found["led"] < FOLLOWERS:
                raise NotMeasured(f"only {found['led']} of {FOLLOWERS} were found within {found['after_s']:.0f} s")
            figures = json.loads(crowd.stdout.readline())
            return figures | {"found_s": found["after_s"], "share": (leader.cpu_seconds() - before) / seconds}
        finally:
            crowd.terminate()


def day_s():
    """Processor time that a day of a group of whole stations takes."""
    command = [BIN / "currentcontrolsim", "--group", str(DAY_STATIONS), "--seed", str(DAY_SEED)]
    day = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    _, status, used = os.wait4(day.pid, 0)
    day.returncode = os.waitstatus_to_exitcode(status)
    return used.ru_utime + used.ru_stime if day.returncode == 0 else "something that must hold did not hold on that day"


def measure(figure, seconds):
    """Rows and remarks as of measure.py; a text instead of a figure: why there is none."""
    remarks = [
        f"A leader's work for one station in one cycle of 2 s, a full request and its answer, encrypted, with its network "
        f"code and its part of all that is done for the group: {figure('BM_LeaderCycle', 'us_8'):.1f} µs of processor time "
        f"with 8 followers, {figure('BM_LeaderCycle', 'us_32'):.1f} µs with 32, {figure('BM_LeaderCycle', 'us_99'):.1f} µs "
        f"with 99, in turns. The followers' own work is not in it.",
        f"A redistribution: 99 stations with a part of the supply that is too small for all, phases of all kinds and turns; "
        f"p50 {figure('BM_Distribution', 'p50_us'):.0f} µs.",
        f"The day of a group: {DAY_STATIONS} whole stations with a house, roofs, vehicles and troubles, everything checked "
        f"each second; processor time of the process on one core.",
    ]
    try:
        with Networks() as networks:
            seen = followers(networks, seconds)
        fell_back, share = seen["timeouts"], seen["share"] * 100
        remarks.append(
            f"{FOLLOWERS} followers, each at an address of its own, in one process, and a daemon that leads them, over a cable "
            f"between two networks: all were led {seen['found_s']:.1f} s after they began to listen; in the {seconds} s after that "
            f"the longest time between two limits of one was {seen['longest_s']:.1f} s, after 8 s it falls back. At the end they "
            f"had {min(seen['ampere']):.1f} A to {max(seen['ampere']):.1f} A.")
    except NotMeasured as reason:
        fell_back = share = str(reason)
    rows = [
        (f"A redistribution among {FOLLOWERS} stations, p99", 1, False, figure("BM_Distribution", "p99_us") / 1000, "ms"),
        ("A leader's work for one station in one cycle, with 99 followers as a multiple of that with 8", 1.25, True,
         figure("BM_LeaderCycle", "times"), "x"),
        (f"24 hours of a group of {DAY_STATIONS} stations, in virtual time", 60, False, day_s(), "s"),
        (f"{FOLLOWERS} followers on a network, led for {seconds} s: how often one fell back", 0, True, fell_back, ""),
        ("Their leader's share of one core", 5, False, share, "%"),
    ]
    return rows, remarks
