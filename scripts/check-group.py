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
views = [json.loads(line) for line in (root / "journal").read_text().splitlines()]
end = views[-1]["time_ms"]


def seen(serial, begin, until):
    return [station for view in views if begin <= view["time_ms"] <= until
            for station in view["stations"] if station["serial"] == serial]


problems = []
for number in range(int(sys.argv[2])):
    serial = f"12-34-ABC-DE{number + 1}"
    if end >= FIRST and all(each["state"] != "led" for each in seen(serial, 0, FIRST)):
        problems.append(f"{serial} was not led within {FIRST} ms")
cuts = root / "cuts"
for line in cuts.read_text().splitlines() if cuts.exists() else []:
    serial, begin = line.split()[0], int(line.split()[1])
    back = begin + ABSENCE
    away = seen(serial, begin, back)
    if end > back and all(each["state"] != "silent" for each in away):
        problems.append(f"{serial} was cut off and not silent")
    if end > back and all((each.get("setpoint_milliampere"), each.get("current_source")) != FALLBACK for each in away):
        problems.append(f"{serial} was cut off and did not fall back")
    if end > back + PATIENCE and all(each["state"] != "led" for each in seen(serial, back + 1000, back + PATIENCE)):
        problems.append(f"{serial} was not led again")
for problem in problems:
    print(f"demo: {problem}", file=sys.stderr)
sys.exit(1 if problems else 0)
