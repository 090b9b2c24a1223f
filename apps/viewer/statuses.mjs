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

// Each word with its explanation, those that ask for something first.
export function statusesOf(details, explain) {
  const statuses = wordsOf(details).map(({ key, word }) => {
    const { question = "", meaning = "", usualCause = "", whatToDo = "" } =
      explain(key, word) ?? {};
    const isNormal = whatToDo === "" || whatToDo.startsWith("Nothing");
    return { key, word, question, meaning, usualCause, whatToDo, isNormal };
  });
  return statuses.sort((a, b) => a.isNormal - b.isNormal);
}
