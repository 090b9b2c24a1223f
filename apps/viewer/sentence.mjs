// The answer: a headline, the evidence, and what to do. Each is a list of parts; see say.mjs.
import { socketsToEndpoint } from "./addresses.mjs";
import { downInterface, downOrdinals } from "./blocked.mjs";
import { hasNoHost } from "./host.mjs";
import { leavingThrough } from "./model.mjs";
import { endpointReason } from "./reasons.mjs";
import { listed, say } from "./say.mjs";
import { severalAddresses } from "./server_addresses.mjs";
import { counted, endText, interfaceName, numberText, reasonText } from "./texts.mjs";

const MAX_NAMES = 4;

function namesOf(details, ordinals) {
  const rows = new Map(details.interfaces.map((row) => [row.ordinal, row]));
  const shown = ordinals.slice(0, MAX_NAMES);
  return listed(shown.map((ordinal) => interfaceName(rows.get(ordinal) ?? { ordinal })),
                ordinals.length - shown.length);
}

function endpointText({ endpoint }) {
  return [{ data: endText(endpoint.address, endpoint.port) }];
}

// The sockets that the answer is about, and a phrase for them.
function subjectOf(details, role) {
  const sockets = socketsToEndpoint(details).filter((socket) => socket.role === role);
  const tcp = sockets.filter(({ protocol }) => protocol === "TCP").length;
  const udp = sockets.length - tcp;
  const kinds = [];
  const kind = role === "TRYING" ? "TCP connection attempt" : "TCP connection";
  if (tcp > 0) kinds.push(counted(tcp, kind));
  if (udp > 0) kinds.push(counted(udp, "UDP socket"));
  const isOne = sockets.length === 1;
  const phrase = say`${[kinds.join(" and ")]} to ${endpointText(details)}`;
  const known = sockets.filter(({ decidedBy }) => decidedBy !== "NONE").length;
  return { sockets, isOne, phrase, known };
}

// "1 of ", if it is not all.
function ofAll(count, { sockets }) {
  return count === sockets.length ? "" : `${numberText(count)} of `;
}

// "1 of 2".
function ofTotal(count, { sockets }) {
  return `${numberText(count)} of ${numberText(sockets.length)}`;
}

// For how many sockets the system does not tell; empty if it tells for all.
function untold(subject) {
  const { sockets, known } = subject;
  if (known === sockets.length) return "";
  return `; for ${ofTotal(sockets.length - known, subject)} the system does not tell`;
}

const EVIDENCE = {
  PACKETS: "packets were seen there",
  ROUTE: "the system's route leads there",
  BOUND_DEVICE: "bound to that device",
};

function evidenceText(sockets) {
  const found = Object.keys(EVIDENCE).filter((word) =>
    sockets.some(({ decidedBy }) => decidedBy === word));
  return found.map((word) => EVIDENCE[word]).join("; ");
}

function leave(subject, count) {
  return `${subject.known === 1 ? "leaves" : "leave"} through ${count === 1 ? "it" : "them"}`;
}

function sourceOwners({ sockets }) {
  const owners = new Set(sockets.flatMap(({ bySource }) => bySource.map((row) => row.ordinal)));
  return [...owners].sort((a, b) => a - b);
}

function agrees(details, subject) {
  const leaving = leavingThrough(details);
  return {
    tone: "known",
    headline: say`Traffic leaves through ${namesOf(details, leaving)}.`,
    evidence: say`${subject.phrase} ${[leave(subject, 1)]} (${[evidenceText(subject.sockets)]});
      ${[subject.isOne ? "its" : "their"]} source address belongs to it, too.`,
  };
}

function disagrees(details, subject) {
  const ordinal = details.report.selectedInterfaceOrdinal;
  const named = namesOf(details, [ordinal]);
  const leaving = leavingThrough(details);
  const but = leaving.includes(ordinal)
    ? say`but only ${named} has its source address`
    : say`not through ${named}`;
  const traffic = untold(subject) === "" ? "Traffic" : "Part of the traffic";
  return {
    tone: "contradiction",
    headline: say`${[traffic]} leaves through ${namesOf(details, leaving)}, ${but}.`,
    evidence: say`The source address of ${subject.phrase} belongs to ${named}, but packets leave
      through ${namesOf(details, leaving)}
      (${[evidenceText(subject.sockets)]})${[untold(subject)]}.`,
    todo: say`If it should leave through ${named}, bind the engine to it, or add a routing rule
      for its source address.`,
  };
}

