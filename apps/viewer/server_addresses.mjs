// The answer where the engine uses several addresses of the server that are not alike.
import { say } from "./say.mjs";
import { interfaceName, numberText } from "./texts.mjs";

const MAX_SHOWN = 4;

// Where the traffic to an address leaves that no interface is named for.
const NOWHERE = {
  DISAGREES: "leaves in part through an interface without its source address",
  SEVERAL: "leaves through several interfaces",
  NO_WAY_OUT: "cannot leave",
  TRYING: "has no answer",
  NO_SOCKET: "has no connection",
};

// As the other addresses have it: the interface that is named for the first address.
function firstAddress({ endpoint, crossCheck, report, interfaces }) {
  const ordinal = report.selectedInterfaceOrdinal;
  const isBySource = crossCheck.status === "UNKNOWN" && ordinal !== null;
  const named = isBySource
    ? interfaces.find((row) => row.ordinal === ordinal) ?? { ordinal }
    : crossCheck.interface;
  return { address: endpoint.address, crossCheckStatus: crossCheck.status, interface: named };
}

// `what` is "traffic", or the word for it.
function clauseOf({ address, ...row }, what) {
  const isUnknown = row.interface === undefined && !(row.crossCheckStatus in NOWHERE);
  if (isUnknown) return say`where ${[what]} to ${address} leaves cannot be told`;
  return say`${[what]} to ${address} ${wayOf(row)}`;
}

function wayOf({ crossCheckStatus, interface: named }) {
  if (named === undefined) return [NOWHERE[crossCheckStatus]];
  const through = say`through ${[{ data: interfaceName(named) }]}`;
  if (crossCheckStatus === "TRYING") return say`has no answer ${through}`;
  return crossCheckStatus === "UNKNOWN"
    ? say`leaves ${through} by its source address`
    : say`leaves ${through}`;
}

function clausesOf(rows) {
  const more = Math.max(0, rows.length - MAX_SHOWN);
  const texts = rows.slice(0, MAX_SHOWN).map((row, i) =>
    say`${i === 0 ? [] : ["; "]}${clauseOf(row, i === 0 ? "traffic" : "that")}`);
  return more === 0 ? texts.flat() : say`${texts.flat()}; others: ${[numberText(more)]}`;
}

function capitalized([first, ...rest]) {
  return [{ text: first.text[0].toUpperCase() + first.text.slice(1) }, ...rest];
}

export function severalAddresses(details) {
  const rows = [firstAddress(details), ...details.otherAddresses];
  const ordinals = new Set(rows.flatMap((row) => row.interface?.ordinal ?? []));
  const told = clausesOf(rows);
  const isUnknown = rows.some(({ crossCheckStatus }) => crossCheckStatus === "UNKNOWN");
  if (ordinals.size < 2) {
    return {
      tone: isUnknown ? "unknown" : "broken",
      headline: say`${capitalized(told)}.`,
      evidence: say`The engine uses several addresses of the server.`,
      todo: say`Let the engine reconnect, and take a new snapshot.`,
    };
  }
  return {
    tone: "contradiction",
    headline: say`Traffic leaves through different interfaces, by the server's addresses.`,
    evidence: say`The engine uses several addresses of the server: ${told}.`,
    todo: say`If it should leave through one, let the engine reconnect, and take a new snapshot.`,
  };
}
