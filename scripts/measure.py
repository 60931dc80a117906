#!/usr/bin/env python3
"""Takes every figure that the daemon must reach, in one run, and writes the page about them.

usage: measure.py PAGE SECONDS    (called by bench.sh, from the project's root, when all is built)

SECONDS: for so long a full group is led on a network.
Status 1 when a requirement is missed or could not be measured; the page says so too.
"""
import datetime
import json
import os
import pathlib
import platform
import signal
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "bench"))
import groupfigures
import leaderfigures
from daemon import BIN, Daemon

STARTS = 20
IDLE_S = 20
TOUCHED = pathlib.Path("src/components/currentlimiter.cpp")
TOUCHED_TEST = "currentlimiter_test"
P1_MB_PER_S = 300
P1_SHARE_OF_CRC = 0.7


def benchmarks():
    """Name without arguments to what was measured; the median of repetitions."""
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        subprocess.run([BIN / "currentcontrol_bench", f"--benchmark_out={out.name}", "--benchmark_out_format=json"],
                       check=True)
        runs = json.load(out)["benchmarks"]
    runs = [run for run in runs if run.get("run_type") != "aggregate"]
    for run in runs:
        if run.get("error_occurred"):
            sys.exit(f"measure: {run['name']}: {run['error_message']}")
    nanoseconds = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}

    def figure(name, key):
        found = [run for run in runs if run["name"].split("/")[0] == name]
        if not found or any(key not in run for run in found):
            sys.exit(f"measure: {name} did not report {key}")
        scale = nanoseconds[found[0]["time_unit"]] if key == "real_time" else 1
        return statistics.median(run[key] * scale for run in found)

    return figure


def starts_ms():
    figures = []
    for _ in range(STARTS):
        with Daemon() as daemon:
            figures.append(daemon.first_answer_ms())
    return figures


def idle():
    """Share of one core in percent, and MB resident, when everything that a start brings is over."""
    with Daemon() as daemon:
        daemon.first_answer_ms()
        time.sleep(1)
        before, begin = daemon.cpu_seconds(), time.monotonic()
        time.sleep(IDLE_S)
        return (daemon.cpu_seconds() - before) / (time.monotonic() - begin) * 100, daemon.resident_mb()


def rebuild_s():
    TOUCHED.touch()
    begin = time.monotonic()
    subprocess.run(["cmake", "--build", "--preset", "dev", "--target", TOUCHED_TEST], check=True,
                   env=os.environ | {"CCACHE_DISABLE": "1"}, stdout=subprocess.DEVNULL)
    return time.monotonic() - begin


