"""Creates network namespaces with two uplinks. They last as long as the process that created them.

    engine (the client)                               server
    up1  10.1.0.2, 2001:db8:1::2  --- veth ---  10.1.0.1, 2001:db8:1::1
    up2  10.2.0.2, 2001:db8:2::2  --- veth ---  10.2.0.1, 2001:db8:2::1
                                        lo:   203.0.113.10, 2001:db8:f::10 (the endpoint)

The default route of each family uses up1. A routing rule sends connections from addresses of up2
through up2.
"""

import ctypes
import json
import os
import subprocess
import sys
import time
import unittest

CLONE_NEWUSER = 0x10000000
CLONE_NEWNET = 0x40000000

ENDPOINT4 = "203.0.113.10"
ENDPOINT6 = "2001:db8:f::10"
PORT = 443  # the server keeps connections open
OTHER_PORT = 8443  # the same
CLOSING_PORT = 444  # the server closes them at once

# A user without any capability, and the prefix of a command that runs as him.
OTHER_USER = 12345
AS_OTHER_USER = ("setpriv", f"--reuid={OTHER_USER}", f"--regid={OTHER_USER}", "--clear-groups")

# Opens a socket for each line of "KIND SOURCE TARGET PORT", sets the process name, and waits. A line
# may go on with "device=NAME" (bound to it), "mark=NUMBER" and "source-port=NUMBER". With the suffix
# "-talking", a KIND sends a byte every 20 ms.
CLIENT = r"""
import socket, struct, sys, threading, time
FIN_WAIT_2 = 5  # of the kernel's states, the first byte of TCP_INFO
def talk(made):
    while True:
        try:
            made.send(b"x")
        except OSError:  # no route; or the server replies to UDP that no program receives it
            pass
        time.sleep(0.02)
sockets = []
for line in sys.argv[2:]:
    kind, source, target, port, *words = line.split()
    options = dict(word.split("=") for word in words)
    family = socket.AF_INET6 if ":" in target else socket.AF_INET
    talks, kind = kind.endswith("-talking"), kind.removesuffix("-talking")
    type_ = socket.SOCK_STREAM if kind.startswith("tcp") else socket.SOCK_DGRAM
    made = socket.socket(family, type_)
    if "device" in options:
        made.setsockopt(socket.SOL_SOCKET, socket.SO_BINDTODEVICE, options["device"].encode())
    if "mark" in options:
        mark = int(options["mark"]).to_bytes(4, sys.byteorder)
        made.setsockopt(socket.SOL_SOCKET, socket.SO_MARK, mark)
    if "source-port" in options:  # closed without TIME_WAIT, so that the next test can use the port
        made.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    made.bind((source, int(options.get("source-port", 0))))
    made.setblocking(kind != "tcp-unanswered")
    if kind != "udp-unconnected":
        (made.connect if made.getblocking() else made.connect_ex)((target, int(port)))
    if kind == "tcp-half-closed":
        made.shutdown(socket.SHUT_WR)
        while made.getsockopt(socket.IPPROTO_TCP, socket.TCP_INFO, 1)[0] != FIN_WAIT_2:
            time.sleep(0.01)
    if kind == "tcp-closed-by-server":
        made.recv(1)
    sockets.append(made)
    if talks:
        threading.Thread(target=talk, args=(made,), daemon=True).start()
open("/proc/self/comm", "w").write(sys.argv[1])
print("ready", flush=True)
sys.stdin.read()
"""

# Accepts TCP connections over both families on each port. If a "!" follows the port, closes them at
# once.
SERVER = r"""
import socket, sys, threading
def accept(listener, kept, keep):
    while True:
        connection, _ = listener.accept()
        kept.append(connection) if keep else connection.close()
for port in sys.argv[1:]:
    listener = socket.create_server(("::", int(port.rstrip("!"))), family=socket.AF_INET6,
                                    dualstack_ipv6=True)
    threading.Thread(target=accept, args=(listener, [], port[-1] != "!"), daemon=True).start()
print("ready", flush=True)
sys.stdin.read()
"""


class NotPermitted(Exception):
    """Network namespaces cannot be created; the message gives the reason."""


def command(*words):
    """Runs a command and returns its output. Raises its standard error if it fails."""
    done = subprocess.run(words, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(words)}: {done.stderr.strip()}")
    return done.stdout


_libc = ctypes.CDLL(None, use_errno=True)
_paths = {}  # paths of the namespaces that this process holds open, by name


def unshare(flags):
    if _libc.unshare(flags) != 0:
        raise RuntimeError(f"unshare: {os.strerror(ctypes.get_errno())}")


def create_namespace(name):
    """Moves this process into a new network namespace and holds it open. `ip netns` is not used: it
    needs a mount, and `ip netns exec` fails in a chroot."""
    unshare(CLONE_NEWNET)
    _paths[name] = f"/proc/{os.getpid()}/fd/{os.open('/proc/self/ns/net', os.O_RDONLY)}"


def become_root_of_a_user_namespace():
    user, group = os.getuid(), os.getgid()
    unshare(CLONE_NEWUSER)
    for name, text in [("setgroups", "deny"), ("uid_map", f"0 {user} 1"), ("gid_map", f"0 {group} 1")]:
        with open(f"/proc/self/{name}", "w", encoding="ascii") as file:
            file.write(text)


