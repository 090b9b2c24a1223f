// What is drawn and told of details: the way, groups of sockets, interfaces, and the edges between
// them. No text is cut or escaped here.

import { socketsToEndpoint } from "./addresses.mjs";
import { downInterface, downOrdinals } from "./blocked.mjs";
import { hasNoHost } from "./host.mjs";
import { interfaceName, operStatusText } from "./texts.mjs";

const MAX_STEPS = 12;
const MAX_GROUPS = 6;
const MAX_INTERFACES = 8;
const MAX_SAMPLE = 4;
const MAX_NAME = 12;

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

function groupKey(socket, down) {
  return [socket.role, socket.protocol, socket.remoteAddress, socket.decidedBy, socket.hasNoWayOut,
          down?.ordinal ?? "",
          ...ordinals(socket.bySource), "/", ...ordinals(socket.leavesThrough)].join(" ");
}

function newGroup(socket, down) {
  return {
    role: socket.role,
    protocol: socket.protocol,
    remoteAddress: socket.remoteAddress,
    remotePort: socket.remotePort,
    decidedBy: socket.decidedBy,
    hasNoWayOut: socket.hasNoWayOut,
    down,
    bySource: ordinals(socket.bySource),
    leavesThrough: ordinals(socket.leavesThrough),
    count: 0,
    sample: [],
  };
}

// Sockets with the same evidence, those that count first.
export function groupsOf(sockets, interfaces = []) {
  const groups = new Map();
  const allDown = downOrdinals(interfaces);
  for (const socket of sockets) {
    const down = downInterface(socket, allDown);
    const key = groupKey(socket, down);
    if (!groups.has(key)) groups.set(key, newGroup(socket, down));
    const group = groups.get(key);
    group.count += 1;
    if (group.sample.length < MAX_SAMPLE) group.sample.push(socket);
  }
  const order = ["COUNTED", "TRYING", "NOT_COUNTED"];
  return [...groups.values()].sort((a, b) => order.indexOf(a.role) - order.indexOf(b.role));
}

// To the interface that is down. A long name has no place at the line.
function blockedEdge({ ordinal, ...row }) {
  const name = interfaceName({ ordinal, ...row });
  const shown = name.length > MAX_NAME ? "it" : name;
  return { ordinal, leaves: false, isBlocked: true, label: `no way out: ${shown} is down` };
}

// Where a group leads, each interface with the evidence for it, those that it leaves through first.
export function edgesOf(group) {
  const blocked = group.down === undefined ? [] : [blockedEdge(group.down)];
  const [leaving, owners] = [new Set(group.leavesThrough), new Set(group.bySource)];
  const evident = [...new Set([...leaving, ...owners])].map((ordinal) => {
    const leaves = leaving.has(ordinal);
    const evidence = [];
    if (owners.has(ordinal)) evidence.push("source address");
    if (leaves) evidence.push(EVIDENCE[group.decidedBy]);
    return { ordinal, leaves, label: `by ${evidence.join(" and ")}` };
  });
  return [...blocked, ...evident];
}

function stopOfGroups(details, explain) {
  const { report, endpoint, crossCheck, sockets } = details;
  if (report.socketSourcesStatus !== "OK") {
    return hasNoHost(details)
      ? undefined
      : broken("socketSourcesStatus", report.socketSourcesStatus, explain);
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

// What is known of the interfaces that sockets leave through.
function evidenceOf(details) {
  const sockets = details.doAddressesAgree ? socketsToEndpoint(details) : details.sockets;
  const counted = sockets.filter(({ role }) => role === "COUNTED");
  const attempts = sockets.filter(({ role }) => role === "TRYING");
  const leaving = (rows) => new Set(rows.flatMap((row) => ordinals(row.leavesThrough)));
  return {
    counted: leaving(counted),
    attempts: leaving(attempts),
    isOfAll: counted.every(({ leavesThrough }) => leavesThrough.length > 0),
  };
}

// Of an interface that is named: all traffic, some of it or attempts leave through it, or it has
// the source address alone.
function roleOfNamed(ordinal, { counted, attempts, isOfAll }) {
  if (counted.has(ordinal)) return isOfAll ? "leaves" : "some";
  return attempts.has(ordinal) ? "attempts" : "bySource";
}

function setRoles(rows, details, leaving) {
  const evidence = evidenceOf(details);
  const named = new Set(leaving);
  const selected = details.report.selectedInterfaceOrdinal;
  for (const row of rows) {
    row.role = row.ordinal === selected ? "named" : "other";
    if (named.has(row.ordinal)) row.role = roleOfNamed(row.ordinal, evidence);
  }
}

// The first are those of the answer, so that it is never without its picture.
function shownInterfaces(rows, { leaving, selected, linked }) {
  const tests = [
    ({ ordinal }) => leaving.includes(ordinal),
    ({ ordinal }) => ordinal === selected,
    ({ ordinal }) => linked.has(ordinal),
    ({ routes }) => routes.length > 0,
    () => true,
  ];
  const rank = (row) => tests.findIndex((test) => test(row));
  const ranked = [...rows].sort((a, b) => rank(a) - rank(b) || a.ordinal - b.ordinal);
  return ranked.slice(0, MAX_INTERFACES).sort((a, b) => a.ordinal - b.ordinal);
}

function withShownEdges(group, interfaces, hasInterfaces) {
  const shown = new Set(ordinals(interfaces));
  const edges = group.edges.filter(({ ordinal }) => shown.has(ordinal));
  return { ...group, edges, hiddenEdges: group.edges.length - edges.length, hasInterfaces };
}

export function modelOf(details, explain) {
  const { report, endpoint } = details;
  const leaving = leavingThrough(details);
  const all = groupsOf(details.sockets, details.interfaces);
  const groups = all.slice(0, MAX_GROUPS).map((group) => ({ ...group, edges: edgesOf(group) }));
  const hiddenSockets = all.slice(MAX_GROUPS).reduce((sum, group) => sum + group.count, 0);
  const rows = interfaceRows(details);
  setRoles(rows, details, leaving);
  const linked = new Set(groups.flatMap(({ edges }) => ordinals(edges)));
  const selected = report.selectedInterfaceOrdinal;
  const interfaces = shownInterfaces(rows, { leaving, selected, linked });
  const hasInterfaces = report.interfacesStatus === "OK";
  const isAsked = !hasNoHost(details);
  return {
    way: wayOf(details, explain),
    endpoint: endpoint.status === "OK" ? endpoint : undefined,
    isAsked,
    groups: groups.map((group) => withShownEdges(group, interfaces, hasInterfaces)),
    hiddenSockets,
    groupsStop: stopOfGroups(details, explain),
    interfaces,
    hiddenInterfaces: rows.length - interfaces.length,
    interfacesStop: hasInterfaces || !isAsked
      ? undefined
      : broken("interfacesStatus", report.interfacesStatus, explain),
  };
}