def measure(led_s):
    """Rows: requirement, bound, whether the bound itself is allowed, figure or why there is none, unit; and remarks."""
    rebuilt = rebuild_s()
    figure = benchmarks()
    bare, setpoint = figure("BM_BareRoundTrip", "p99_us"), figure("BM_SetpointLatency", "p99_us")
    crc, parsed = figure("BM_P1Crc", "bytes_per_second") / 1e6, figure("BM_P1Parse", "bytes_per_second") / 1e6
    enough = min(P1_MB_PER_S, P1_SHARE_OF_CRC * crc)
    starts = starts_ms()
    cpu, resident = idle()
    group_rows, group_remarks = groupfigures.measure(figure("BM_PausingRoundTrip", "p99_us"))
    leader_rows, leader_remarks = leaderfigures.measure(figure, led_s)
    rows = [
        ("`SetLimit` with 20 sources, setpoint unchanged", 1000, True, figure("BM_SetLimitUnchanged", "real_time"), "ns"),
        ("Heap allocations in it", 0, True, figure("BM_SetLimitUnchanged", "allocs"), ""),
        ("One sample of the current transformers, three files read", 50, True, figure("BM_CtSample", "real_time") / 1e3, "µs"),
        ("`GetMeasurementAverage` over 24 samples", 1000, True, figure("BM_MeasurementAverage", "real_time"), "ns"),
        ("Heap allocations in it", 0, True, figure("BM_MeasurementAverage", "allocs"), ""),
        ("From an overload at the transformers to the reduced setpoint, slowest", 2500, True, figure("BM_OverloadReaction", "worst_ms"), "ms"),
        ("One run of solar charging", 20, True, figure("BM_SolarUpdate", "real_time") / 1e3, "µs"),
        ("Time to parse P1 telegrams, as a multiple of what is allowed", 1, True, enough / parsed, "x"),
        ("Heap allocations in it", 0, True, figure("BM_P1Parse", "allocs"), ""),
        ("Requests for a sample of a three-phase Modbus meter over TCP, of the model that needs most", 3, True, figure("BM_ModbusSample", "requests"), ""),
        ("Attempts to connect to a meter that is down for ten minutes, pauses growing to 30 s", 24, True, figure("BM_MeterDown", "attempts"), ""),
        ("Encrypting and decrypting the largest packet of a group, as a multiple of the bare library calls", 1.5, True, figure("BM_Packet", "times"), "x"),
        ("Heap allocations in it besides the packet", 0, True, figure("BM_Packet", "allocs") - 1, ""),
        *group_rows,
        *leader_rows,
        ("Setpoint latency p99, as a multiple of a bare gRPC round trip's p99", 2.5, True, setpoint / bare, "x"),
        ("Process start to first answered request, slowest", 150, True, max(starts), "ms"),
        ("Idle, share of one core", 0.5, False, cpu, "%"),
        ("Resident", 25, False, resident, "MB"),
        ("An hour of the station in virtual time", 100, True, figure("BM_VirtualHour", "real_time") / 1e6, "ms"),
        ("The same hour with blackout protection and a household", 20, True, figure("BM_ProtectedHour", "real_time") / 1e6, "ms"),
        ("24 hours of a station with every component enabled, in virtual time", 500, True, figure("BM_VirtualDay", "real_time") / 1e6, "ms"),
        ("Growth of the heap in them, from the fourth hour to the last", 64, True, figure("BM_VirtualDay", "growth_kb"), "kB"),
        (f"`{TOUCHED}` touched: its tests built and linked again", 15, False, rebuilt, "s"),
    ]
    remarks = [
        f"Setpoint latency, from `SetCurrentLimit` sent to the setpoint arriving at charge control over unix sockets: "
        f"p50 {figure('BM_SetpointLatency', 'p50_us'):.0f} µs, p99 {setpoint:.0f} µs. Bare unary round trip in the same "
        f"run: p50 {figure('BM_BareRoundTrip', 'p50_us'):.0f} µs, p99 {bare:.0f} µs.",
        f"Start: {STARTS} starts, fastest {min(starts):.0f} ms, median {statistics.median(starts):.0f} ms, slowest "
        f"{max(starts):.0f} ms. The end is that of a `currentcontrolctl get` that was answered, so the client's own "
        f"start is in the figure.",
        f"Idle: {IDLE_S} s with no peer there, so with every client trying to connect again; resident at the end of that, by smaps_rollup.",
        "Overload: in virtual time, one sampling and one update period of 1250 ms; an overload every 10 ms of a sampling "
        "period, with blackout protection looking at once and as late as can be. The slowest is drawn in "
        "[overload-reaction.svg](overload-reaction.svg).",
        f"P1: {parsed:.0f} MB/s of telegrams parsed, {crc:.0f} MB/s for their checksum alone in the same run. Required are "
        f"{P1_MB_PER_S} MB/s or {P1_SHARE_OF_CRC * 100:.0f} % of the checksum's, whichever is less: {enough:.0f} MB/s. The "
        f"time taken is compared with the time allowed.",
        f"Modbus: a sample of a three-phase meter over loopback takes {figure('BM_ModbusSample', 'real_time') / 1e3:.0f} µs.",
        f"Packets of a group: an answer to a limit made and opened takes {figure('BM_Packet', 'packet_ns'):.0f} ns, the "
        f"library alone for its nonce, encryption and decryption {figure('BM_Packet', 'bare_ns'):.0f} ns, measured in turns.",
        *group_remarks,
        *leader_remarks,
        "A virtual day: a cloudy one with four visits of a vehicle, everything checked once per second that must hold on "
        "every day; the house and its meters are in the time and on the heap as well.",
        "Rebuild: preset `dev` (sanitizers on), without ccache.",
    ]
    return rows, remarks


def digits(figure):
    """Three digits, and never fewer than there are before the point."""
    return f"{figure:.0f}" if figure >= 100 else f"{figure:.3g}"


def machine():
    cpu = next((line.split(":")[1].strip() for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines()
                if line.startswith("model name")), platform.machine())
    compiler = subprocess.run(["g++", "-dumpfullversion"], capture_output=True, text=True, check=True).stdout.strip()
    return f"{cpu}, {os.cpu_count()} cores, Linux {platform.release()}, g++ {compiler}"


def commit():
    head = subprocess.run(["git", "rev-parse", "--short", "HEAD"], capture_output=True, text=True).stdout.strip()
    changed = subprocess.run(["git", "status", "--porcelain", "--untracked-files=no"], capture_output=True, text=True).stdout
    return f"{head or 'no commit'}{' with changes' if changed else ''}"


def passes(bound, inclusive, figure):
    if isinstance(figure, str):
        return False
    return figure <= bound if inclusive else figure < bound


def page(rows, remarks):
    lines = ["# Performance", "", "Written by `scripts/bench.sh`; measured, not edited.", "",
             f"{datetime.date.today().isoformat()}, commit {commit()}, on {machine()}.", "",
             "| what | required | measured | of the bound | |", "|---|---|---|---|---|"]
    for what, bound, inclusive, figure, unit in rows:
        required = f"{'at most' if inclusive else 'under'} {bound:g} {unit}".strip()
        if isinstance(figure, str):
            lines.append(f"| {what} | {required} | {figure} | - | **NOT MEASURED** |")
            continue
        share = f"{figure / bound * 100:.0f} %" if bound else "-"
        verdict = "pass" if passes(bound, inclusive, figure) else "**MISSED**"
        lines.append(f"| {what} | {required} | {f'{digits(figure)} {unit}'.strip()} | {share} | {verdict} |")
    return "\n".join(lines + ["", *(f"- {remark}" for remark in remarks), ""])


def main():
    if len(sys.argv) != 3 or not sys.argv[2].isdecimal():
        sys.exit(__doc__)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))  # so that nothing is left behind
    rows, remarks = measure(int(sys.argv[2]))
    text = page(rows, remarks)
    pathlib.Path(sys.argv[1]).write_text(text)
    print(text)
    sys.exit(0 if all(passes(*row[1:4]) for row in rows) else 1)


if __name__ == "__main__":
    main()
