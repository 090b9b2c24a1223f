// Through which network interface does the local proxy engine's traffic to its active endpoint
// leave a host? The functions of the module egress.wasm, for Node and browsers. See egress.d.mts.

const OK = 0;
const NO_MEMORY = 2;

export class EgressError extends Error {
  constructor(status, message) {
    super(message);
    this.name = "EgressError";
    this.isOutOfMemory = status === NO_MEMORY;
  }
}

async function compile(source) {
  if (source instanceof WebAssembly.Module) return source;
  if (source === undefined) return compile(new URL("egress.wasm", import.meta.url));
  if (!(source instanceof URL)) return WebAssembly.compile(source);
  if (source.protocol === "file:") {
    const { readFile } = await import("node:fs/promises");
    return WebAssembly.compile(await readFile(source));
  }
  return WebAssembly.compileStreaming(fetch(source));
}

export async function load(source) {
  const module = await compile(source);
  let exports;

  async function start() {
    exports = (await WebAssembly.instantiate(module)).exports;
    exports._initialize();
  }

  // Calls a function with texts, each as a pointer and a length, and returns the text of its result.
  function call(name, ...texts) {
    try {
      return take(exports[name], texts);
    } catch (error) {
      if (!(error instanceof WebAssembly.RuntimeError)) throw error;
      // There are no exceptions in the module: it ends when memory runs out.
      exports = new WebAssembly.Instance(module).exports;
      exports._initialize();
      throw new EgressError(NO_MEMORY, "out of memory");
    }
  }

  function take(operation, texts) {
    const pointers = [];
    try {
      const handed = texts.flatMap((text) => {
        const bytes = typeof text === "string" ? new TextEncoder().encode(text) : text;
        const pointer = exports.malloc(bytes.length);
        if (pointer === 0 && bytes.length > 0) throw new EgressError(NO_MEMORY, "out of memory");
        pointers.push(pointer);
        new Uint8Array(exports.memory.buffer, pointer, bytes.length).set(bytes);
        return [pointer, bytes.length];
      });
      return read(operation(...handed));
    } finally {
      pointers.forEach((pointer) => exports.free(pointer));
    }
  }

  function read(result) {
    const status = exports.egress_result_status(result);
    const bytes = new Uint8Array(exports.memory.buffer, exports.egress_result_text(result),
                                 exports.egress_result_length(result));
    const text = new TextDecoder().decode(bytes);
    exports.egress_result_free(result);
    if (status !== OK) throw new EgressError(status, text);
    return text;
  }

  await start();
  return {
    version: () => call("egress_version"),
    readConfig: (config, answers = "") => call("egress_read_config", config, answers),
    diagnose: (snapshot) => call("egress_diagnose", snapshot),
    diagnoseInDetail: (snapshot) => call("egress_diagnose_in_detail", snapshot),
    anonymize: (snapshot) => call("egress_anonymize", snapshot),
    explain: (word) => call("egress_explain", word),
    findJsonFault: (text) => call("egress_find_json_fault", text),
  };
}
