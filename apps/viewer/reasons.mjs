// Why the endpoint is not known, in words.
import { say } from "./say.mjs";
import { reasonText } from "./texts.mjs";

function configReason(status) {
  switch (status) {
    case "NO_CONFIG": return say`there is no configuration, or it is empty`;
    case "JSON_PARSE_FAILED": return say`the configuration is not a JSON object`;
    case "AUTO_DETECT_MISSING":
      return say`the configuration has no key ${"route.auto_detect_interface"}`;
    default:
      return say`${"route.auto_detect_interface"} in the configuration is not true or false`;
  }
}

function queryReason({ input, way }) {
  const query = input.queries.find(({ selectorTag }) => selectorTag === way.soughtTag);
  if (query === undefined || query.reason === "") return say``;
  return say`: ${[{ data: reasonText(query.reason) }]}`;
}

function walkReason({ way }, kind, isCycle) {
  const last = way.entered.at(-1)?.tag ?? "";
  const end = isCycle ? "where the way has been before" : "one step more than are followed";
  return say`the ${[kind]} of the outbound ${last} leads to ${way.soughtTag}, ${[end]}`;
}

function missingOutbound({ way }) {
  const last = way.entered.at(-1);
  if (last === undefined) return say`no outbound has the tag ${way.soughtTag}`;
  return say`no outbound has the tag ${way.soughtTag}, to which ${last.tag} leads`;
}

function leafReason({ tag, type }, status) {
  switch (status) {
    case "LEAF_HAS_NO_REMOTE_ENDPOINT":
      return say`the outbound ${tag} of type ${type} has no server`;
    case "ENDPOINT_MISSING": return say`the outbound ${tag} lacks its server or its port`;
    case "ENDPOINT_INVALID": return say`the port of the outbound ${tag} is not a port`;
    case "ENDPOINT_NOT_NUMERIC":
      return say`the server of the outbound ${tag} is a name, not an address`;
    case "ENDPOINT_NOT_SINGLETON": return say`the outbound ${tag} has more than one port`;
    case "TRANSPORT_UNSUPPORTED":
      return say`the outbound ${tag} of type ${type} runs over QUIC, whose sockets cannot be
        followed`;
    case "TRANSPORT_UNKNOWN":
      return say`the type ${type} of the outbound ${tag}, or its transport, is not known`;
    default: return say`the endpoint has the status ${status}`;
  }
}

export function endpointReason(details) {
  const { report, endpoint, way } = details;
  const { status } = endpoint;
  switch (status) {
    case "NOT_EVALUATED_CONFIG_UNAVAILABLE": return configReason(report.configStatus);
    case "SELECTOR_TRANSPORT_FAILED":
      return say`there is no answer of the selector ${way.soughtTag}${queryReason(details)}`;
    case "SELECTOR_RESPONSE_MALFORMED":
      return say`the answer of the selector ${way.soughtTag} is not a JSON object`;
    case "SELECTOR_NOW_MISSING":
      return say`the answer of the selector ${way.soughtTag} names no choice`;
    case "SELECTOR_CYCLE": return walkReason(details, "answer", true);
    case "SELECTOR_DEPTH_EXCEEDED": return walkReason(details, "answer", false);
    case "DETOUR_CYCLE": return walkReason(details, "detour", true);
    case "DETOUR_DEPTH_EXCEEDED": return walkReason(details, "detour", false);
    case "OUTBOUND_NOT_FOUND": return missingOutbound(details);
    default: return leafReason(way.entered.at(-1) ?? { tag: "", type: "" }, status);
  }
}
