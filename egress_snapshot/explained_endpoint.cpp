#include "egress_snapshot/explained_words.h"

namespace egress::snapshot {

Explanation explanationOf(ActiveEndpointStatus status) {
  using enum ActiveEndpointStatus;
  switch (status) {
    case OK:
      return {.meaning =
                  "The endpoint is one numeric address and one port, and its sockets can be "
                  "identified.",
              .usualCause = "The normal case.",
              .whatToDo = "Nothing.",
              .smallestInput = {.config = R"({"route": {"auto_detect_interface": true},
 "outbounds": [{"tag": "proxy", "type": "shadowsocks", "server": "198.51.100.10", "server_port": 443}]})"}};
    case NOT_EVALUATED_CONFIG_UNAVAILABLE:
      return {.meaning = "The configuration is not usable, so the endpoint was not resolved.",
              .usualCause = "`configStatus` is not `OK`.",
              .whatToDo = "Fix the problem that `configStatus` reports.",
              .smallestInput = {.config = R"({})"}};
    case SELECTOR_TRANSPORT_FAILED:
      return {.meaning =
                  "There is no answer for a selector in the walk: the engine did not answer, or "
                  "was not queried.",
              .usualCause =
                  "The engine is not running, its control interface is disabled or requires a "
                  "password, or the host did not query this selector.",
              .whatToDo =
                  "Query the engine about every selector and `urltest` group from `proxy` on, "
                  "and pass each answer with the tag of its group.",
              .smallestInput = {.config = R"({"route": {"auto_detect_interface": true},
 "outbounds": [{"tag": "proxy", "type": "selector"}]})"}};
    case SELECTOR_RESPONSE_MALFORMED:
      return {.meaning = "The answer for a selector in the walk is not a JSON object.",
              .usualCause =
                  "Another program answered instead of the engine, for example with an error "
                  "page, or the answer is truncated.",
              .whatToDo =
                  "Inspect the answer, and check the address and port of the engine's control "
                  "interface.",
              .smallestInput = {.config = R"({"route": {"auto_detect_interface": true},
 "outbounds": [{"tag": "proxy", "type": "selector"}]})",
                                .answer = R"([])"}};
    case SELECTOR_NOW_MISSING:
      return {
          .meaning =
              "The answer for a selector in the walk contains no choice: `now` is missing, "
              "empty or not a string.",
          .usualCause = "The queried outbound is not a selector, or the engine has not chosen yet.",
          .whatToDo =
              "Query again after the engine has chosen, and check that the answer belongs "
              "to the selector.",
          .smallestInput = {.config = R"({"route": {"auto_detect_interface": true},
 "outbounds": [{"tag": "proxy", "type": "selector"}]})",
                            .answer = R"({})"}};
    case SELECTOR_CYCLE:
      return {.meaning = "A selector's choice is an outbound that the walk has already visited.",
              .usualCause =
                  "The answers were taken at different times, or two groups contain each other.",
              .whatToDo =
                  "Query all selectors at the same time. If groups contain each other, break "
                  "the cycle in the configuration.",
              .smallestInput = {.config = R"({"route": {"auto_detect_interface": true},
 "outbounds": [{"tag": "proxy", "type": "selector"}]})",
                                .answer = R"({"now": "proxy"})"}};
    case SELECTOR_DEPTH_EXCEEDED:
      return {
          .meaning = "A selector's choice would be the ninth step of the walk; the limit is eight.",
          .usualCause = "Groups nested too deep, or a cycle of more than eight outbounds.",
          .whatToDo = "Remove groups or detours between `proxy` and the endpoint.",
          .smallestInput = {.snapshot = R"({"format": "egress-snapshot", "version": 1,
 "config": {"configStatus": "OK", "outbounds": [
    {"tag": "proxy", "detour": "hop1"},
    {"tag": "hop1", "detour": "hop2"},
    {"tag": "hop2", "detour": "hop3"},
    {"tag": "hop3", "detour": "hop4"},
    {"tag": "hop4", "detour": "hop5"},
    {"tag": "hop5", "detour": "hop6"},
    {"tag": "hop6", "detour": "hop7"},
    {"tag": "hop7", "detour": "hop8"},
    {"tag": "hop8", "type": "selector"}]},
 "selectorAnswers": [{"selectorTag": "hop8", "now": "hop9"}]})"}};
    case DETOUR_CYCLE:
      return {.meaning = "A detour leads to an outbound that the walk has already visited.",
              .usualCause =
                  "An outbound that dials through itself, or two that dial through each other.",
              .whatToDo =
                  "Break the cycle in the configuration. The engine cannot connect with it "
                  "either.",
              .smallestInput = {.config = R"({"route": {"auto_detect_interface": true},
 "outbounds": [{"tag": "proxy", "detour": "proxy"}]})"}};
    case DETOUR_DEPTH_EXCEEDED:
      return {
          .meaning = "A detour would be the ninth step of the walk; the limit is eight.",
          .usualCause = "A detour chain that is too long, or a cycle of more than eight outbounds.",
          .whatToDo = "Shorten the chain from `proxy` to the endpoint.",
          .smallestInput = {.snapshot = R"({"format": "egress-snapshot", "version": 1,
 "config": {"configStatus": "OK", "outbounds": [
    {"tag": "proxy", "detour": "hop1"},
    {"tag": "hop1", "detour": "hop2"},
    {"tag": "hop2", "detour": "hop3"},
    {"tag": "hop3", "detour": "hop4"},
    {"tag": "hop4", "detour": "hop5"},
    {"tag": "hop5", "detour": "hop6"},
    {"tag": "hop6", "detour": "hop7"},
    {"tag": "hop7", "detour": "hop8"},
    {"tag": "hop8", "detour": "hop9"}]}})"}};
    case OUTBOUND_NOT_FOUND:
      return {.meaning =
                  "No outbound has the tag of the next step, or none is tagged `proxy`, the "
                  "start of the walk.",
              .usualCause =
                  "The main outbound has another tag, a detour is misspelt, or an answer "
                  "belongs to another configuration.",
              .whatToDo =
                  "Tag the main outbound `proxy`. Pass the configuration and the answers of the "
                  "same run of the engine.",
              .smallestInput = {.config = R"({"route": {"auto_detect_interface": true}})"}};
    case LEAF_HAS_NO_REMOTE_ENDPOINT:
      return {
          .meaning = "The walk ends at an outbound without a server: `direct`, `block` or `dns`.",
          .usualCause = "The selector is set to direct traffic or to blocking.",
          .whatToDo = "Nothing, if that is intended. Otherwise choose a server in the selector.",
          .smallestInput = {.config = R"({"route": {"auto_detect_interface": true},
 "outbounds": [{"tag": "proxy", "type": "direct"}]})"}};
    case ENDPOINT_MISSING:
      return {.meaning = "The outbound at the end of the walk has no server or no port.",
              .usualCause = "An incomplete outbound.",
              .whatToDo = "Add `server`, and `server_port` or `server_ports`.",
              .smallestInput = {.config = R"({"route": {"auto_detect_interface": true},
 "outbounds": [{"tag": "proxy", "type": "shadowsocks"}]})"}};
    case ENDPOINT_INVALID:
      return {.meaning =
                  "The outbound at the end of the walk has an invalid port, or only a range of "
                  "ports.",
              .usualCause =
                  "A port outside 1 to 65535, a `server_port` in quotation marks, a "
                  "`server_ports` that is not a list, an entry of `server_ports` without "
                  "quotation marks, or port hopping over a single range.",
              .whatToDo =
                  "Set `server_port` to a number from 1 to 65535, without quotation marks. For "
                  "an endpoint that hops over a range, the interface cannot be determined.",
              .smallestInput = {.config = R"({"route": {"auto_detect_interface": true},
 "outbounds": [{"tag": "proxy", "type": "shadowsocks", "server": "198.51.100.10", "server_port": 0}]})"}};
    case ENDPOINT_NOT_NUMERIC:
      return {.meaning =
                  "The server is not a literal address; usually it is a host name. Names are "
                  "not looked up, because the result may differ from the engine's.",
              .usualCause =
                  "Most subscriptions use host names. An address followed by a port or a space "
                  "is not a literal address either.",
              .whatToDo =
                  "For a diagnosis, replace the name in a copy of the configuration by the "
                  "address that the engine uses; see the engine's log.",
              .smallestInput = {.config = R"({"route": {"auto_detect_interface": true},
 "outbounds": [{"tag": "proxy", "type": "shadowsocks", "server": "proxy.example", "server_port": 443}]})"}};
    case ENDPOINT_NOT_SINGLETON:
      return {.meaning =
                  "The outbound at the end of the walk has several ports, so its sockets cannot "
                  "be identified by one port.",
              .usualCause =
                  "Port hopping in `server_ports`, or a port in both `server_port` and "
                  "`server_ports`.",
              .whatToDo = "For a diagnosis, configure a single port.",
              .smallestInput = {.config = R"({"route": {"auto_detect_interface": true},
 "outbounds": [{"tag": "proxy", "type": "shadowsocks", "server": "198.51.100.10", "server_ports": ["443", "444"]}]})"}};
    case TRANSPORT_UNSUPPORTED:
      return {.meaning =
                  "The protocol or its transport is known, but runs over QUIC. Its sockets may "
                  "be unconnected and then have no remote address.",
              .usualCause =
                  "An outbound of type `hysteria`, `hysteria2` or `tuic`, or with the transport "
                  "`quic`.",
              .whatToDo = "Use an outbound over TCP for the diagnosis, or capture packets.",
              .smallestInput = {.config = R"({"route": {"auto_detect_interface": true},
 "outbounds": [{"tag": "proxy", "type": "tuic", "server": "198.51.100.10", "server_port": 443}]})"}};
    case TRANSPORT_UNKNOWN: break;
  }
  return {.meaning =
              "The outbound's type or transport is unknown, so its sockets cannot be "
              "identified. Known are the types `vmess`, `vless`, `trojan`, `anytls` and "
              "`shadowsocks`, with the transports `ws`, `grpc` and `http` or without one.",
          .usualCause =
              "Any other protocol or transport, however common, a misspelt one, or an "
              "outbound without a type.",
          .whatToDo = "Check the spelling. For any other protocol, capture packets.",
          .smallestInput = {.config = R"({"route": {"auto_detect_interface": true},
 "outbounds": [{"tag": "proxy", "type": "other", "server": "198.51.100.10", "server_port": 443}]})"}};
}

}  // namespace egress::snapshot
