/**
 * Through which network interface does the local proxy engine's traffic to its active endpoint
 * leave a host? JSON goes in and comes out; its schemas are docs/snapshot.schema.json,
 * report.schema.json and details.schema.json of the project.
 *
 * The functions work synchronously and keep nothing between two calls. They throw an EgressError
 * as each says, or if the module's memory runs out; and a TypeError if a text is neither a string
 * nor a Uint8Array. A RangeError of the host, whose own memory or stack ended, is passed on. After
 * any error the object is as usable as before.
 */

/** A text, or its bytes in UTF-8. It is only read. */
export type Text = string | Uint8Array;

/** An input was refused, or memory ran out. */
export class EgressError extends Error {
  private constructor();

  readonly name: "EgressError";

  /** What was wrong and where, in one line in words for people. */
  readonly message: string;

  /**
   * Memory ran out: the module has at most 4 GiB, or less if its host has less. Otherwise, the
   * input is not what the function reads.
   */
  readonly isOutOfMemory: boolean;
}

/** The functions of a loaded module. */
export interface Egress {
  /** The version of the module, for example "1.2.3". */
  version(): string;

  /**
   * A snapshot of the engine's configuration, in which comments and trailing commas are ignored,
   * and of its answers, without any list of the host: `adapters`, `routes` and `sockets` have
   * failed. Who has the lists sets `enumFailed` to false and `rows`.
   *
   * @param config Any text: the report says whether it is usable.
   * @param answers An object of a selector's tag and the engine's answer, for example
   *   `{"proxy": {"now": "node_3"}}`; an empty text if there are none.
   * @throws EgressError if `answers` is no such object.
   */
  readConfig(config: Text, answers?: Text): string;

  /**
   * The report of a snapshot.
   *
   * @throws EgressError if it is not a snapshot.
   */
  diagnose(snapshot: Text): string;

  /**
   * The details of a snapshot, without line ends: the report, what is behind it, and the
   * cross-check with what the system says about the same sockets.
   *
   * @throws EgressError if it is not a snapshot.
   */
  diagnoseInDetail(snapshot: Text): string;

  /**
   * The snapshot without private data; it gives the same report.
   *
   * @throws EgressError if it is not a snapshot, or has more addresses of one class than there are
   *   replacements (16,777,216).
   */
  anonymize(snapshot: Text): string;

  /**
   * What a word of the report or the cross-check means, for example "NO_MATCHING_SOCKET": an array
   * with an object for each member that can have the word, of the texts `key`, `question`,
   * `meaning`, `usualCause` and `whatToDo`, and the object `smallestInput` of texts that give the
   * word. An unknown word gives an empty array.
   */
  explain(word: Text): string;

  /**
   * Where a JSON text breaks off: null if it does not, otherwise an object of `kind` (for example
   * "NO_COMMA"), `offset` (of the faulty byte, from 0), `line` and `column` (both from 1; the
   * column counts bytes) and `message` (what is wrong there, in words).
   */
  findJsonFault(text: Text): string;

  /** The same for a configuration, in which comments and trailing commas are ignored. */
  findConfigFault(config: Text): string;
}

/**
 * Compiles and starts the module.
 *
 * @param source Where it is, its bytes, or the module as compiled before; egress.wasm beside this
 *   file if omitted.
 * @throws Error if it cannot be read or is not a module; RangeError if the host has no memory for it.
 */
export function load(
  source?: URL | ArrayBuffer | Uint8Array | WebAssembly.Module,
): Promise<Egress>;
