// Through which network interface does the local proxy engine's traffic to its active endpoint
// leave a host? The functions of the module egress.wasm, for Node and browsers. See egress.d.mts.

const OK = 0;
const NO_MEMORY = 2;
const MAX_LENGTH = 0xffffffff;  // in bytes; lengths in the module have 32 bits

const encoder = new TextEncoder();
const decoder = new TextDecoder("utf-8", { ignoreBOM: true });

export class EgressError extends Error {
  constructor(status, message) {
    super(message);
    this.name = "EgressError";
    this.isOutOfMemory = status === NO_MEMORY;
  }
}

const outOfMemory = () => new EgressError(NO_MEMORY, "out of memory");

async function bytesAt(url) {
  if (url.protocol === "file:") {
    const { readFile } = await import("node:fs/promises");
    return readFile(url);
  }
  const response = await fetch(url);
  if (!response.ok) throw new Error(`${url}: cannot be loaded: HTTP status ${response.status}`);
  return response.arrayBuffer();
}

async function compile(source) {
  if (source instanceof WebAssembly.Module) return source;
  return WebAssembly.compile(source instanceof URL ? await bytesAt(source) : source);
}

function bytesOf(text) {
  if (typeof text === "string") return encoder.encode(text);
  if (text instanceof Uint8Array) return text;
  throw new TypeError(`a text must be a string or a Uint8Array, not ${typeof text}`);
}

// The module takes and returns pointers as numbers with a sign, so `>>> 0`: from 2 GiB on, they
// are negative.

// Copies the bytes into the module's memory. The caller frees them.
function copyIn(exports, bytes) {
  if (bytes.length > MAX_LENGTH) throw outOfMemory();
  const pointer = exports.malloc(bytes.length) >>> 0;
  if (pointer === 0 && bytes.length > 0) throw outOfMemory();
  new Uint8Array(exports.memory.buffer, pointer, bytes.length).set(bytes);
  return pointer;
}

// The text of a result, which this frees.
function takeResult(exports, result) {
  const status = exports.egress_result_status(result);
  const pointer = exports.egress_result_text(result) >>> 0;
  const length = exports.egress_result_length(result) >>> 0;
  const text = decoder.decode(new Uint8Array(exports.memory.buffer, pointer, length));
  exports.egress_result_free(result);
  if (status !== OK) throw new EgressError(status, text);
  return text;
}

// Calls a function with texts, each as a pointer and a length.
function callWith(exports, name, texts) {
  const pointers = [];
  const free = () => pointers.forEach((pointer) => exports.free(pointer));
  try {
    for (const bytes of texts) pointers.push(copyIn(exports, bytes));
  } catch (error) {
    free();
    throw error;
  }
  const result = exports[name](...texts.flatMap((bytes, i) => [pointers[i], bytes.length]));
  free();
  return takeResult(exports, result);
}

function started(instance) {
  instance.exports._initialize();
  return instance.exports;
}

export async function load(source = new URL("egress.wasm", import.meta.url)) {
  const module = await compile(source);
  let exports = started(await WebAssembly.instantiate(module));

  function call(name, ...texts) {
    const bytes = texts.map(bytesOf);
    exports ??= started(new WebAssembly.Instance(module));
    try {
      return callWith(exports, name, bytes);
    } catch (error) {
      if (error instanceof EgressError) throw error;
      // What a function leaves behind that did not return is not usable.
      exports = undefined;
      // There are no exceptions in the module: it traps when memory runs out.
      throw error instanceof WebAssembly.RuntimeError ? outOfMemory() : error;
    }
  }

  return {
    version: () => call("egress_version"),
    readConfig: (config, answers = "") => call("egress_read_config", config, answers),
    diagnose: (snapshot) => call("egress_diagnose", snapshot),
    diagnoseInDetail: (snapshot) => call("egress_diagnose_in_detail", snapshot),
    anonymize: (snapshot) => call("egress_anonymize", snapshot),
    explain: (word) => call("egress_explain", word),
    findJsonFault: (text) => call("egress_find_json_fault", text),
    findConfigFault: (config) => call("egress_find_config_fault", config),
  };
}
