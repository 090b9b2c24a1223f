// Where a text is not JSON, in words.
import { visible } from "./texts.mjs";

const SHOWN_AROUND = 40;

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

// The module's fault of a text, for people; null if there is none.
export function describeFault(bytes, fault) {
  if (fault === null) return null;
  return {
    text: `line ${fault.line}, column ${fault.column}: ${fault.message}`,
    ...excerpt(bytes, fault.offset),
  };
}
