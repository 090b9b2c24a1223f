// What stands below the picture: the statuses, the evidence, and what the record says of itself.
import { button, element, explained, newId } from "./dom.mjs";
import { isNotTaken } from "./host.mjs";
import { listed, plain } from "./say.mjs";
import { statusesOf } from "./statuses.mjs";
import { tableOf } from "./tables.mjs";
import { counted, endText, interfaceName, kindText, numberText, operStatusText, reasonText,
         routeText, visible } from "./texts.mjs";

function section(title, ...children) {
  const id = newId("panel");
  return element("section", { "aria-labelledby": id },
                 element("h3", { id }, title), ...children.filter(Boolean));
}

function statusRow(status) {
  const { key, word, question, meaning, usualCause, whatToDo, isNormal } = status;
  const texts = [element("p", {}, ...explained(meaning))];
  if (usualCause !== "" && usualCause !== "The normal case.") {
    texts.push(element("p", {}, element("b", {}, "Usual cause: "), ...explained(usualCause)));
  }
  if (whatToDo !== "Nothing.") {
    texts.push(element("p", {}, element("b", {}, "What to do: "), ...explained(whatToDo)));
  }
  return element("div", { class: isNormal ? "status" : "status notable" },
                 element("dt", {}, element("code", { class: "word" }, word),
                         element("span", { class: "key" }, key),
                         element("span", {}, ...explained(question))),
                 element("dd", {}, ...texts));
}

function statusPanel(details, explain) {
  const statuses = statusesOf(details, explain);
  return section("What each status means",
                 element("dl", { class: "statuses" }, ...statuses.map(statusRow)));
}

const UNKNOWN = "unknown";

function oneInterface(value) {
  if (value === undefined) return UNKNOWN;
  return value === null ? "none" : interfaceName(value);
}

const MAX_NAMES = 4;

// As many as the sentence has.
function namesText(rows, none) {
  const names = rows.slice(0, MAX_NAMES).map(interfaceName);
  return plain(listed(names, rows.length - names.length)) || none;
}

function packetsText(rows) {
  const texts = rows.map((row) => `${interfaceName(row.interface)}: ${row.count}`);
  return texts.join(", ") || "none seen";
}

function leavesText({ leavesThrough, hasNoWayOut }) {
  if (hasNoWayOut) return "no way out";
  return namesText(leavesThrough, UNKNOWN);
}

const ROLES = { COUNTED: "counts", TRYING: "is trying", NOT_COUNTED: "not counted" };
const DECIDED = { NONE: "none", BOUND_DEVICE: "bound device", ROUTE: "route", PACKETS: "packets" };
export const SOCKET_COLUMNS = [
  "From", "To", "Protocol", "State", "For the answer", "Leaves through", "Decided by",
  "Owner of the source address", "Route", "Packets", "Bound device", "Mark", "User",
];

export function socketTexts(row) {
  return [
    endText(row.localAddress, row.localPort),
    endText(row.remoteAddress, row.remotePort),
    row.protocol,
    row.state,
    ROLES[row.role],
    leavesText(row),
    DECIDED[row.decidedBy],
    namesText(row.bySource, "no interface"),
    oneInterface(row.byRoute),
    packetsText(row.byPackets),
    oneInterface(row.boundDevice),
    String(row.mark ?? UNKNOWN),
    String(row.user ?? UNKNOWN),
  ];
}

function socketPanel({ sockets, crossCheck }) {
  if (sockets.length === 0) return undefined;
  const seconds = crossCheck.observedSeconds;
  const observed = seconds === undefined
    ? "Packets were not observed."
    : `Packets were observed for ${counted(seconds, "second")}.`;
  return section("Evidence", element("p", {}, observed),
                 tableOf("Sockets to the endpoint", SOCKET_COLUMNS, sockets, socketTexts));
}

const INTERFACE_COLUMNS = ["Name", "Ordinal", "State", "Kind", "Addresses", "Default routes"];
const MAX_ADDRESSES = 20;

function addressesText(addresses) {
  const shown = addresses.slice(0, MAX_ADDRESSES).map((address) => visible(address));
  const more = addresses.length - shown.length;
  return shown.join(", ") + (more > 0 ? ` and ${numberText(more)} more` : "") || "none";
}

// The default routes that no interface of the table has.
function otherRoutes({ interfaces, report }) {
  const known = new Set(interfaces.map(({ ordinal }) => ordinal));
  const rows = report.defaultRoutes.filter((route) => !known.has(route.interfaceOrdinal));
  return rows.map(({ family, routeMetric }) =>
    `${routeText({ family, metric: routeMetric })}: interface unknown`);
}