function settles(details, subject) {
  const leaving = leavingThrough(details);
  const isRouted = details.report.selectionStatus === "NOT_APPLICABLE_OS_ROUTED";
  const why = isRouted
    ? "The engine leaves the choice to the system's routes."
    : "The source addresses alone do not identify one interface.";
  return {
    tone: "known",
    headline: say`Traffic leaves through ${namesOf(details, leaving)}.`,
    evidence: say`${subject.phrase} ${[leave(subject, 1)]} (${[evidenceText(subject.sockets)]}).
      ${[why]}`,
  };
}

function several(details, subject) {
  const leaving = leavingThrough(details);
  return {
    tone: "contradiction",
    headline: say`Traffic leaves through ${namesOf(details, leaving)}.`,
    evidence: say`${[ofAll(subject.known, subject)]}${subject.phrase}
      ${[leave(subject, leaving.length)]}
      (${[evidenceText(subject.sockets)]})${[untold(subject)]}.`,
    todo: say`If it should leave through one, let the engine reconnect, and take a new snapshot.`,
  };
}

// Every reason why sockets are stuck.
function stuckReason(details, stuck) {
  const allDown = downOrdinals(details.interfaces);
  const all = stuck.map((socket) => downInterface(socket, allDown)?.ordinal);
  const down = [...new Set(all)].filter((ordinal) => ordinal !== undefined);
  const noRoute = all.includes(undefined) ? ["the system has no route"] : [];
  if (down.length === 0) return noRoute;
  const are = say`${namesOf(details, down)} ${[down.length === 1 ? "is" : "are"]} down`;
  return noRoute.length === 0 ? are : say`${noRoute}, and ${are}`;
}

// `rest` is what else is told of the sockets that can leave.
function noWayOut(details, subject, rest = "") {
  const stuck = subject.sockets.filter(({ hasNoWayOut }) => hasNoWayOut);
  const isAll = stuck.length === subject.sockets.length;
  return {
    tone: "broken",
    headline: isAll ? say`Traffic cannot leave.` : say`Part of the traffic cannot leave.`,
    evidence: say`${[ofAll(stuck.length, subject)]}${subject.phrase} cannot leave:
      ${stuckReason(details, stuck)}${[isAll ? "" : rest]}.`,
    todo: say`Set the interface up, or repair the route; an engine that does not notice must
      reconnect.`,
  };
}

function trying(details) {
  const subject = subjectOf(details, "TRYING");
  if (subject.sockets.some(({ hasNoWayOut }) => hasNoWayOut)) {
    return noWayOut(details, subject, "; the rest has no answer so far");
  }
  const { crossCheck } = details;
  const through = crossCheck.interface === undefined
    ? say``
    : say` through ${[{ data: interfaceName(crossCheck.interface) }]}`;
  return {
    tone: "broken",
    headline: say`The endpoint does not answer${through}.`,
    evidence: say`${subject.phrase} ${[subject.isOne ? "has" : "have"]} no answer so far.`,
    todo: say`Check that the server runs, and that the way to it is open.`,
  };
}

function noSocket(details) {
  const others = socketsToEndpoint(details).length;
  const count = others === 0
    ? ""
    : `; ${counted(others, "other socket")} to it ${others === 1 ? "does" : "do"} not count`;
  return {
    tone: "broken",
    headline: say`There is no connection to the endpoint.`,
    evidence: say`The engine has no TCP connection to ${endpointText(details)}${[count]}.`,
    todo: say`Send traffic through the engine, and take a new snapshot.`,
  };
}

// `more` replaces members: the evidence, what to do.
function unknown(reason, more = {}) {
  return { tone: "unknown", headline: say`It cannot be told: ${reason}.`, evidence: [], ...more };
}

const RECONNECT = say`Let the engine reconnect, and take a new snapshot.`;

