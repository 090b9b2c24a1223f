// Uses of the types, and mistakes that they find. Only compiled, never run.

import { EgressError, load, type Egress, type Text } from "egress-diagnosis";

const egress: Egress = await load();
await load(new URL("https://example.com/egress.wasm"));
await load(new ArrayBuffer(8));
await load(new Uint8Array(8));
await load(new WebAssembly.Module(new Uint8Array(8)));

const texts: Text[] = ["text", new Uint8Array(8)];
for (const text of texts) {
  const results: string[] = [
    egress.version(),
    egress.readConfig(text),
    egress.readConfig(text, text),
    egress.diagnose(text),
    egress.diagnoseInDetail(text),
    egress.anonymize(text),
    egress.explain(text),
    egress.findJsonFault(text),
    egress.findConfigFault(text),
  ];
  console.log(results);
}

try {
  egress.diagnose("");
} catch (error) {
  if (error instanceof EgressError) {
    const isOutOfMemory: boolean = error.isOutOfMemory;
    const message: string = error.message;
    const name: "EgressError" = error.name;
    console.log(isOutOfMemory, message, name);
  }
}

// @ts-expect-error: a parsed snapshot is not a text
egress.diagnose({ format: "egress-snapshot" });
// @ts-expect-error: a text is missing
egress.explain();
// @ts-expect-error: only the module makes errors
new EgressError("text");
// @ts-expect-error: there is no such function
egress.parse("");