function interfacePanel(details) {
  const { interfaces, report } = details;
  const others = otherRoutes(details);
  const list = others.length === 0 ? undefined : foldedListOf(others);
  if (interfaces.length === 0) return list && section("Interfaces", list);
  const routes = new Map();
  for (const { interfaceOrdinal, family, routeMetric } of report.defaultRoutes) {
    const text = `IPv${family}, metric ${routeMetric}`;
    routes.set(interfaceOrdinal, [...(routes.get(interfaceOrdinal) ?? []), text]);
  }
  const texts = (row) => [
    interfaceName(row),
    String(row.ordinal),
    operStatusText(row.operStatus),
    kindText(row.kind),
    addressesText(row.addresses),
    addressesText(routes.get(row.ordinal) ?? []),
  ];
  const table = tableOf("Interfaces of the host", INTERFACE_COLUMNS, interfaces, texts);
  return section("Interfaces", table, list);
}

const FACTS = { MARK: "The marks of sockets", ROUTE: "The system's routes", PACKETS: "Packets",
                ADDRESS: "The addresses of a server's name" };
const LISTS = { adapters: "interfaces", routes: "default routes", sockets: "sockets" };

function listOf(texts) {
  return element("ul", {}, ...texts.map((text) => element("li", {}, element("bdi", {}, text))));
}

const MAX_LISTED = 20;

function foldedListOf(texts) {
  const more = texts.length - MAX_LISTED;
  return listOf(more <= 0
    ? texts
    : [...texts.slice(0, MAX_LISTED), `and ${numberText(more)} more`]);
}

function withReason(what, reason) {
  return reason === "" ? `${what}.` : `${what}: ${reasonText(reason)}.`;
}

function failureText(details, list) {
  if (isNotTaken(details, list)) return `No host: the list of ${LISTS[list]} was not taken.`;
  return withReason(`The list of ${LISTS[list]} could not be taken`, details.failures[list]);
}

export function missingTexts(details) {
  const { missingFacts, failures } = details;
  return [
    ...Object.keys(failures).map((list) => failureText(details, list)),
    ...missingFacts.map(({ fact, reason }) => withReason(`${FACTS[fact]} are missing`, reason)),
  ];
}

function missingPanel(details) {
  const texts = missingTexts(details);
  return section("Missing facts", texts.length === 0
    ? element("p", {}, "None: the record has everything that was asked for.")
    : listOf(texts));
}

function blankedText({ byteOrderMark, comments, trailingCommas }) {
  const parts = [];
  if (byteOrderMark) parts.push("a byte-order mark");
  if (comments > 0) parts.push(counted(comments, "comment"));
  if (trailingCommas > 0) parts.push(counted(trailingCommas, "trailing comma"));
  return parts.length === 0 ? [] : [`Ignored in the configuration: ${parts.join(", ")}.`];
}

const SOURCES = { CALLER: "the user", SYSTEM: "the system's resolver" };

export function inputTexts({ input, processes }) {
  return [
    ...blankedText(input.blanked),
    ...(input.mainTag === "" ? [] : [`The walk starts at ${visible(input.mainTag)}.`]),
    ...input.queries.map(({ selectorTag, outcome, reason }) =>
      withReason(`The engine was asked for the choice of ${visible(selectorTag)}: ${outcome}`,
                 reason)),
    ...input.resolvedNames.map(({ name, address, source }) =>
      `${visible(address)} stands for ${visible(name)}, as ${SOURCES[source]} says.`),
    ...(input.listeningAt === "" ? [] : [`The engine listens at ${visible(input.listeningAt)}.`]),
    ...processes.map(({ id, user, program }) =>
      `The engine's process ${id} of user ${user}: ${visible(program)}`),
  ];
}

function inputPanel(details) {
  const texts = inputTexts(details);
  return section("What was done to the input", texts.length === 0
    ? element("p", {}, "Nothing: the walk starts at the outbound \u201Cproxy\u201D.")
    : listOf(texts));
}

function jsonPanel(details, actions) {
  const text = JSON.stringify(details.report, null, 2);
  const shown = element("pre", { tabindex: "0", "aria-label": "Report as JSON" }, text);
  return section("Report",
                 element("p", { class: "actions" },
                         button("Copy the report", () => actions.copy(text)),
                         button("Save the details", () => actions.saveDetails())),
                 element("details", {}, element("summary", {}, "The report's JSON"), shown));
}

export function panelsOf(details, explain, actions) {
  const panels = [statusPanel(details, explain), socketPanel(details), interfacePanel(details),
                  missingPanel(details), inputPanel(details), jsonPanel(details, actions)];
  return element("section", { class: "panels" }, ...panels.filter(Boolean));
}
