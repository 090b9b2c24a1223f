// What the page answers, as plain texts, and what the tests of it share.
import { plain } from "../../apps/viewer/say.mjs";
import { sentenceFor } from "../../apps/viewer/sentence.mjs";
import { WITHOUT_CHOICE, detailsOf, socket } from "./details.mjs";

export const E = "198.51.100.10:443";

export function told(members) {
  const { tone, headline, evidence } = sentenceFor(detailsOf(members));
  return [tone, plain(headline), plain(evidence)];
}

export const selection = (selectionStatus) => ({ ...WITHOUT_CHOICE, selectionStatus });
export const UNKNOWN = { status: "UNKNOWN" };
export const unknownSocket = (members = {}) =>
  socket({ byRoute: undefined, decidedBy: "NONE", leavesThrough: [], ...members });