def create_namespaces(names):
    if os.getuid() != 0:
        become_root_of_a_user_namespace()
    for name in names:
        create_namespace(name)
        ip(name, "link set lo up")


def creation_error(names):
    """Creates namespaces, a link and an address in a child process; returns its error, or ""."""
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        try:
            create_namespaces(names)
            ip(names[0], "link add probe type veth")
            ip(names[0], "address add 2001:db8::1/128 dev lo")
        except (OSError, RuntimeError) as error:
            os.write(writer, str(error).encode())
        finally:
            os._exit(0)
    os.close(writer)
    with os.fdopen(reader) as file:
        reason = file.read()
    os.waitpid(child, 0)
    return reason


def enter_new_namespaces(*names):
    """Creates a network namespace for each name, with the loopback up, and moves this process into the
    last one. Raises NotPermitted, and does not move, if that is not possible."""
    reason = creation_error(names)
    if reason:
        raise NotPermitted(reason)
    create_namespaces(names)


def inside(namespace):
    """The prefix of a command that runs in a namespace."""
    return "nsenter", f"--net={_paths[namespace]}"


def ip(namespace, text):
    return command(*inside(namespace), "ip", *text.split())


def ends(number):
    """The namespaces of an uplink, with the addresses of its end there."""
    return [("engine", f"10.{number}.0.2", f"2001:db8:{number}::2"),
            ("server", f"10.{number}.0.1", f"2001:db8:{number}::1")]


def create_uplink(number):
    name = f"up{number}"
    ip("engine", f"link add {name} type veth peer name {name} netns {_paths['server']}")
    for namespace, address, _ in ends(number):
        ip(namespace, f"address add {address}/24 dev {name}")
    ip("server", f"link set {name} up")
    set_up(number)


def set_up(number):
    """Sets the engine's end of an uplink up, with what Linux removes when a link is set down."""
    name = f"up{number}"
    ip("engine", f"link set {name} up")
    for namespace, _, address6 in ends(number):
        ip(namespace, f"address replace {address6}/64 dev {name} nodad")
    _, (_, server, server6) = ends(number)
    ip("engine", f"route replace default via {server} dev {name} metric {100 * number}")
    ip("engine", f"-6 route replace default via {server6} dev {name} metric {100 * number}")


def create_network():
    create_uplink(1)
    create_uplink(2)
    for family, source, gateway in [("-4", "10.2.0.2", "10.2.0.1"),
                                    ("-6", "2001:db8:2::2", "2001:db8:2::1")]:
        ip("engine", f"{family} rule add from {source} table 200")
        ip("engine", f"{family} route add default via {gateway} dev up2 table 200")
    ip("server", f"address add {ENDPOINT4}/32 dev lo")
    ip("server", f"address add {ENDPOINT6}/128 dev lo nodad")


def route_by_destination_alone():
    """Removes the routing rules for addresses of up2, and lets packets arrive on any link."""
    ip("engine", "-4 rule del from 10.2.0.2 table 200")
    ip("engine", "-6 rule del from 2001:db8:2::2 table 200")
    for namespace in ("engine", "server"):
        command(*inside(namespace), "sh", "-c",
                "for file in /proc/sys/net/ipv4/conf/*/rp_filter; do echo 0 >$file; done")


def ordinals():
    """The ordinal of each interface of the engine's namespace, by name."""
    links = json.loads(ip("engine", "-json link show"))
    by_index = sorted(links, key=lambda link: link["ifindex"])
    return {link["ifname"]: ordinal for ordinal, link in enumerate(by_index, start=1)}


def index(name):
    """The index of an interface of the engine's namespace."""
    link, = json.loads(ip("engine", f"-json link show {name}"))
    return link["ifindex"]


def wait_for_state(name, state):
    """Waits until an interface of the engine's namespace has an operational state."""
    for _ in range(1000):
        link, = json.loads(ip("engine", f"-json link show {name}"))
        if link["operstate"] == state:
            return
        time.sleep(0.01)
    raise RuntimeError(f"{name} is {link['operstate']}, not {state}")


class Program:
    """A Python program in a namespace. It prints "ready" and ends at the end of its standard input.
    `before` is a command prefix."""

    def __init__(self, namespace, text, *arguments, python=sys.executable, before=()):
        self.process = subprocess.Popen(
            [*inside(namespace), *before, str(python), "-c", text, *map(str, arguments)],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        if self.process.stdout.readline() != "ready\n":
            self.end()
            raise RuntimeError(f"a program in {namespace} did not start: {arguments}")

    @property
    def pid(self):
        return self.process.pid

    def end(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()


def run_tests(prepare=lambda: None):
    """Runs the tests of the program that calls it, on the network, which `prepare` may change."""
    try:
        enter_new_namespaces("engine", "server")
    except NotPermitted as reason:
        print(f"skipped: cannot create network namespaces: {reason}")
        sys.exit(0)
    create_network()
    prepare()
    server = Program("server", SERVER, PORT, OTHER_PORT, f"{CLOSING_PORT}!")
    try:
        unittest.main(verbosity=2)  # with the reason of each skip
    finally:
        server.end()
