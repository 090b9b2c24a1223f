// Snapshots for the tests.

// A host whose engine is connected through up1, by this number of sockets.
export function snapshotOf(sockets) {
  return JSON.stringify({
    format: "egress-snapshot",
    version: 1,
    config: {
      configStatus: "OK",
      autoDetectInterface: true,
      outbounds: [{ tag: "proxy", type: "trojan", hasServer: true, server: "198.51.100.10",
                    portSpecified: true, ports: [443] }],
    },
    adapters: {
      rows: [{ name: "up1", interfaceIndex: 7, operStatus: 1, addresses: ["192.0.2.77"] }],
    },
    sockets: {
      rows: Array.from({ length: sockets }, (_, i) => ({
        localAddress: "192.0.2.77",
        localPort: 1024 + (i % 60_000),
        remoteAddress: "198.51.100.10",
        remotePort: 443,
      })),
    },
  });
}

export const SNAPSHOT = snapshotOf(1);
