"""Network namespaces with two uplinks, made anew and gone with the process that made them.

    engine (the client)                               server
    up1  10.1.0.2, 2001:db8:1::2  --- veth ---  10.1.0.1, 2001:db8:1::1
    up2  10.2.0.2, 2001:db8:2::2  --- veth ---  10.2.0.1, 2001:db8:2::1
                                        lo:   203.0.113.10, 2001:db8:f::10: the endpoint

The default route of each family leaves through up1; a connection from an address of up2 leaves
through up2, because a rule sends it to a table of its own.
"""

import ctypes
import json
import os
import subprocess
import sys
import time

CLONE_NEWUSER = 0x10000000
CLONE_NEWNET = 0x40000000

ENDPOINT4 = "203.0.113.10"
ENDPOINT6 = "2001:db8:f::10"
PORT = 443  # connections stay
CLOSING_PORT = 444  # the server closes them at once

# Takes its lines apart: connects as each says, gives itself the name, and waits.
CLIENT = r"""
import socket, sys
sockets = []
for line in sys.argv[2:]:
    kind, source, target, port = line.split()
    family = socket.AF_INET6 if ":" in target else socket.AF_INET
    type_ = socket.SOCK_STREAM if kind.startswith("tcp") else socket.SOCK_DGRAM
    made = socket.socket(family, type_)
    made.bind((source, 0))
    made.setblocking(kind != "tcp-unanswered")
    if kind != "udp-unconnected":
        (made.connect if made.getblocking() else made.connect_ex)((target, int(port)))
    if kind == "tcp-half-closed":
        made.shutdown(socket.SHUT_WR)
    if kind == "tcp-closed-by-server":
        made.recv(1)
    sockets.append(made)
open("/proc/self/comm", "w").write(sys.argv[1])
print("ready", flush=True)
sys.stdin.read()
"""

# Listens on all addresses, TCP over both families, and keeps what connects; or closes it at once
# on a port with a "!" behind it.
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
    """Network namespaces cannot be made here; the text says why."""


def command(*words):
    """Runs a command; its output. A failure shows what it said."""
    done = subprocess.run(words, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(words)}: {done.stderr.strip()}")
    return done.stdout


_libc = ctypes.CDLL(None, use_errno=True)
_paths = {}  # of the namespaces that this process holds open, by name


def unshare(flags):
    if _libc.unshare(flags) != 0:
        raise RuntimeError(f"unshare: {os.strerror(ctypes.get_errno())}")


def make_namespace(name):
    """Moves this process into a new network namespace, and holds it open. It has no name that `ip`
    could look up: that would need a mount, and in a chroot `ip netns exec` is refused."""
    unshare(CLONE_NEWNET)
    _paths[name] = f"/proc/{os.getpid()}/fd/{os.open('/proc/self/ns/net', os.O_RDONLY)}"


def become_root_of_a_user_namespace():
    user, group = os.getuid(), os.getgid()
    unshare(CLONE_NEWUSER)
    for name, text in [("setgroups", "deny"), ("uid_map", f"0 {user} 1"), ("gid_map", f"0 {group} 1")]:
        with open(f"/proc/self/{name}", "w", encoding="ascii") as file:
            file.write(text)


def make_namespaces(names):
    if os.getuid() != 0:
        become_root_of_a_user_namespace()
    for name in names:
        make_namespace(name)
        ip(name, "link set lo up")


def why_not(names):
    """Why a child of this process cannot make the namespaces, links and addresses; or nothing."""
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        try:
            make_namespaces(names)
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


def leave_this_network(*names):
    """Makes a network namespace for each name, with its loopback up; this process moves into the
    last one. They go away with it. When they are not permitted, it stays where it is."""
    reason = why_not(names)
    if reason:
        raise NotPermitted(reason)
    make_namespaces(names)


def inside(namespace):
    """What runs a command in a namespace."""
    return "nsenter", f"--net={_paths[namespace]}"


def ip(namespace, text):
    return command(*inside(namespace), "ip", *text.split())


def make_uplink(number):
    engine, server = f"10.{number}.0.2", f"10.{number}.0.1"
    engine6, server6 = f"2001:db8:{number}::2", f"2001:db8:{number}::1"
    name = f"up{number}"
    ip("engine", f"link add {name} type veth peer name {name} netns {_paths['server']}")
    for namespace, address, address6 in [("engine", engine, engine6), ("server", server, server6)]:
        ip(namespace, f"address add {address}/24 dev {name}")
        ip(namespace, f"address add {address6}/64 dev {name} nodad")
        ip(namespace, f"link set {name} up")
    ip("engine", f"route add default via {server} dev {name} metric {100 * number}")
    ip("engine", f"-6 route add default via {server6} dev {name} metric {100 * number}")


def make_network():
    make_uplink(1)
    make_uplink(2)
    for family, source, gateway in [("-4", "10.2.0.2", "10.2.0.1"),
                                    ("-6", "2001:db8:2::2", "2001:db8:2::1")]:
        ip("engine", f"{family} rule add from {source} table 200")
        ip("engine", f"{family} route add default via {gateway} dev up2 table 200")
    ip("server", f"address add {ENDPOINT4}/32 dev lo")
    ip("server", f"address add {ENDPOINT6}/128 dev lo nodad")


def ordinals():
    """The place of each interface of the engine's namespace among all of them, by index."""
    links = json.loads(ip("engine", "-json link show"))
    by_index = sorted(links, key=lambda link: link["ifindex"])
    return {link["ifname"]: place for place, link in enumerate(by_index, start=1)}


def wait_for_state(name, state):
    """Waits until the kernel has noticed the state of an interface of the engine's namespace."""
    for _ in range(1000):
        link, = json.loads(ip("engine", f"-json link show {name}"))
        if link["operstate"] == state:
            return
        time.sleep(0.01)
    raise RuntimeError(f"{name} is {link['operstate']}, not {state}")


class Program:
    """A Python program in a namespace that says when it is ready, and ends when it is told to."""

    def __init__(self, namespace, text, *arguments, python=sys.executable):
        self.process = subprocess.Popen(
            [*inside(namespace), str(python), "-c", text, *map(str, arguments)],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        if self.process.stdout.readline() != "ready\n":
            self.end()
            raise RuntimeError(f"a program in {namespace} did not get ready: {arguments}")

    @property
    def number(self):
        return self.process.pid

    def end(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()
