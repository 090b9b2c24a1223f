// What differs between two details: rows of { what, left, right }, by section. Equal values give no
// row; an absent one is "none".
import { SOCKET_COLUMNS, inputTexts, missingTexts, socketTexts } from "./panels.mjs";
import { plain } from "./say.mjs";
import { MEMBERS } from "./statuses.mjs";
import { endText, interfaceName, kindText, operStatusText, visible } from "./texts.mjs";

// The columns that tell a socket from others; the rest are facts about it.
const END_COLUMNS = 3;
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
  const rows = [...MEMBERS, "autoDetectInterfaceEnabled"].map((key) => ({
    what: key,
    left: String(left.report[key] ?? NONE),
    right: String(right.report[key] ?? NONE),
  }));
  const value = (details) => nameOf(details.report.selectedInterfaceOrdinal, details);
  rows.push({ what: "selected interface", left: value(left), right: value(right) });
  rows.push({ what: "crossCheck", left: left.crossCheck.status, right: right.crossCheck.status });
  const through = ({ crossCheck }) =>
    crossCheck.interface === undefined ? NONE : interfaceName(crossCheck.interface);
  rows.push({ what: "leaves through", left: through(left), right: through(right) });
  const seconds = ({ crossCheck }) => String(crossCheck.observedSeconds ?? NONE);
  rows.push({ what: "seconds of observed packets", left: seconds(left), right: seconds(right) });
  return rows;
}

function originRows(left, right) {
  return ["time", "program", "programVersion", "system"].map((key) => ({
    what: `origin: ${key}`,
    left: visible(left.origin[key]) || NONE,
    right: visible(right.origin[key]) || NONE,
  }));
}

const LED_ON = { SELECTOR: ", by its answer", DETOUR: ", by its detour" };

function wayText({ way }) {
  const tags = way.entered.map(({ tag, type, ledOnBy }) =>
    `${visible(tag)} (${visible(type)})${LED_ON[ledOnBy] ?? ""}`);
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

function added(map, key, text) {
  map.set(key, map.has(key) ? `${map.get(key)}; ${text}` : text);
}

// The texts of the facts of each socket; sockets with the same ends are one.
function socketsByEnds({ sockets }) {
  const found = new Map();
  for (const row of sockets) {
    const [from, to, protocol, ...facts] = socketTexts(row);
    const key = `${protocol} ${from} \u2192 ${to}`;
    const before = found.get(key);
    found.set(key, before ? facts.map((text, i) => `${before[i]}; ${text}`) : facts);
  }
  return found;
}

// The facts that differ from the other's; all, if the other has no such socket.
function factsText(facts, other) {
  if (facts === undefined) return NONE;
  return facts.map((text, i) => `${SOCKET_COLUMNS[END_COLUMNS + i]}: ${text}`)
    .filter((_, i) => facts[i] !== other?.[i]).join("; ");
}

function socketRows(left, right) {
  const [ofLeft, ofRight] = [socketsByEnds(left), socketsByEnds(right)];
  return [...new Set([...ofLeft.keys(), ...ofRight.keys()])].map((what) => {
    const [facts, others] = [ofLeft.get(what), ofRight.get(what)];
    return { what, left: factsText(facts, others), right: factsText(others, facts) };
  });
}

// A row for each text that one of two lists lacks.
function textRows([left, right], what) {
  const [ofLeft, ofRight] = [new Set(left), new Set(right)];
  return [
    ...left.filter((text) => !ofRight.has(text)).map((text) => ({ what, left: text, right: NONE })),
    ...right.filter((text) => !ofLeft.has(text)).map((text) => ({ what, left: NONE, right: text })),
  ];
}

// 0: the system adds none to the metrics of routes.
function metricTexts({ interfaces, report }) {
  const names = new Map(interfaces.map((row) => [row.ordinal, interfaceName(row)]));
  return report.interfaces.filter(({ interfaceMetric }) => interfaceMetric > 0)
    .map(({ ordinal, interfaceMetric }) => `${names.get(ordinal)}: ${interfaceMetric}`);
}

function unmappedRoutes({ report }) {
  return report.defaultRoutes.filter(({ interfaceOrdinal }) => interfaceOrdinal === null)
    .map(({ family, routeMetric }) => `default route IPv${family} metric ${routeMetric}`);
}

function otherAddressTexts({ otherAddresses }) {
  return otherAddresses.map((row) => {
    const named = row.interface === undefined ? NONE : interfaceName(row.interface);
    return `${visible(row.address)}: ${row.selectionStatus}, ${row.crossCheckStatus}, ${named}`;
  });
}

function interfacesByName({ interfaces, report }) {
  const found = new Map();
  for (const row of interfaces) {
    const routes = report.defaultRoutes
      .filter(({ interfaceOrdinal }) => interfaceOrdinal === row.ordinal)
      .map(({ family, routeMetric }) => `default route IPv${family} metric ${routeMetric}`);
    const addresses = row.addresses.map((address) => visible(address));
    added(found, interfaceName(row), [operStatusText(row.operStatus), kindText(row.kind),
                                     ...addresses, ...routes].join(", "));
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
  const rowsOf = (what, textsOf) => textRows([left, right].map(textsOf), what);
  return [
    { title: "Report, way and endpoint",
      rows: [...differing(single), ...rowsOf("other address", otherAddressTexts)] },
    { title: "Sockets to the endpoint", rows: differing(socketRows(left, right)) },
    { title: "Interfaces",
      rows: [...differing(mapRows(interfacesByName(left), interfacesByName(right))),
             ...rowsOf("interface metric", metricTexts),
             ...rowsOf("without an interface", unmappedRoutes)] },
    { title: "Record and input",
      rows: [...differing(originRows(left, right)), ...rowsOf("missing fact", missingTexts),
             ...rowsOf("input", inputTexts)] },
  ];
}
