// The boxes of the picture: their lines of text, without places.
import { isSameAddress } from "./addresses.mjs";
import { counted, endText, interfaceName, numberText, routeText, visible } from "./texts.mjs";

const LED_ON = { SELECTOR: "answer", DETOUR: "detour" };
const MAX_ADDRESSES = 2;
const MAX_STATES = 3;
const BADGES = {
  leaves: "\u25B6 traffic leaves here",
  some: "\u25B6 some traffic leaves here",
  attempts: "\u25B6 attempts leave here",
  bySource: "\u25B7 by source address",
  named: "\u25B7 named by source address",
};

const label = (text) => ({ text, style: "label" });
const data = (text) => ({ text, style: "data" });
const strong = (text) => ({ text, style: "strong" });
const title = (text) => ({ text, style: "title" });

// Explanations have names of code between backquotes.
const withoutQuotes = (text) => text.replaceAll("`", "");

function stopBox(stop, lines = []) {
  return { kind: "stop", lines: [...lines, title(`\u2715 ${stop.word}`),
                                label(withoutQuotes(stop.meaning))] };
}

function stepBox(step) {
  if (step.hidden !== undefined) {
    return { kind: "fold", lines: [label(`and ${counted(step.hidden, "more outbound")}`)] };
  }
  const lines = [strong(visible(step.tag)), data(visible(step.type))];
  return { kind: "outbound", lines, next: LED_ON[step.ledOnBy] };
}

function endpointBox(endpoint) {
  const lines = [title("endpoint"), strong(endText(endpoint.address, endpoint.port))];
  if (endpoint.name !== undefined) lines.push(data(visible(endpoint.name)));
  return { kind: "endpoint", lines };
}

// The chain of outbounds and its end.
export function wayBoxes({ way, endpoint }) {
  const boxes = way.steps.map(stepBox);
  if (endpoint !== undefined) return [...boxes, endpointBox(endpoint)];
  const sought = way.soughtTag === undefined ? [] : [strong(visible(way.soughtTag))];
  return [...boxes, stopBox(way.stop, sought)];
}

function groupTitle({ protocol, role, count }) {
  if (protocol === "UDP") return counted(count, "UDP socket");
  return counted(count, role === "TRYING" ? "TCP connection attempt" : "TCP connection");
}

function statesOf({ sample }) {
  const states = [...new Set(sample.map(({ state }) => state))];
  return states.slice(0, MAX_STATES).join(", ");
}

function groupBox(group, endpoint) {
  const lines = [title(groupTitle(group)), label(statesOf(group))];
  if (group.role === "NOT_COUNTED") lines.push(label("does not count for the answer"));
  for (const { localAddress, localPort } of group.sample) {
    lines.push(data(endText(localAddress, localPort)));
  }
  const more = group.count - group.sample.length;
  if (more > 0) lines.push(label(`and ${numberText(more)} more`));
  if (endpoint !== undefined && !isSameAddress(group.remoteAddress, endpoint.address)) {
    lines.push(label("to"), data(endText(group.remoteAddress, group.remotePort)));
  }
  return { kind: "group", role: group.role, lines, group };
}

const fold = (text) => ({ kind: "fold", lines: [label(text)] });

export function groupBoxes({ groups, hiddenSockets, groupsStop, endpoint, isAsked }) {
  const boxes = groups.map((group) => groupBox(group, endpoint));
  if (hiddenSockets > 0) boxes.push(fold(`and ${counted(hiddenSockets, "more socket")}`));
  if (groupsStop !== undefined) boxes.push(stopBox(groupsStop));
  if (boxes.length > 0) return boxes;
  boxes.push(fold(isAsked || endpoint === undefined ? "unknown: no endpoint" : "unknown: no host"));
  return boxes;
}

const KINDS = { LOOPBACK: "loopback", TUNNEL: "tunnel" };

function interfaceBox(row) {
  const lines = [strong(interfaceName(row))];
  if (row.role in BADGES) lines.push({ text: BADGES[row.role], style: "badge" });
  const kind = row.kind in KINDS ? `, ${KINDS[row.kind]}` : "";
  lines.push(label(`${row.state}${kind}`));
  row.routes.slice(0, MAX_ADDRESSES).forEach((route) => lines.push(label(routeText(route))));
  const routes = row.routes.length - MAX_ADDRESSES;
  if (routes > 0) lines.push(label(`and ${counted(routes, "more default route")}`));
  row.addresses.slice(0, MAX_ADDRESSES).forEach((address) => lines.push(data(visible(address))));
  const addresses = row.addresses.length - MAX_ADDRESSES;
  if (addresses > 0) lines.push(label(`and ${numberText(addresses)} more`));
  return { kind: "interface", role: row.role, isDown: row.state !== "up", lines,
           ordinal: row.ordinal };
}

export function interfaceBoxes({ interfaces, hiddenInterfaces, interfacesStop, isAsked }) {
  const boxes = interfaces.map(interfaceBox);
  if (hiddenInterfaces > 0) boxes.push(fold(`and ${counted(hiddenInterfaces, "more interface")}`));
  if (!isAsked && boxes.length === 0) boxes.push(fold("unknown: no host"));
  if (interfacesStop !== undefined) boxes.push(stopBox(interfacesStop));
  return boxes;
}

// The edges of a group to interfaces that are not shown; empty if there are none.
export function hiddenEdgesText({ hiddenEdges }) {
  return hiddenEdges === 0 ? "" : `and ${counted(hiddenEdges, "more interface")}`;
}

// Why no edge leads on from a group; empty if one does.
export function stubText({ hasNoWayOut, down, hasInterfaces, edges, hiddenEdges }) {
  if (hasNoWayOut) return down === undefined ? "no way out: no route" : "";
  if (edges.length + hiddenEdges > 0) return "";
  return hasInterfaces ? "no interface has its source address" : "the interfaces are not known";
}
