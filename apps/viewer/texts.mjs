// How texts of a snapshot are shown. They may be hostile: invisible characters and those that
// change the direction of writing become visible escapes, and long texts are cut.

const MAX_SHOWN = 120;
const MAX_MARKS = 2;
const UNSEEN = /[\p{Cc}\p{Cf}\p{Cs}\p{Co}\p{Cn}\p{Zl}\p{Zp}\p{DI}]|(?! )\p{Zs}|\u2800/u;
const MARK = /\p{M}/u;
const VARIATION = /[\uFE0E\uFE0F]/;

function escaped(character) {
  const code = character.codePointAt(0).toString(16).toUpperCase().padStart(4, "0");
  return `[U+${code}]`;
}

// Bytes that are not UTF-8 come as an object.
function rawText(text) {
  return typeof text === "string" ? text : `base64:${text.base64}`;
}

export function visible(text, max = MAX_SHOWN) {
  const raw = rawText(text);
  let shown = "";
  let count = 0;
  let marks = MAX_MARKS;
  for (const character of raw) {
    if (count++ === max) return `${shown}... (${numberText(raw.length)} characters)`;
    if (VARIATION.test(character) && marks === 0) {
      marks = MAX_MARKS;
      shown += character;
      continue;
    }
    const isMark = MARK.test(character);
    if (isMark) marks += 1;
    const isShown = isMark ? marks <= MAX_MARKS : !UNSEEN.test(character);
    if (!isMark) marks = isShown ? 0 : MAX_MARKS;
    shown += isShown ? character : escaped(character);
  }
  return shown;
}

// A reason at the end of a sentence, which has its own full stop.
export function reasonText(reason) {
  return visible(reason).replace(/\.$/, "");
}

export function numberText(count) {
  return count.toLocaleString("en");
}

export function counted(count, what) {
  return `${numberText(count)} ${what}${count === 1 ? "" : "s"}`;
}

// An address and a port; the address may be in brackets already.
export function endText(address, port) {
  const bare = rawText(address).replace(/^\[(.*)\]$/s, "$1");
  const shown = visible(bare);
  return bare.includes(":") ? `[${shown}]:${port}` : `${shown}:${port}`;
}

// ifOperStatus of RFC 2863, from 1.
const OPER_STATUS = ["up", "down", "testing", "unknown", "dormant", "not present",
                     "lower layer down"];

export function operStatusText(number) {
  return OPER_STATUS[number - 1] ?? `state ${number}`;
}

export function kindText(kind) {
  return (kind ?? "unknown").toLowerCase();
}

export function routeText({ family, metric }) {
  return `default route IPv${family}, metric ${metric}`;
}

export function interfaceName(row) {
  return row.name === undefined || row.name === "" ? `interface ${row.ordinal}` : visible(row.name);
}
