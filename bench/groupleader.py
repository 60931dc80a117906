#!/usr/bin/env python3
"""A leader on a real network that measures its one follower, and prints the figures as JSON.

usage: groupleader.py ADAPTER GROUP PASSWORD answer ECHO REQUESTS MILLIAMPERE[,MILLIAMPERE..]
       groupleader.py ADAPTER GROUP PASSWORD flood KIND PACKETS_PER_SECOND SECONDS PID
       groupleader.py echo PORT

answer  the time from a limit sent to its answer there, for limits asked for in turns; and, also in turns, the time that a
        bare echo takes at port ECHO of the follower's; 0: nobody is there. Of several rounds the one counts in which the
        echo took least
flood   the same while somebody on the link sends forged or repeated packets, and the share of a core that the process
        PID, the follower, takes meanwhile. KINDs: see FLOODS
echo    sends back what comes, as long as an answer to a limit is
"""
import json
import math
import os
import pathlib
import socket
import statistics
import struct
import sys
import time

from daemon import cpu_seconds
from groupwire import DISCOVERY, DISCOVERY_ANSWER, LIMIT, LIMIT_ANSWER, PORT, RESET, Envelope, group_address

DISCOVERY_LIMIT_S = 5
ANSWER_LIMIT_S = 1
REQUEST_PAUSE_S = 0.005
ROUNDS = 10
FLOOD_REQUEST_PAUSE_S = 0.1
FLOOD_STEP_S = 0.001
FLOOD_MILLIAMPERE = 6000
MANY_PORTS = 256
PREPARED = 2000  # different packets of a flood
REQUEST_BYTES, ANSWER_BYTES = 45, 61
MOST_BYTES = 64  # of a datagram that a follower looks at
LARGE_ENOUGH = 2048
SO_TIMESTAMPNS = 35  # which the module does not name
TIMESPEC = struct.Struct("qq")


class Leader:
    def __init__(self, adapter, group, password):
        index = socket.if_nametoindex(adapter)
        self.envelope = Envelope(password, group)
        self.socket = socket.socket(socket.AF_INET6, socket.SOCK_DGRAM)
        self.socket.bind(("::", PORT, 0, index))
        self.socket.setsockopt(socket.SOL_SOCKET, SO_TIMESTAMPNS, 1)
        self.socket.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_MULTICAST_IF, index)
        self.group = (group_address(group), PORT, 0, index)

    def discover(self):
        """One that was discovered before is reset: it would not answer."""
        self.socket.sendto(self.envelope.make(bytes([RESET])), self.group)
        self.socket.settimeout(0.1)
        begin = time.monotonic()
        while time.monotonic() < begin + DISCOVERY_LIMIT_S:
            self.socket.sendto(self.envelope.make(bytes([DISCOVERY]) + bytes(6) + bytes([0, 3, 0])), self.group)
            try:
                packet, self.follower = self.socket.recvfrom(LARGE_ENOUGH)
            except TimeoutError:
                continue
            answer, self.number = self.envelope.open(packet)
            if answer[0] == DISCOVERY_ANSWER:
                self.serial_number = answer[1:7]
                self.socket.settimeout(ANSWER_LIMIT_S)
                return
        sys.exit(f"groupleader: no follower answered within {DISCOVERY_LIMIT_S} s")

    def exchange(self, packet, to):
        """Microseconds until something was back at this end of the cable, and what; infinite: nothing was. The kernel
        takes the time then, so that it is not this process's that counts, which has to be woken first."""
        begin = time.clock_gettime_ns(time.CLOCK_REALTIME)
        self.socket.sendto(packet, to)
        try:
            back, [(_, _, arrived)], _, _ = self.socket.recvmsg(LARGE_ENOUGH, socket.CMSG_SPACE(TIMESPEC.size))
        except TimeoutError:
            return math.inf, b""
        seconds, nanoseconds = TIMESPEC.unpack(arrived)
        return (seconds * 1_000_000_000 + nanoseconds - begin) / 1000, back

    def ask(self, milliampere):
        """The same for a limit; what came back was its answer."""
        self.number = self.number + 1 & 0xFFFFFFFF
        message = bytes([LIMIT]) + self.serial_number + struct.pack("<IB", milliampere, 0)
        took, packet = self.exchange(self.envelope.make(message, self.number), self.follower)
        if packet:
            answer, number = self.envelope.open(packet)
            if (answer[0], answer[1:7], number) != (LIMIT_ANSWER, self.serial_number, self.number):
                sys.exit(f"groupleader: not the answer to limit {self.number}: {answer.hex()}, number {number}")
        return took


