// The answer: a headline, the evidence, and what to do. Each is a list of parts; see say.mjs.
import { socketsToEndpoint } from "./addresses.mjs";
import { leavingFor, leavingThrough } from "./model.mjs";
import { endpointReason } from "./reasons.mjs";
import { listed, say } from "./say.mjs";
import { counted, endText, interfaceName } from "./texts.mjs";

function namesOf(details, ordinals) {
  const rows = new Map(details.interfaces.map((row) => [row.ordinal, row]));
  return listed(ordinals.map((ordinal) => interfaceName(rows.get(ordinal) ?? { ordinal })));
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
  return { sockets, isOne, phrase };
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
  return `${subject.isOne ? "leaves" : "leave"} through ${count === 1 ? "it" : "them"}`;
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
  return {
    tone: "contradiction",
    headline: say`Traffic leaves through ${namesOf(details, leaving)}, ${but}.`,
    evidence: say`The source address of ${subject.phrase} belongs to ${named}, but packets leave
      through ${namesOf(details, leaving)} (${[evidenceText(subject.sockets)]}).`,
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
    evidence: say`${subject.phrase} ${[leave(subject, leaving.length)]}
      (${[evidenceText(subject.sockets)]}).`,
    todo: say`If it should leave through one, let the engine reconnect, and take a new snapshot.`,
  };
}

function noWayOut(details, subject) {
  const stuck = subject.sockets.filter(({ hasNoWayOut }) => hasNoWayOut);
  const hasNoRoute = stuck.some(({ byRoute }) => byRoute === null);
  const isAll = stuck.length === subject.sockets.length;
  const some = isAll ? "" : `${stuck.length.toLocaleString("en")} of `;
  return {
    tone: "broken",
    headline: isAll ? say`Traffic cannot leave.` : say`Part of the traffic cannot leave.`,
    evidence: say`${[some]}${subject.phrase} cannot leave:
      ${[hasNoRoute ? "the system has no route" : "the interface is down"]}.`,
    todo: say`Set the interface up, or repair the route; an engine that does not notice must
      reconnect.`,
  };
}

function trying(details) {
  const subject = subjectOf(details, "TRYING");
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

function unknown(reason, todo) {
  return { tone: "unknown", headline: say`It cannot be told: ${reason}.`, evidence: [], todo };
}

const RECONNECT = say`Let the engine reconnect, and take a new snapshot.`;

// The system does not tell where packets leave, and source addresses do not identify an interface.
function unsettled(details, subject) {
  const { selectionStatus } = details.report;
  const owners = namesOf(details, sourceOwners(subject));
  const told = "the system does not tell where packets leave";
  switch (selectionStatus) {
    case "NOT_APPLICABLE_OS_ROUTED":
      return unknown(say`the system's routes decide, and ${[told]} of ${subject.phrase}`);
    case "SOCKET_SOURCE_ADDRESS_UNMAPPED":
      return unknown(say`no interface has the source address of ${subject.phrase}`, RECONNECT);
    case "PARTIAL_SOCKET_SOURCE_MAPPING":
      return unknown(say`no interface has the source addresses of some of ${subject.phrase}`,
                     RECONNECT);
    case "MULTIPLE_MATCHING_SOCKET_INTERFACES":
      return unknown(say`${subject.phrase} have source addresses of ${owners}, and ${[told]}`,
                     RECONNECT);
    default:
      return unknown(say`${owners} have the source address of ${subject.phrase}, and ${[told]}`,
                     RECONNECT);
  }
}

function bySourceOnly(details, subject) {
  const named = namesOf(details, [details.report.selectedInterfaceOrdinal]);
  return {
    tone: "known",
    headline: say`By source address, traffic leaves through ${named}.`,
    evidence: say`${subject.phrase} ${[subject.isOne ? "has" : "have"]} its source address.
      The system does not tell where packets leave.`,
  };
}

function severalAddresses(details) {
  const nowhere = ["no known interface"];
  const rows = details.otherAddresses.map(({ address, interface: named }) =>
    say`${address} through ${named === undefined ? nowhere : [{ data: interfaceName(named) }]}`);
  const joined = rows.flatMap((parts, i) => (i === 0 ? parts : [{ text: ", " }, ...parts]));
  const first = leavingFor(details);
  const through = first.length > 0 ? namesOf(details, first) : nowhere;
  return {
    tone: "contradiction",
    headline: say`Traffic leaves through different interfaces, by the server's addresses.`,
    evidence: say`The engine uses several addresses of the server:
      ${details.endpoint.address} through ${through}, ${joined}.`,
    todo: say`If it should leave through one, let the engine reconnect, and take a new snapshot.`,
  };
}

function missingList(details) {
  const { failures, report } = details;
  const isSockets = report.socketSourcesStatus !== "OK";
  const reason = isSockets ? failures.sockets : failures.adapters;
  const what = isSockets ? "the engine's sockets are not known" : "the interfaces are not known";
  if (reason === "not taken") {
    return {
      tone: "unknown",
      headline: say`The way leads to ${endpointText(details)}.`,
      evidence: say`Without a host, it cannot be told through which interface.`,
      todo: say`Add a snapshot of the host (egress-report --save-snapshot).`,
    };
  }
  return unknown(say`${[what]}${reason ? say`: ${reason}` : say``}`);
}

const BY_CROSS_CHECK = { AGREES: agrees, DISAGREES: disagrees, SETTLES: settles, SEVERAL: several,
                         NO_WAY_OUT: noWayOut, TRYING: trying, NO_SOCKET: noSocket };

export function sentenceFor(details) {
  const { report, endpoint, crossCheck } = details;
  if (endpoint.status !== "OK") return unknown(endpointReason(details));
  if (!details.doAddressesAgree) return severalAddresses(details);
  const hasLists = report.socketSourcesStatus === "OK" && report.interfacesStatus === "OK";
  if (!hasLists && crossCheck.interface === undefined) return missingList(details);
  const subject = subjectOf(details, "COUNTED");
  const tell = BY_CROSS_CHECK[crossCheck.status];
  if (tell !== undefined) return tell(details, subject);
  return report.selectedInterfaceOrdinal === null
    ? unsettled(details, subject)
    : bySourceOnly(details, subject);
}
