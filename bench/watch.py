#!/usr/bin/python3
"""Measures the CPU time of egress-report --watch on an idle host, and its memory after many rounds."""

import argparse
import json
import os
import re
import subprocess
import sys
import tempfile
import time
from pathlib import Path

PORT = 4443
FEW_ROUNDS = 10

# The engine, with one connection to itself.
ENGINE = f"""
import socket, sys
listener = socket.create_server(("127.0.0.1", {PORT}))
connection = socket.create_connection(("127.0.0.1", {PORT}))
accepted = listener.accept()
print("ready", flush=True)
sys.stdin.read()
"""

CONFIG = {"route": {"auto_detect_interface": True},
          "outbounds": [{"tag": "proxy", "type": "trojan", "server": "127.0.0.1", "server_port": PORT}]}


def members_of_stat(pid):
    """The members of /proc/PID/stat after the name; proc(5) counts the first one as the third."""
    return Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()


def cpu_time(pid):
    """User and system time in seconds, with that of the children that have ended."""
    return sum(map(int, members_of_stat(pid)[11:15])) / os.sysconf("SC_CLK_TCK")


def faults_of_children(pid):
    """Grows with each child that has ended."""
    return int(members_of_stat(pid)[8])


def memory(pid):
    """VmRSS in kB."""
    status = Path(f"/proc/{pid}/status").read_text()
    return int(re.search(r"^VmRSS:\s+(\d+) kB$", status, re.MULTILINE)[1])


def run_rounds(watch, count):
    """Each change of an address starts a round."""
    for number in range(count):
        before = faults_of_children(watch.pid)
        action = "add" if number % 2 == 0 else "del"
        subprocess.run(["ip", "address", action, "192.0.2.1/32", "dev", "lo"], check=True)
        while faults_of_children(watch.pid) == before:
            if watch.poll() is not None:
                sys.exit("watch: the program has ended")
            time.sleep(0.002)


def measure(program, seconds, rounds):
    command = [sys.executable, "-c", ENGINE]
    with tempfile.NamedTemporaryFile("w", suffix=".json") as config, subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as engine:
        config.write(json.dumps(CONFIG))
        config.flush()
        if engine.stdout.readline() != "ready\n":
            sys.exit("watch: the connection could not be made")
        with subprocess.Popen([program, "--pid", str(engine.pid), "--config", config.name, "--watch"],
                              stdout=subprocess.PIPE, text=True) as watch:
            print(watch.stdout.readline(), end="")
            before = cpu_time(watch.pid)
            time.sleep(seconds)
            used = cpu_time(watch.pid) - before
            print(f"idle for {seconds} s with a round every 5 s: {used:.2f} s of CPU time, "
                  f"{used * 3600 / seconds:.1f} s an hour", flush=True)
            run_rounds(watch, FEW_ROUNDS)
            few = memory(watch.pid)
            run_rounds(watch, rounds - FEW_ROUNDS)
            print(f"VmRSS after {FEW_ROUNDS} rounds: {few} kB, after {rounds}: {memory(watch.pid)} kB")
            watch.terminate()
        engine.stdin.close()


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     epilog="Needs root, for a network namespace of its own.")
    parser.add_argument("program", help="path of egress-report")
    parser.add_argument("--seconds", type=int, default=60, help="how long the host is idle, default 60")
    parser.add_argument("--rounds", type=int, default=10000, help="default 10000, half an hour")
    options = parser.parse_args()
    if "EGRESS_IN_NAMESPACE" not in os.environ:
        os.environ["EGRESS_IN_NAMESPACE"] = "1"
        program = [sys.executable, os.path.abspath(__file__), *sys.argv[1:]]
        os.execvp("unshare", ["unshare", "--net", *program])
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    measure(os.path.abspath(options.program), options.seconds, options.rounds)


if __name__ == "__main__":
    main()
