#!/usr/bin/env python3
"""Runs a program where avahi announces and finds services: in a network of its own, with a system bus of its own. The
machine's own are left alone. Status 77, and why, where the machine does not allow that.

usage: with_avahi.py PROGRAM [ARGUMENT...]

The program finds the daemon's process id in /run/avahi-daemon/pid, and in START_AVAHI what starts it again.
"""
import os
import pathlib
import shlex
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77
INSIDE = "WITH_AVAHI_INSIDE"
BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>system</type><listen>unix:path={}</listen><auth>EXTERNAL</auth>
<policy context="default"><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy></busconfig>
"""
AVAHI = """[server]
host-name=station
use-ipv6=no
allow-interfaces=eth0
[publish]
publish-hinfo=no
publish-workstation=no
"""


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(SKIPPED)


def run(*words):
    answer = subprocess.run(words, capture_output=True, text=True)
    if answer.returncode != 0:
        skip(f"{shlex.join(words)}: {answer.stderr.strip()}")


def inside():
    run("mount", "-t", "tmpfs", "tmpfs", "/run")
    for words in ("link set lo up", "link add eth0 type veth peer name eth1", "addr add 10.9.0.1/24 dev eth0",
                  "link set eth0 up multicast on", "link set eth1 up"):
        run("ip", *words.split())
    folder = pathlib.Path("/run/with_avahi")
    folder.mkdir()
    (folder / "bus.conf").write_text(BUS.format(folder / "bus"))
    (folder / "avahi.conf").write_text(AVAHI)
    os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = f"unix:path={folder / 'bus'}"
    run("dbus-daemon", f"--config-file={folder / 'bus.conf'}", "--fork", "--nopidfile")
    start = ["avahi-daemon", "--daemonize", "--no-drop-root", "--no-chroot", "--no-rlimits",
             f"--file={folder / 'avahi.conf'}"]
    run(*start)
    os.environ["START_AVAHI"] = shlex.join(start)
    sys.exit(subprocess.run(sys.argv[1:]).returncode)


def main():
    if INSIDE in os.environ:
        inside()
    for tool in "unshare", "ip", "mount", "dbus-daemon", "avahi-daemon":
        if shutil.which(tool) is None:
            skip(f"{tool} is not here")
    apart = ["unshare", "--net", "--mount", "--pid", "--fork", "--kill-child"]
    if os.geteuid() != 0:
        apart.append("--map-root-user")
    run(*apart, "true")
    with tempfile.TemporaryFile() as output:  # a daemon that is left must not hold a pipe of the caller's
        status = subprocess.run([*apart, sys.executable, *sys.argv], env=os.environ | {INSIDE: "1"},
                                stdin=subprocess.DEVNULL, stdout=output, stderr=output).returncode
        output.seek(0)
        sys.stdout.write(output.read().decode(errors="replace"))
    sys.exit(status)


if __name__ == "__main__":
    main()