def percentile(took, percent):
    return sorted(took)[(len(took) - 1) * percent // 100]


def rounds_of(took):
    size = len(took) // ROUNDS
    return [took[number * size:(number + 1) * size] for number in range(ROUNDS)]


def answers(leader, echo, requests, limits):
    leader.discover()
    at = (leader.follower[0], echo, *leader.follower[2:])
    asked, echoed = [], []
    for turn in range(requests):
        asked.append(leader.ask(limits[turn % len(limits)]))
        time.sleep(REQUEST_PAUSE_S)
        if echo:
            echoed.append(leader.exchange(bytes(REQUEST_BYTES), at)[0])
            time.sleep(REQUEST_PAUSE_S)
    asked, echoed = rounds_of(asked), rounds_of(echoed)
    found = {"answer_middle_p99_us": statistics.median(percentile(took, 99) for took in asked)}
    # The machine's other guests are measured, too: the round counts in which the echo was disturbed least.
    quietest = min(range(ROUNDS), key=lambda number: percentile(echoed[number], 99)) if echo else 0
    for name, took in [("answer", asked[quietest])] + ([("echo", echoed[quietest])] if echo else []):
        found |= {f"{name}_p{percent}_us": percentile(took, percent) for percent in (50, 99)}
    return found


def echo(port):
    listening = socket.socket(socket.AF_INET6, socket.SOCK_DGRAM)
    listening.bind(("::", port))
    while True:
        packet, peer = listening.recvfrom(LARGE_ENOUGH)
        listening.sendto(packet.ljust(ANSWER_BYTES), peer)


def forged_limits(_):
    return [bytes([LIMIT]) + os.urandom(REQUEST_BYTES - 1) for _ in range(PREPARED)]


def costliest(_):
    """Any byte may begin a packet of the kind that is taken from everybody, so most of them are decrypted."""
    return [bytes([RESET]) * MOST_BYTES]


def captured(leader):
    """True ones, which somebody without the key sends again: those of other followers, each taken once."""
    return [leader.envelope.make(bytes([LIMIT_ANSWER]) + bytes(19), 0) for _ in range(PREPARED)]


# What is sent, and from how many ports; 0: as if it came from the leader.
FLOODS = {
    "forged": (forged_limits, MANY_PORTS),
    "as-leader": (forged_limits, 0),
    "costliest": (costliest, MANY_PORTS),
    "captured": (captured, MANY_PORTS),
}


def flood(sockets, packets, to, rate, seconds):
    """In small steps, as many as are due at each."""
    sent, begin = 0, time.monotonic()
    while (passed := time.monotonic() - begin) < seconds:
        while sent < passed * rate:
            sockets[sent % len(sockets)].sendto(packets[sent % len(packets)], to)
            sent += 1
        time.sleep(FLOOD_STEP_S)


def received(pid):
    """Datagrams that processes of that one's network have read."""
    lines = pathlib.Path(f"/proc/{pid}/net/snmp6").read_text().splitlines()
    return next(int(line.split()[1]) for line in lines if line.startswith("Udp6InDatagrams"))


def flooded(leader, kind, rate, seconds, pid):
    make, ports = FLOODS[kind]
    leader.discover()
    packets = make(leader)
    sockets = [socket.socket(socket.AF_INET6, socket.SOCK_DGRAM) for _ in range(ports)] or [leader.socket]
    leader.ask(FLOOD_MILLIAMPERE)
    child = os.fork()
    if child == 0:
        flood(sockets, packets, leader.follower, rate, seconds)
        os._exit(0)
    cpu, before, begin = cpu_seconds(pid), received(pid), time.monotonic()
    took = []
    while os.waitpid(child, os.WNOHANG)[0] == 0:
        took.append(leader.ask(FLOOD_MILLIAMPERE))
        time.sleep(FLOOD_REQUEST_PAUSE_S)
        if time.monotonic() < begin + seconds - 2 * FLOOD_REQUEST_PAUSE_S:
            passed, used, read = time.monotonic() - begin, cpu_seconds(pid) - cpu, received(pid) - before
    return {"share": used / passed, "received_per_second": read / passed, "requests": len(took),
            "slowest_ms": max(took) / 1000}


def main():
    if sys.argv[1:2] == ["echo"]:
        echo(int(sys.argv[2]))
    if len(sys.argv) < 8:
        sys.exit(__doc__)
    adapter, group, password, what, *rest = sys.argv[1:]
    leader = Leader(adapter, int(group), password)
    if what == "answer":
        figures = answers(leader, int(rest[0]), int(rest[1]), [int(limit) for limit in rest[2].split(",")])
    else:
        figures = flooded(leader, rest[0], float(rest[1]), float(rest[2]), int(rest[3]))
    print(json.dumps(figures))


if __name__ == "__main__":
    main()
