import { isNotTaken } from "./host.mjs";

// The words of a report and its cross-check, by the members that have them.

export const MEMBERS = ["configStatus", "egressSelectionPolicy", "activeEndpointStatus",
                        "selectorHintStale", "selectionStatus", "interfacesStatus",
                        "defaultRoutesStatus", "socketSourcesStatus"];
const ROUTE_KEY = "defaultRoutes[].interfaceOrdinalStatus";

function wordsOf({ report, crossCheck }) {
  const found = MEMBERS.map((key) => ({ key, word: String(report[key]) }));
  const ofRoutes = new Set(report.defaultRoutes.map((route) => route.interfaceOrdinalStatus));
  for (const word of ofRoutes) found.push({ key: ROUTE_KEY, word });
  found.push({ key: "crossCheck", word: crossCheck.status });
  return found;
}

const LISTS = { interfacesStatus: "adapters", defaultRoutesStatus: "routes",
                socketSourcesStatus: "sockets", selectionStatus: "sockets",
                crossCheck: "sockets" };
const NO_HOST = { meaning: "No host was asked.", whatToDo: "Nothing." };

// Without a host, its lists ask for nothing, nor does what follows from them.
function explanationOf(details, key, word, explain) {
  const explanation = explain(key, word) ?? {};
  const isOfList = key in LISTS && isNotTaken(details, LISTS[key]);
  const isOfHost = isOfList && (key.endsWith("sStatus") || details.endpoint.status === "OK");
  return isOfHost ? { question: explanation.question, ...NO_HOST } : explanation;
}

// Each word with its explanation, those that ask for something first.
export function statusesOf(details, explain) {
  const statuses = wordsOf(details).map(({ key, word }) => {
    const { question = "", meaning = "", usualCause = "", whatToDo = "" } =
      explanationOf(details, key, word, explain);
    const isNormal = whatToDo === "" || whatToDo.startsWith("Nothing");
    return { key, word, question, meaning, usualCause, whatToDo, isNormal };
  });
  return statuses.sort((a, b) => a.isNormal - b.isNormal);
}
