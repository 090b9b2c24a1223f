// What differs between two details: rows of { what, left, right }, by section. Equal values give no
// row; an absent one is "none".
import { plain } from "./say.mjs";
import { endText, interfaceName, visible } from "./texts.mjs";

const MEMBERS = ["configStatus", "autoDetectInterfaceEnabled", "egressSelectionPolicy",
                 "activeEndpointStatus", "selectorHintStale", "selectionStatus",
                 "interfacesStatus", "defaultRoutesStatus", "socketSourcesStatus"];
const NONE = "none";

function differing(rows) {
  return rows.filter(({ left, right }) => left !== right);
}

function nameOf(ordinal, details) {
  if (ordinal === null) return NONE;
  return interfaceName(details.interfaces.find((row) => row.ordinal === ordinal) ?? { ordinal });
}

// Ordinals have a meaning in one report only, so that names are compared.
function reportRows(left, right) {
  const rows = MEMBERS.map((key) => ({
    what: key,
    left: String(left.report[key] ?? NONE),
    right: String(right.report[key] ?? NONE),
  }));
  const value = (details) => nameOf(details.report.selectedInterfaceOrdinal, details);
  rows.push({ what: "selected interface", left: value(left), right: value(right) });
  rows.push({ what: "crossCheck", left: left.crossCheck.status, right: right.crossCheck.status });
  const through = ({ crossCheck }) =>
    crossCheck.interface === undefined ? NONE : interfaceName(crossCheck.interface);
  rows.push({ what: "interface of the packets", left: through(left), right: through(right) });
  return rows;
}

function wayText({ way }) {
  const tags = way.entered.map(({ tag, type }) => `${visible(tag)} (${visible(type)})`);
  const sought = way.soughtTag === undefined ? [] : [`not: ${visible(way.soughtTag)}`];
  return [...tags, ...sought].join(" \u2192 ") || NONE;
}

function endpointText({ endpoint }) {
  if (endpoint.status !== "OK") return NONE;
  const name = endpoint.name === undefined ? "" : ` (${visible(endpoint.name)})`;
  return endText(endpoint.address, endpoint.port) + name;
}

// Rows for what two maps have by key.
function mapRows(left, right) {
  const keys = new Set([...left.keys(), ...right.keys()]);
  return [...keys].map((what) => ({
    what,
    left: left.get(what) ?? NONE,
    right: right.get(what) ?? NONE,
  }));
}

function socketText(row) {
  const through = row.hasNoWayOut
    ? "no way out"
    : `leaves through ${row.leavesThrough.map(interfaceName).join(", ") || "unknown"}`;
  const owner = row.bySource.map(interfaceName).join(", ") || "no interface";
  return `${row.state}, ${through}, source address of ${owner}`;
}

function added(map, key, text) {
  map.set(key, map.has(key) ? `${map.get(key)}; ${text}` : text);
}

function socketsByEnds({ sockets }) {
  const found = new Map();
  for (const row of sockets) {
    const from = endText(row.localAddress, row.localPort);
    const key = `${row.protocol} ${from} \u2192 ${endText(row.remoteAddress, row.remotePort)}`;
    added(found, key, socketText(row));
  }
  return found;
}

function interfacesByName({ interfaces, report }) {
  const found = new Map();
  for (const row of interfaces) {
    const routes = report.defaultRoutes
      .filter(({ interfaceOrdinal }) => interfaceOrdinal === row.ordinal)
      .map(({ family, routeMetric }) => `default route IPv${family} metric ${routeMetric}`);
    const state = row.operStatus === 1 ? "up" : `not up (${row.operStatus})`;
    const addresses = row.addresses.map((address) => visible(address));
    added(found, interfaceName(row), [state, row.kind, ...addresses, ...routes]
      .filter(Boolean).join(", "));
  }
  return found;
}

export function differencesOf(left, right, sentenceOf) {
  const answer = (details) => plain(sentenceOf(details).headline);
  const single = [
    { what: "Answer", left: answer(left), right: answer(right) },
    ...reportRows(left, right),
    { what: "Way", left: wayText(left), right: wayText(right) },
    { what: "Endpoint", left: endpointText(left), right: endpointText(right) },
  ];
  return [
    { title: "Report, way and endpoint", rows: differing(single) },
    { title: "Sockets to the endpoint",
      rows: differing(mapRows(socketsByEnds(left), socketsByEnds(right))) },
    { title: "Interfaces",
      rows: differing(mapRows(interfacesByName(left), interfacesByName(right))) },
  ];
}
