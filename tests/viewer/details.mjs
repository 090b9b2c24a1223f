// Details for the tests of the page's modules, as docs/details.schema.json describes them.

export const WAN = { ordinal: 2, name: "wan0" };
export const TUN = { ordinal: 3, name: "tun3" };

export function socket(members = {}) {
  return {
    protocol: "TCP",
    state: "ESTABLISHED",
    localAddress: "10.0.0.7",
    localPort: 51000,
    remoteAddress: "198.51.100.10",
    remotePort: 443,
    role: "COUNTED",
    bySource: [WAN],
    byRoute: WAN,
    byPackets: [],
    decidedBy: "ROUTE",
    leavesThrough: [WAN],
    hasNoWayOut: false,
    ...members,
  };
}

const REPORT = {
  configStatus: "OK",
  autoDetectInterfaceEnabled: true,
  egressSelectionPolicy: "singbox_auto_detect",
  activeEndpointStatus: "OK",
  selectorHintStale: false,
  selectedInterfaceOrdinal: 2,
  selectionStatus: "OK",
  interfacesStatus: "OK",
  interfaces: [],
  defaultRoutesStatus: "OK",
  defaultRoutes: [{ family: 4, interfaceOrdinal: 2, interfaceOrdinalStatus: "OK", routeMetric: 9 }],
  socketSourcesStatus: "OK",
  observedSocketSources: [{ interfaceOrdinal: 2 }],
};

// One connection, which leaves through wan0; `report` and other members replace their like.
export function detailsOf({ report = {}, ...members } = {}) {
  return {
    format: "egress-details",
    version: 1,
    origin: { time: "", program: "", programVersion: "", system: "" },
    input: {
      blanked: { byteOrderMark: false, comments: 0, trailingCommas: 0 },
      mainTag: "",
      queries: [],
      resolvedNames: [],
      listeningAt: "",
    },
    report: { ...REPORT, ...report },
    way: { entered: [{ tag: "proxy", type: "shadowsocks" }] },
    endpoint: { status: "OK", address: "198.51.100.10", port: 443 },
    otherAddresses: [],
    doAddressesAgree: true,
    crossCheck: { status: "AGREES", interface: WAN },
    sockets: [socket()],
    interfaces: [
      { ordinal: 1, name: "lo", kind: "LOOPBACK", operStatus: 1, addresses: ["127.0.0.1"] },
      { ...WAN, kind: "OTHER", operStatus: 1, addresses: ["10.0.0.7"] },
      { ...TUN, kind: "TUNNEL", operStatus: 2, addresses: [] },
    ],
    missingFacts: [],
    processes: [],
    failures: {},
    ...members,
  };
}

export const WITHOUT_CHOICE = { selectedInterfaceOrdinal: null };
