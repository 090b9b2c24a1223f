#!/usr/bin/python3
"""Compares a diagnosis by the WebAssembly module, under Node, with one by the C library, each within one
process that has warmed up. Fails if the module takes LIMIT times as long.

Usage: wasm_speed.py LIBRARY

LIBRARY is the path of libegress-c.so. scripts/wasm builds the module before."""

import ctypes
import gzip
import json
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[1]
MODULE = SOURCE / "build/wasm/egress.wasm"
SOCKETS = 1_000
FUNCTIONS = {"diagnose": "diagnose", "diagnoseInDetail": "diagnose_in_detail"}
CALLS = 20  # in a round
WARM_UP, ROUNDS = 10, 15
LIMIT = 5


def snapshot():
    """A host with 40 outbounds, 8 interfaces and SOCKETS sockets, every tenth to the endpoint."""
    outbounds = [{"tag": "proxy" if i == 0 else f"node-{i}", "type": "vless", "hasServer": True,
                  "server": f"198.51.100.{i + 1}", "portSpecified": True, "ports": [443]}
                 for i in range(40)]
    adapters = [{"name": f"eth{i}", "interfaceIndex": i + 1, "operStatus": 1,
                 "addresses": [f"10.0.{i}.7", f"fd00::{i}:7"]} for i in range(8)]
    sockets = [{"localAddress": "10.0.3.7" if i % 10 == 0 else f"10.0.{i % 8}.7",
                "localPort": 40000 + i, "remotePort": 443,
                "remoteAddress": f"198.51.100.{1 + i % 10}"} for i in range(SOCKETS)]
    return json.dumps({"format": "egress-snapshot", "version": 1,
                       "config": {"configStatus": "OK", "autoDetectInterface": True,
                                  "outbounds": outbounds},
                       "adapters": {"rows": adapters}, "sockets": {"rows": sockets}}, indent=2).encode()


class Native:
    """The C library in this process."""

    def __init__(self, path):
        self.library = ctypes.CDLL(path)
        self.library.egress_result_text.restype = ctypes.c_void_p
        self.library.egress_result_length.restype = ctypes.c_size_t
        for name in ["result_text", "result_length", "result_free"]:
            self.function(name).argtypes = [ctypes.c_void_p]
        for name in FUNCTIONS.values():
            self.function(name).argtypes = [ctypes.c_char_p, ctypes.c_size_t]
            self.function(name).restype = ctypes.c_void_p

    def function(self, name):
        return getattr(self.library, f"egress_{name}")  # self.library[...] is another object each time

    def text_of(self, function, text):
        result = self.function(FUNCTIONS[function])(text, len(text))
        copy = ctypes.string_at(self.library.egress_result_text(result),
                                self.library.egress_result_length(result))
        self.library.egress_result_free(result)
        return copy

    def seconds(self, function, text):
        start = time.perf_counter()
        for _ in range(CALLS):
            self.text_of(function, text)
        return (time.perf_counter() - start) / CALLS


class Module:
    """The module in a process of Node, which answers requests."""

    def __init__(self, text):
        with tempfile.NamedTemporaryFile() as file:
            file.write(text)
            file.flush()
            self.node = subprocess.Popen(["node", Path(__file__).with_name("wasm_speed.mjs"), MODULE,
                                          file.name], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
            self.request("ready")

    def request(self, *words):
        self.node.stdin.write((json.dumps(words) + "\n").encode())
        self.node.stdin.flush()
        line = self.node.stdout.readline()
        if not line:
            sys.exit("wasm_speed: node failed")
        return json.loads(line)

    def text_of(self, function):
        return self.request("text", function).encode()

    def seconds(self, function):
        return self.request("seconds", function, CALLS)

    def close(self):
        self.node.stdin.close()
        self.node.wait()


def compare(native, module, text, function):
    """Returns how many times as long as the library the module takes."""
    if native.text_of(function, text) != module.text_of(function):
        sys.exit(f"wasm_speed: {function} differs; is build/wasm up to date?")
    rounds = [(native.seconds(function, text), module.seconds(function))
              for _ in range(WARM_UP + ROUNDS)][WARM_UP:]
    medians = [statistics.median(times) for times in zip(*rounds)]
    ratio = medians[1] / medians[0]
    print(f"{function:17} library {medians[0] * 1e3:7.3f} ms  module {medians[1] * 1e3:7.3f} ms"
          f"  ratio {ratio:.2f}")
    return ratio


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    if not MODULE.exists():
        sys.exit(f"wasm_speed: {MODULE} is missing; scripts/wasm builds it")
    text = snapshot()
    size, compressed = MODULE.stat().st_size, len(gzip.compress(MODULE.read_bytes(), 9))
    print(f"module: {size:,} bytes, {compressed:,} compressed with gzip -9")
    print(f"snapshot: {len(text):,} bytes, {SOCKETS:,} sockets; medians of {ROUNDS} rounds")
    native, module = Native(sys.argv[1]), Module(text)
    ratios = [compare(native, module, text, function) for function in FUNCTIONS]
    module.close()
    if max(ratios) >= LIMIT:
        sys.exit(f"wasm_speed: the module takes {max(ratios):.2f} times as long, {LIMIT} or more")


if __name__ == "__main__":
    main()
