#!/usr/bin/env python3
"""Whether a group was led as it should be, by its leader's journal: every station was led, and whoever was cut off, long
enough before the end, was silent, fell back to 6 A by itself, and was led again. Status 0: it was; 1: it was not.

usage: check-group.py ROOT STATIONS, of demo-group.sh
"""
import json
import pathlib
import sys

FIRST = 7000  # ms: until all are led
ABSENCE = 10000
PATIENCE = 6000  # until one is led again
FALLBACK = (6000, "Group load balancing")

root = pathlib.Path(sys.argv[1])
size = int(sys.argv[2])
journal = root / "journal"
views = [json.loads(line) for line in journal.read_text().splitlines()] if journal.exists() else []
end = views[-1]["time_ms"] if views else 0


def seen(serial, begin, until, is_so):
    """When it was first so, in ms after the begin; None: never."""
    return next((view["time_ms"] - begin for view in views if begin <= view["time_ms"] <= until
                 for station in view["stations"] if station["serial"] == serial and is_so(station)), None)


def is_led(station):
    return station["state"] == "led"


def is_silent(station):
    return station["state"] == "silent"


def has_fallen_back(station):
    return (station.get("setpoint_milliampere"), station.get("current_source")) == FALLBACK


problems = []
for number in range(size):
    serial = f"12-34-ABC-DE{number + 1}"
    if end >= FIRST and seen(serial, 0, FIRST, is_led) is None:
        problems.append(f"{serial} was not led within {FIRST} ms")
fallbacks = []  # ms
for line in (root / "cuts").read_text().splitlines() if (root / "cuts").exists() else []:
    serial, begin = line.split()[0], int(line.split()[1])
    back = begin + ABSENCE
    fallback = seen(serial, begin, back, has_fallen_back)
    if end > back and seen(serial, begin, back, is_silent) is None:
        problems.append(f"{serial} was cut off and not silent")
    if end > back and fallback is None:
        problems.append(f"{serial} was cut off and did not fall back")
    if end > back + PATIENCE and seen(serial, back + 1000, back + PATIENCE, is_led) is None:
        problems.append(f"{serial} was not led again")
    if end > back + PATIENCE and fallback is not None:
        fallbacks.append(fallback)
for problem in problems:
    print(f"demo: {problem}", file=sys.stderr)
if problems:
    sys.exit(1)
if end < FIRST:
    print("demo: ended before there was anything to check")
elif not fallbacks:
    print(f"demo: all {size} stations were led within {FIRST // 1000} s; ended before one was cut off and led again")
else:
    print(f"demo: as it should be: all {size} stations were led within {FIRST // 1000} s; each that was cut off"
          f" ({len(fallbacks)}) fell back to 6 A by itself, after {max(fallbacks) / 1000:.0f} s at most, and was led again"
          f" within {PATIENCE // 1000} s of its return")
