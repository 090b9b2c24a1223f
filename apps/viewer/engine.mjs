// The module, and what it says as values. It takes a text once for each question.
import { load } from "../../wasm/egress.mjs";

export async function startEngine(bytes) {
  const egress = await load(bytes);
  const words = new Map();

  function explanations(word) {
    if (!words.has(word)) words.set(word, JSON.parse(egress.explain(word)));
    return words.get(word);
  }

  return {
    version: () => egress.version(),
    diagnose: (snapshot) => JSON.parse(egress.diagnoseInDetail(snapshot)),
    anonymize: (snapshot) => egress.anonymize(snapshot),
    readConfig: (config, answers) => JSON.parse(egress.readConfig(config, answers)),
    findFault: (text) => JSON.parse(egress.findJsonFault(text)),
    findConfigFault: (config) => JSON.parse(egress.findConfigFault(config)),
    // What a word of a member of the report means; undefined if the member never has it.
    explain: (key, word) => explanations(word).find((entry) => entry.key === key),
  };
}
