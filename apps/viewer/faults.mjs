// Where a text is not JSON, in words.
import { visible } from "./texts.mjs";

const PHRASES = {
  END_OF_TEXT: "the text is cut off",
  NO_VALUE: "a value is missing",
  BAD_LITERAL: "this is not true, false or null",
  BAD_NUMBER: "a digit is missing",
  BAD_ESCAPE: "this is not an escape of a string",
  NO_KEY: "a key in double quotes is missing",
  NO_COLON: "a colon is missing",
  NO_COMMA: "a comma or the closing bracket is missing",
  TOO_DEEP: "the values are nested too deep",
  BYTES_AFTER_ROOT: "there is more text after the end",
};
const STRING_OR_COMMENT = /"(?:\\[^]|[^"\\])*"?|\/\/[^\n\r]*|\/\*[^]*?\*\//g;
const STRING_OR_COMMA = /"(?:\\[^]|[^"\\])*"?|,(?=[ \t\n\r]*[\]}])/g;
const AFTER_NO_VALUE = /(?:^|[[{,:])[ \t\n\r]*$/;
const SHOWN_AROUND = 40;

function blanks(text) {
  return text.replace(/[^\n\r]/g, " ");
}

// Blanks what the module ignores in a configuration, so that the fault is the one that it stumbled
// over. A character stands for a byte, so that offsets stay.
function blankedConfig(bytes) {
  let text = "";
  for (let at = 0; at < bytes.length; at += 8192) {
    text += String.fromCharCode(...bytes.subarray(at, at + 8192));
  }
  const blanked = text
    .replace(/^\u00EF\u00BB\u00BF/, "   ")
    .replace(STRING_OR_COMMENT, (part) => (part[0] === '"' ? part : blanks(part)))
    .replace(STRING_OR_COMMA, (part, offset, whole) => {
      const before = whole.slice(Math.max(0, offset - SHOWN_AROUND), offset);
      return part === "," && !AFTER_NO_VALUE.test(before) ? " " : part;
    });
  return Uint8Array.from(blanked, (character) => character.charCodeAt(0));
}

function excerpt(bytes, offset) {
  const lineStart = bytes.lastIndexOf(10, offset - 1) + 1;
  const lineEnd = bytes.indexOf(10, offset);
  const from = Math.max(offset === 0 ? 0 : lineStart, offset - SHOWN_AROUND);
  const to = Math.min(lineEnd < 0 ? bytes.length : lineEnd, offset + SHOWN_AROUND);
  const decoder = new TextDecoder();
  return {
    before: visible(decoder.decode(bytes.subarray(from, offset))),
    after: visible(decoder.decode(bytes.subarray(offset, Math.max(offset, to)))),
  };
}

// Null if the text is JSON. `findFault` is the module's.
export function describeFault(bytes, findFault, isConfig = false) {
  const fault = findFault(isConfig ? blankedConfig(bytes) : bytes);
  if (fault === null) return null;
  const what = PHRASES[fault.kind] ?? fault.kind;
  return {
    text: `line ${fault.line}, column ${fault.column}: ${what}`,
    ...excerpt(bytes, fault.offset),
  };
}
