// Changes the memory of a module, so that a test can exhaust it soon.

const PREAMBLE = 8;  // bytes
const MEMORY_SECTION = 5;
const HAS_MAXIMUM = 1;

function readNumber(bytes, at) {
  let number = 0;
  for (let shift = 0; ; shift += 7) {
    number += (bytes[at] & 0x7f) * 2 ** shift;
    if (bytes[at++] < 0x80) return { number, end: at };
  }
}

function writeNumber(number) {
  const bytes = [];
  for (; number >= 0x80; number = Math.floor(number / 0x80)) bytes.push((number % 0x80) | 0x80);
  return [...bytes, number];
}

// The module, whose memory must have no maximum, with one. A page is 64 KiB.
export function withMaximumMemory(module, pages) {
  let start = PREAMBLE;
  for (;;) {
    const size = readNumber(module, start + 1);
    const end = size.end + size.number;
    if (module[start] !== MEMORY_SECTION) {
      start = end;
      continue;
    }
    const minimum = readNumber(module, size.end + 2).number;
    const limits = [1, HAS_MAXIMUM, ...writeNumber(minimum), ...writeNumber(pages)];
    const section = [MEMORY_SECTION, ...writeNumber(limits.length), ...limits];
    return Buffer.concat([module.subarray(0, start), Buffer.from(section), module.subarray(end)]);
  }
}
