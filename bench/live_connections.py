#!/usr/bin/python3
"""Compares the CPU time of egress-report with that of `ss` on a process with many connections."""

import argparse
import json
import os
import resource
import statistics
import subprocess
import sys
import tempfile

CONNECTIONS = 4800  # with both ends in one namespace, the kernel lists 9,600 sockets
ROUNDS = 15
PORT = 4443

# The process in the middle is the engine; its child accepts the connections.
ENGINE = f"""
import os, resource, socket, sys
resource.setrlimit(resource.RLIMIT_NOFILE, (10000, 10000))
listener = socket.create_server(("127.0.0.1", {PORT}), backlog=1024)
if os.fork() == 0:
    accepted = []
    while len(accepted) < {CONNECTIONS}:
        accepted.append(listener.accept())
    sys.stdin.read()
    os._exit(0)
connections = [socket.create_connection(("127.0.0.1", {PORT})) for _ in range({CONNECTIONS})]
print("ready", flush=True)
sys.stdin.read()
"""

CONFIG = {"route": {"auto_detect_interface": True},
          "outbounds": [{"tag": "proxy", "type": "trojan", "server": "127.0.0.1", "server_port": PORT}]}


def cpu_time(command):
    """User and system time in seconds of a command that succeeds."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(command, stdout=subprocess.DEVNULL, check=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime


def measure(program):
    with tempfile.NamedTemporaryFile("w", suffix=".json") as config, subprocess.Popen(
            [sys.executable, "-c", ENGINE], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as engine:
        config.write(json.dumps(CONFIG))
        config.flush()
        if engine.stdout.readline() != "ready\n":
            sys.exit("live_connections: the connections could not be made")
        ss = ["ss", "-tnp", "state", "connected"]
        report = [program, "--pid", str(engine.pid), "--config", config.name, "--json=details"]
        rounds = [(cpu_time(report), cpu_time(ss)) for _ in range(ROUNDS)]
        engine.stdin.close()
    ours, theirs = map(statistics.median, zip(*rounds))
    print(f"{CONNECTIONS} connections, {ROUNDS} rounds, median CPU time: egress-report {ours * 1000:.0f} ms, "
          f"{' '.join(ss)} {theirs * 1000:.0f} ms, ratio {ours / theirs:.2f}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, epilog="Needs root, for a network namespace of its own.")
    parser.add_argument("program", help="path of egress-report")
    program = os.path.abspath(parser.parse_args().program)
    if "EGRESS_IN_NAMESPACE" not in os.environ:
        os.environ["EGRESS_IN_NAMESPACE"] = "1"
        os.execvp("unshare", ["unshare", "--net", sys.executable, __file__, program])
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    measure(program)


if __name__ == "__main__":
    main()
