#!/usr/bin/python3
"""Compares egress-report on many snapshots at once with a process for each, and measures its memory."""

import argparse
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

SNAPSHOTS = 400
ROUNDS = 7
FEW, MANY = 100, 10_000  # for the peak of the memory


def snapshot(number):
    """A host with 40 outbounds, 8 interfaces and 100 sockets, one of them to the endpoint."""
    outbounds = [{"tag": "proxy" if i == 0 else f"node-{i}", "type": "vless", "hasServer": True,
                  "server": f"198.51.100.{i + 1}", "portSpecified": True, "ports": [443]} for i in range(40)]
    adapters = [{"name": f"eth{i}", "interfaceIndex": i + 1, "operStatus": 1,
                 "addresses": [f"10.0.{i}.7", f"fd00::{i}:7"]} for i in range(8)]
    sockets = [{"localAddress": f"10.0.{number % 8}.7", "localPort": 40000 + i, "remotePort": 443,
                "remoteAddress": f"198.51.100.{1 + i}", "routeInterfaceIndex": 1 + number % 8}
               for i in range(100)]
    return {"format": "egress-snapshot", "version": 1,
            "config": {"configStatus": "OK", "autoDetectInterface": True, "outbounds": outbounds},
            "adapters": {"rows": adapters}, "sockets": {"rows": sockets}}


def elapsed(command):
    """Seconds of a command that writes its output to no place. Status 1 is a diagnosis, too; 123 is
    that of xargs if there was one."""
    start = time.monotonic()
    status = subprocess.run(command, stdout=subprocess.DEVNULL, check=False).returncode
    if status not in (0, 1, 123):
        sys.exit(f"many_snapshots: {command[0]} failed")
    return time.monotonic() - start


def peak_memory(command):
    """Of a command, in MiB."""
    with subprocess.Popen(command, stdout=subprocess.DEVNULL) as process:
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"many_snapshots: {command[0]} failed")
    return usage.ru_maxrss / 1024


def measure(program, folder):
    paths = [folder / f"{number:05}.json" for number in range(SNAPSHOTS)]
    for number, path in enumerate(paths):
        path.write_text(json.dumps(snapshot(number), indent=2))
    names = folder / "names"
    names.write_text("".join(f"{path}\n" for path in paths))
    single = [program, "--json=details", "--snapshot"]
    contenders = {
        "at once": [program, "--snapshots-from", str(names)],
        "a process for each": ["xargs", "-a", str(names), "-n", "1", *single],
        f"a process for each, {os.cpu_count()} at a time":
            ["xargs", "-a", str(names), "-n", "1", "-P", str(os.cpu_count()), *single]}
    rounds = [{name: elapsed(command) for name, command in contenders.items()} for _ in range(ROUNDS)]
    print(f"{SNAPSHOTS} snapshots of {paths[0].stat().st_size // 1024} KiB, {os.cpu_count()} processors, "
          f"{ROUNDS} rounds, medians:")
    for name in contenders:
        seconds = statistics.median(times[name] for times in rounds)
        ratio = statistics.median(times[name] / times["at once"] for times in rounds)
        print(f"  {name}: {SNAPSHOTS / seconds:.0f} snapshots a second, {ratio:.1f} times as long")
    for count in (FEW, MANY):
        names.write_text("".join(f"{paths[number % SNAPSHOTS]}\n" for number in range(count)))
        peak = peak_memory([program, "--snapshots-from", str(names)])
        print(f"  peak memory with {count} snapshots: {peak:.1f} MiB")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("program", help="path of egress-report")
    program = os.path.abspath(parser.parse_args().program)
    with tempfile.TemporaryDirectory() as folder:
        measure(program, Path(folder))


if __name__ == "__main__":
    main()