// That the system does not tell, of how many if it tells of others.
function notTold(subject) {
  const { sockets, known } = subject;
  const part = known === 0 ? "" : ` for ${ofTotal(sockets.length - known, subject)}`;
  return `system does not tell where packets leave${part}`;
}

// Where the others leave; empty if there are none.
function toldPart(details, subject) {
  if (subject.known === 0) return [];
  const owners = subject.sockets.flatMap((row) => row.leavesThrough.map(({ ordinal }) => ordinal));
  const names = namesOf(details, [...new Set(owners)]);
  return say`${[ofTotal(subject.known, subject)]}
    ${[subject.known === 1 ? "leaves" : "leave"]} through ${names}
    (${[evidenceText(subject.sockets)]}).`;
}

function sourcesText(details, subject) {
  const owners = namesOf(details, sourceOwners(subject));
  switch (details.report.selectionStatus) {
    case "NOT_APPLICABLE_OS_ROUTED":
      return say`the system's routes decide for ${subject.phrase}`;
    case "SOCKET_SOURCE_ADDRESS_UNMAPPED":
      return say`no interface has the source address of ${subject.phrase}`;
    case "PARTIAL_SOCKET_SOURCE_MAPPING":
      return say`no interface has the source addresses of some of ${subject.phrase}`;
    case "MULTIPLE_MATCHING_SOCKET_INTERFACES":
      return say`${subject.phrase} have source addresses of ${owners}`;
    default:
      return say`${owners} have the source address of ${subject.phrase}`;
  }
}

// The system does not tell where packets leave, and source addresses do not identify an interface.
function unsettled(details, subject) {
  const isRouted = details.report.selectionStatus === "NOT_APPLICABLE_OS_ROUTED";
  return unknown(say`${sourcesText(details, subject)}, and the ${[notTold(subject)]}`, {
    evidence: toldPart(details, subject),
    todo: isRouted ? undefined : RECONNECT,
  });
}

function bySourceOnly(details, subject) {
  const named = namesOf(details, [details.report.selectedInterfaceOrdinal]);
  const part = toldPart(details, subject);
  return {
    tone: "known",
    headline: say`By source address, traffic leaves through ${named}.`,
    evidence: say`${subject.phrase} ${[subject.isOne ? "has" : "have"]} its source address.
      The ${[notTold(subject)]}.${part.length === 0 ? [] : say` ${part}`}`,
  };
}

function missingList(details) {
  if (hasNoHost(details)) {
    return {
      tone: "unknown",
      headline: say`The way leads to ${endpointText(details)}.`,
      evidence: say`Without a host, it cannot be told through which interface.`,
      todo: say`Add a snapshot of the host (egress-report --save-snapshot).`,
    };
  }
  const { failures, report } = details;
  const isSockets = report.socketSourcesStatus !== "OK";
  const reason = isSockets ? failures.sockets : failures.adapters;
  const what = isSockets ? "the engine's sockets are not known" : "the interfaces are not known";
  return unknown(say`${[what]}${reason ? say`: ${[{ data: reasonText(reason) }]}` : say``}`,
                 { stop: isSockets ? "groupsStop" : "interfacesStop" });
}

const BY_CROSS_CHECK = { AGREES: agrees, DISAGREES: disagrees, SETTLES: settles, SEVERAL: several,
                         NO_WAY_OUT: noWayOut, TRYING: trying, NO_SOCKET: noSocket };

export function sentenceFor(details) {
  const { report, endpoint, crossCheck } = details;
  if (endpoint.status !== "OK") return unknown(endpointReason(details));
  if (!details.doAddressesAgree) return severalAddresses(details);
  const hasLists = report.socketSourcesStatus === "OK" && report.interfacesStatus === "OK";
  if (!hasLists && crossCheck.status === "UNKNOWN") return missingList(details);
  const subject = subjectOf(details, "COUNTED");
  const tell = BY_CROSS_CHECK[crossCheck.status];
  if (tell !== undefined) return tell(details, subject);
  return report.selectedInterfaceOrdinal === null
    ? unsettled(details, subject)
    : bySourceOnly(details, subject);
}
