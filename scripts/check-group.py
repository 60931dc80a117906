#!/usr/bin/env python3
"""Whether a group was led as it should be, by what its leader knew each second and by the logs of its stations: every station
got a share; whoever was cut off, long enough before the end, was silent, fell back by itself, and was led again; and
all stations together never offered more than the supply has. Status 0: so it was; 1: it was not.

usage: check-group.py ROOT STATIONS, of demo-group.sh
"""
import datetime
import json
import pathlib
import re
import sys

FIRST = 20000  # ms: until all have their share
PATIENCE = 10000  # until one is led again

root = pathlib.Path(sys.argv[1])
size = int(sys.argv[2])
settings = json.loads((root / "station-1" / "etc" / "settings.json").read_text())  # the leader's
supply = settings["GroupLoadBalancingMaxCurrent"]  # A
own = settings["GroupLoadBalancingFallbackCurrent"]  # A, as of all of them


def lines(path):
    return path.read_text(errors="replace").splitlines() if path.exists() else []


def setpoints(number):
    """[(ms, A)]: what charge control was told, and by whom."""
    found = re.finditer(r"^\[([-0-9]+ [:0-9]+\.[0-9]+)\].* Setpoint update: New limit ([-.0-9]+) A . phase based on sources (\w+)",
                        "\n".join(lines(root / f"station-{number}" / "currentcontrol.log")), re.M)
    return [(round(datetime.datetime.fromisoformat(match[1]).timestamp() * 1000), float(match[2]), match[3]) for match in found]


def first(moments, begin, until):
    """The first of these moments from begin to until, in ms after begin; None: there is none."""
    return next((moment - begin for moment in moments if begin <= moment <= until), None)


views = [json.loads(line) for line in lines(root / "journal")]
begin, end = (views[0]["time"], views[-1]["time"]) if views else (0, 0)
offers = {number: setpoints(number) for number in range(1, size + 1)}
problems = []


def seconds(what):
    return f"{max(what) / 1000:.0f} s"


def seen(number, states):
    """When the leader saw it in one of these."""
    return [view["time"] for view in views for station in view["group"]["stations"]
            if station["serial"] == f"12-34-ABC-DE{number}" and station["state"] in states]


shares = []  # ms
for number, told in offers.items():
    share = first([time for time, ampere, _ in told if ampere > own], 0, begin + FIRST)
    if end >= begin + FIRST and share is None:
        problems.append(f"12-34-ABC-DE{number} got no share within {FIRST // 1000} s")
    shares.append((share or begin) - begin)

fallbacks, returns = [], []  # ms
events = [line.split() for line in lines(root / "cuts")]
for (number, _, cut), (_, _, joined) in zip(events[::2], events[1::2]):
    cut, joined = int(cut), int(joined)
    if end <= joined + PATIENCE:
        continue
    name = f"12-34-ABC-DE{number}"
    fallback = first([time for time, ampere, source in offers[int(number)]
                      if ampere == own and source == "ECurrentControlLoadBal"], cut, joined)
    back = first(seen(number, ["led"]), joined, joined + PATIENCE)
    if first(seen(number, ["silent"]), cut, joined) is None:
        problems.append(f"{name} was cut off and its leader did not see it")
    if fallback is None:
        problems.append(f"{name} was cut off and did not fall back")
    if back is None:
        problems.append(f"{name} was not led again within {PATIENCE // 1000} s")
    fallbacks.append(fallback or 0)
    returns.append(back or 0)

# Each vehicle may draw on the phase where all of them meet. Of what happened in the same millisecond the falls were first.
now = dict.fromkeys(offers, 0.0)
most = 0.0
changes = [(time, ampere - before, number, ampere) for number, told in offers.items()
           for (time, ampere, _), before in zip(told, [0.0] + [ampere for _, ampere, _ in told])]
for time, _, number, ampere in sorted(changes):
    now[number] = max(ampere, 0.0)
    most = max(most, sum(now.values()))
if most > supply:
    problems.append(f"the stations offered {most:g} A together; the supply has {supply} A")

for problem in problems:
    print(f"demo: {problem}", file=sys.stderr)
if problems:
    sys.exit(1)
if end < begin + FIRST:
    print("demo: ended before there was anything to check")
elif not fallbacks:
    print(f"demo: all {size} stations had their share after {seconds(shares)}, at most {most:g} of {supply} A together; ended before"
          " one was cut off and led again")
else:
    print(f"demo: as it should be: all {size} stations had their share after {seconds(shares)}; each that was cut off"
          f" ({len(fallbacks)}) fell back to {own} A by itself, after {seconds(fallbacks)} at most, and was led again within"
          f" {seconds(returns)} of its return; at no time did all together offer more than {most:g} of the supply's {supply} A")
