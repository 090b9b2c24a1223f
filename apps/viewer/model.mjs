// What is drawn and told of details: the way, groups of sockets, interfaces, and the edges between
// them. No text is cut or escaped here.

import { socketsToEndpoint } from "./addresses.mjs";
import { operStatusText } from "./texts.mjs";

const MAX_STEPS = 12;
const MAX_GROUPS = 6;
const MAX_INTERFACES = 8;
const MAX_SAMPLE = 4;

const EVIDENCE = { BOUND_DEVICE: "bound device", ROUTE: "route", PACKETS: "packets" };

function broken(key, word, explain) {
  const { meaning = "", whatToDo = "" } = explain(key, word) ?? {};
  return { word, meaning, whatToDo };
}

function steps(entered) {
  if (entered.length <= MAX_STEPS) return entered;
  const half = MAX_STEPS / 2;
  const hidden = entered.length - MAX_STEPS;
  return [...entered.slice(0, half), { hidden }, ...entered.slice(-half)];
}

function wayOf(details, explain) {
  const { report, way, endpoint } = details;
  const status = endpoint.status;
  if (status === "OK") return { steps: steps(way.entered) };
  const isConfig = status === "NOT_EVALUATED_CONFIG_UNAVAILABLE";
  const stop = isConfig
    ? broken("configStatus", report.configStatus, explain)
    : broken("activeEndpointStatus", status, explain);
  return { steps: steps(way.entered), stop, soughtTag: way.soughtTag };
}

const ordinals = (interfaces) => interfaces.map(({ ordinal }) => ordinal);

function groupKey(socket) {
  return [socket.role, socket.protocol, socket.remoteAddress, socket.decidedBy, socket.hasNoWayOut,
          ...ordinals(socket.bySource), "/", ...ordinals(socket.leavesThrough)].join(" ");
}

function newGroup(socket) {
  return {
    role: socket.role,
    protocol: socket.protocol,
    remoteAddress: socket.remoteAddress,
    remotePort: socket.remotePort,
    decidedBy: socket.decidedBy,
    hasNoWayOut: socket.hasNoWayOut,
    hasNoRoute: socket.byRoute === null,
    bySource: ordinals(socket.bySource),
    leavesThrough: ordinals(socket.leavesThrough),
    count: 0,
    sample: [],
  };
}

// Sockets with the same evidence, those that count first.
export function groupsOf(sockets) {
  const groups = new Map();
  for (const socket of sockets) {
    const key = groupKey(socket);
    if (!groups.has(key)) groups.set(key, newGroup(socket));
    const group = groups.get(key);
    group.count += 1;
    if (group.sample.length < MAX_SAMPLE) group.sample.push(socket);
  }
  const order = ["COUNTED", "TRYING", "NOT_COUNTED"];
  return [...groups.values()].sort((a, b) => order.indexOf(a.role) - order.indexOf(b.role));
}

// Where a group leads, each interface with the evidence for it.
export function edgesOf(group) {
  const all = [...new Set([...group.leavesThrough, ...group.bySource])];
  return all.map((ordinal) => {
    const hasSource = group.bySource.includes(ordinal);
    const leaves = group.leavesThrough.includes(ordinal);
    const evidence = [];
    if (hasSource) evidence.push("source address");
    if (leaves) evidence.push(EVIDENCE[group.decidedBy]);
    return { ordinal, leaves, label: `by ${evidence.join(" and ")}` };
  });
}

function stopOfGroups(details, explain) {
  const { report, endpoint, crossCheck, sockets } = details;
  if (report.socketSourcesStatus !== "OK") {
    return broken("socketSourcesStatus", report.socketSourcesStatus, explain);
  }
  if (sockets.length > 0 || endpoint.status !== "OK") return undefined;
  return broken("crossCheck", crossCheck.status, explain);
}

function interfaceRows(details) {
  const rows = new Map();
  for (const row of details.interfaces) {
    const known = rows.get(row.ordinal);
    if (known !== undefined) {
      known.addresses.push(...row.addresses);
      continue;
    }
    rows.set(row.ordinal, {
      ordinal: row.ordinal,
      name: row.name,
      state: operStatusText(row.operStatus),
      kind: row.kind,
      addresses: [...row.addresses],
      routes: [],
    });
  }
  for (const route of details.report.defaultRoutes) {
    const { family, routeMetric } = route;
    rows.get(route.interfaceOrdinal)?.routes.push({ family, metric: routeMetric });
  }
  return [...rows.values()];
}

// The interfaces that the traffic to the endpoint's address leaves through, by the strongest
// evidence that there is.
export function leavingFor(details) {
  const { report, crossCheck } = details;
  if (crossCheck.interface !== undefined) return [crossCheck.interface.ordinal];
  const strong = new Set();
  for (const socket of socketsToEndpoint(details)) {
    if (socket.role === "COUNTED") ordinals(socket.leavesThrough).forEach((o) => strong.add(o));
  }
  if (strong.size > 0) return [...strong].sort((a, b) => a - b);
  if (crossCheck.status !== "UNKNOWN" || report.selectedInterfaceOrdinal === null) return [];
  return [report.selectedInterfaceOrdinal];
}

// With the other addresses of its name, if they differ.
export function leavingThrough(details) {
  if (details.doAddressesAgree) return leavingFor(details);
  const others = details.otherAddresses.flatMap((row) => row.interface?.ordinal ?? []);
  return [...new Set([...leavingFor(details), ...others])].sort((a, b) => a - b);
}

function roleOf(ordinal, details, leaving) {
  const { report, crossCheck } = details;
  if (leaving.includes(ordinal)) {
    return crossCheck.status === "TRYING" ? "attempts" : "leaves";
  }
  return report.selectedInterfaceOrdinal === ordinal ? "named" : "other";
}

function shownInterfaces(rows, linked) {
  const rank = (row) => (linked.has(row.ordinal) ? 0 : row.routes.length > 0 ? 1 : 2);
  const ranked = [...rows].sort((a, b) => rank(a) - rank(b) || a.ordinal - b.ordinal);
  return ranked.slice(0, MAX_INTERFACES).sort((a, b) => a.ordinal - b.ordinal);
}

export function modelOf(details, explain) {
  const { report, endpoint } = details;
  const leaving = leavingThrough(details);
  const all = groupsOf(details.sockets);
  const groups = all.slice(0, MAX_GROUPS).map((group) => ({ ...group, edges: edgesOf(group) }));
  const hiddenSockets = all.slice(MAX_GROUPS).reduce((sum, group) => sum + group.count, 0);
  const rows = interfaceRows(details);
  for (const row of rows) row.role = roleOf(row.ordinal, details, leaving);
  const linked = new Set(groups.flatMap((group) => group.edges.map(({ ordinal }) => ordinal)));
  leaving.forEach((ordinal) => linked.add(ordinal));
  const interfaces = shownInterfaces(rows, linked);
  return {
    way: wayOf(details, explain),
    endpoint: endpoint.status === "OK" ? endpoint : undefined,
    groups,
    hiddenSockets,
    groupsStop: stopOfGroups(details, explain),
    interfaces,
    hiddenInterfaces: rows.length - interfaces.length,
    interfacesStop: report.interfacesStatus === "OK"
      ? undefined
      : broken("interfacesStatus", report.interfacesStatus, explain),
  };
}
