"""Snapshots for the tests of the page. Derive variants with `|`, which replaces whole members."""

EMPTY = {"format": "egress-snapshot", "version": 1}


def socket(port, route=2, **members):
    """A connection of 10.0.0.7, the address of wan0, to the endpoint."""
    return {"localAddress": "10.0.0.7", "localPort": port, "remoteAddress": "198.51.100.10",
            "remotePort": 443, "routeInterfaceIndex": route, "boundInterfaceIndex": 0, "mark": 0,
            "user": 1000} | members


CONFIG = {"configStatus": "OK", "autoDetectInterface": True, "outbounds": [
    {"tag": "proxy", "type": "selector"},
    {"tag": "Tokyo 3", "type": "vless", "detour": "hop"},
    {"tag": "hop", "type": "shadowsocks", "hasServer": True, "server": "198.51.100.10",
     "portSpecified": True, "ports": [443]}]}

INTERFACES = {"rows": [
    {"name": "lo", "interfaceIndex": 1, "operStatus": 1, "addresses": ["127.0.0.1", "::1"],
     "kind": "LOOPBACK"},
    {"name": "wan0", "interfaceIndex": 2, "operStatus": 1, "addresses": ["10.0.0.7", "fd00::7"],
     "kind": "OTHER"},
    {"name": "tun3", "interfaceIndex": 3, "operStatus": 1, "addresses": ["10.8.0.2"],
     "kind": "TUNNEL"},
    {"name": "wlan0", "interfaceIndex": 4, "operStatus": 2, "addresses": [], "kind": "OTHER"}]}

# The packets of all connections leave through wan0, which has their source address.
AGREES = EMPTY | {
    "origin": {"time": "2026-11-22T04:23:00Z", "program": "egress-report",
               "programVersion": "0.9.0", "system": "Linux 6.1.0 x86_64"},
    "config": CONFIG,
    "blanked": {"comments": 2},
    "selectorAnswers": [{"selectorTag": "proxy", "now": "Tokyo 3"}],
    "adapters": INTERFACES,
    "routes": {"rows": [{"family": 4, "interfaceIndex": 2, "routeMetric": 100},
                        {"family": 6, "interfaceIndex": 2, "routeMetric": 1024},
                        {"family": 4, "interfaceIndex": 3, "routeMetric": 50}]},
    "sockets": {"rows": [
        socket(51000), socket(51002),
        socket(51004, seenPackets=[{"interfaceIndex": 2, "count": 12}])]},
    "observedSeconds": 5,
}

# The system's route leads through tun3.
DISAGREES = AGREES | {
    "sockets": {"rows": [socket(51000, 3), socket(51002, 3), socket(51010, 3, protocol="UDP")]},
    "missingFacts": [{"fact": "PACKETS", "reason": "CAP_NET_RAW is missing"}],
}

# The answer names an outbound that the configuration does not have.
BROKEN = AGREES | {"selectorAnswers": [{"selectorTag": "proxy", "now": "Osaka 9"}]}

# An engine's configuration, with a comment, and its answers.
ENGINE_CONFIG = """{
  // The engine selects the interface.
  "route": {"auto_detect_interface": true},
  "outbounds": [
    {"tag": "proxy", "type": "selector"},
    {"tag": "Nara", "type": "shadowsocks", "server": "198.51.100.10", "server_port": 443}
  ]
}"""
ANSWERS = {"proxy": {"now": "Nara"}}
