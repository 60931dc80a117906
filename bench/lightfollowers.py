#!/usr/bin/env python3
"""Followers of one group on a real network, as docs/protocol.md has them, each at an address of its own.

usage: lightfollowers.py ADAPTER GROUP PASSWORD SECONDS ADDRESS..

Prints a line of JSON when all have been told a limit, or too late; then another one so many seconds later: what they saw in
these. Each has a vehicle, every fourth one on three phases, that draws what the limit before the newest allows, up to 16 A.
"""
import functools
import json
import secrets
import selectors
import socket
import struct
import sys
import time

from groupwire import (DISCOVERY, DISCOVERY_ANSWER, FALLBACK, FALLBACK_ANSWER, INFO, INFO_ANSWER, LIMIT, LIMIT_ANSWER, PORT,
                       RESET, VERSION, Envelope, group_address)

TIMEOUT_S = 8
PEER_LIFETIME_S = 10
FARTHEST_AHEAD = 10
ALL_FOUND_LIMIT_S = 60
STEP_S = 0.1
FALLBACK_MILLIAMPERE = 6000
LEAST_MILLIAMPERE, MOST_MILLIAMPERE, DISCOVERY_MILLIAMPERE = 6000, 16000, 10000
DISCOVERY_DONE = 0x80
ADDRESSED = (INFO, FALLBACK, LIMIT)
LARGE_ENOUGH = 2048


class Follower:
    def __init__(self, number, envelope, at):
        self.serial_number = bytes([56, number]) + struct.pack("<I", number * 7654321)
        self.phases = 0b111 if number % 4 == 0 else 1 << number % 4 - 1
        self.envelope = envelope
        self.at = at
        self.numbers = {}  # of peers: the newest one, and when they were heard
        self.is_discovered = False
        self.limit = self.drawn = 0
        self.told = None  # when it was told a limit
        self.reset_counts()

    def reset_counts(self):
        self.limits, self.timeouts, self.longest = 0, 0, 0

    def number_of(self, leader, now):
        number, heard = self.numbers.get(leader, (None, now))
        return number if now - heard < PEER_LIFETIME_S else None

    def hear(self, opened, leader, now):
        request, number = opened
        if request[0] in ADDRESSED:
            newest = self.number_of(leader, now)
            is_next = newest is None or 1 <= number - newest & 0xFFFFFFFF <= FARTHEST_AHEAD
            if request[1:7] != self.serial_number or not is_next:
                return
            self.numbers[leader] = number, now
            self.answer(self.answer_to(request, now), number, leader)
        elif request[0] == RESET:
            self.is_discovered, self.told = False, None
        elif request[0] == DISCOVERY and not self.is_discovered and self.is_meant(request):
            number = self.number_of(leader, now)
            number = secrets.randbits(32) if number is None else number
            self.numbers[leader] = number, now
            self.answer(bytes([DISCOVERY_ANSWER]) + self.serial_number, number, leader)

    def is_meant(self, discovery):
        prefix, bits, version = int.from_bytes(discovery[1:7], "little"), discovery[7], discovery[8]
        return version == VERSION and (int.from_bytes(self.serial_number, "little") ^ prefix) & (1 << bits) - 1 == 0

    def answer_to(self, request, now):
        if request[0] == INFO:
            return bytes([INFO_ANSWER]) + self.serial_number + bytes([VERSION, 0])
        if request[0] == FALLBACK:
            return bytes([FALLBACK_ANSWER]) + self.serial_number + struct.pack("<I", FALLBACK_MILLIAMPERE)
        self.drawn = min(self.limit, MOST_MILLIAMPERE) if self.limit >= LEAST_MILLIAMPERE else 0
        limit, flags = struct.unpack("<IB", request[7:12])
        self.limit = DISCOVERY_MILLIAMPERE if limit == 0 and flags & 1 else limit
        if self.told is not None:
            self.longest = max(self.longest, now - self.told)
        self.told, self.is_discovered, self.limits = now, True, self.limits + 1
        currents = [self.drawn if self.phases >> phase & 1 else 0 for phase in range(3)]
        report = DISCOVERY_DONE | self.phases if self.drawn else 0
        return bytes([LIMIT_ANSWER]) + self.serial_number + struct.pack("<3IB", *currents, report)

    def answer(self, message, number, leader):
        self.at.sendto(self.envelope.make(message, number), leader)

    def check_timeout(self, now):
        if self.is_discovered and now - self.told >= TIMEOUT_S:
            self.timeouts += 1
            self.is_discovered, self.limit, self.told = False, FALLBACK_MILLIAMPERE, None


def bound(address, index):
    listening = socket.socket(socket.AF_INET6, socket.SOCK_DGRAM)
    listening.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listening.bind((address, PORT, 0, index))
    listening.setblocking(False)
    return listening


def join(address, index):
    """What is sent to the group comes to each of its members."""
    member = bound(address, index)
    membership = socket.inet_pton(socket.AF_INET6, address) + struct.pack("@I", index)
    member.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_JOIN_GROUP, membership)
    return member


class Crowd:
    def __init__(self, adapter, group, password, addresses):
        index = socket.if_nametoindex(adapter)
        envelope = Envelope(password, group)
        self.open = functools.lru_cache(envelope.open)  # most of it once for all
        self.selector = selectors.DefaultSelector()
        self.followers = []
        for number, address in enumerate(addresses, 1):
            follower = Follower(number, envelope, bound(address, index))
            self.followers.append(follower)
            for listening in (follower.at, join(group_address(group), index)):
                self.selector.register(listening, selectors.EVENT_READ, follower)

    def led(self):
        return sum(follower.is_discovered for follower in self.followers)

    def run_until(self, is_over):
        while not is_over():
            for key, _ in self.selector.select(STEP_S):
                packet, sender = key.fileobj.recvfrom(LARGE_ENOUGH)
                key.data.hear(self.open(packet), sender, time.monotonic())
            for follower in self.followers:
                follower.check_timeout(time.monotonic())


def main():
    if len(sys.argv) < 6:
        sys.exit(__doc__)
    adapter, group, password, seconds, *addresses = sys.argv[1:]
    crowd = Crowd(adapter, int(group), password, addresses)
    begin = time.monotonic()
    crowd.run_until(lambda: crowd.led() == len(addresses) or time.monotonic() > begin + ALL_FOUND_LIMIT_S)
    print(json.dumps({"led": crowd.led(), "after_s": time.monotonic() - begin}), flush=True)
    if crowd.led() < len(addresses):
        return
    for follower in crowd.followers:
        follower.reset_counts()
    end = time.monotonic() + float(seconds)
    crowd.run_until(lambda: time.monotonic() >= end)
    print(json.dumps({
        "led": crowd.led(), "timeouts": sum(follower.timeouts for follower in crowd.followers),
        "longest_s": max(follower.longest for follower in crowd.followers),
        "fewest_limits": min(follower.limits for follower in crowd.followers),
        "ampere": [follower.limit / 1000 for follower in crowd.followers]}))


if __name__ == "__main__":
    main()
