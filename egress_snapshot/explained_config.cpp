#include "egress_snapshot/explained_words.h"

namespace egress::snapshot {

Explanation explanationOf(ConfigStatus status) {
  using enum ConfigStatus;
  switch (status) {
    case OK:
      return {.meaning = "The configuration was read and contains a valid `auto_detect_interface`.",
              .usualCause = "The normal case.",
              .whatToDo = "Nothing.",
              .smallestInput = {.config = R"({"route": {"auto_detect_interface": true}})"}};
    case NO_CONFIG:
      return {.meaning = "There is no configuration, or it is empty.",
              .usualCause =
                  "The host passed none because the engine is not configured yet, or the file "
                  "is empty. `egress-report` was run without `--config`.",
              .whatToDo = "Pass the configuration with which the engine was started.",
              .smallestInput = {.snapshot = R"({"format": "egress-snapshot", "version": 1})"}};
    case JSON_PARSE_FAILED:
      return {.meaning =
                  "The configuration is not a JSON document, its root is not an object, or it "
                  "is nested more than 64 levels deep.",
              .usualCause =
                  "A truncated file, a comment or an extra comma after a manual edit, a "
                  "byte-order mark, or the wrong file.",
              .whatToDo =
                  "Check the file with a JSON tool, and check that the engine accepts it. "
                  "Comments are not JSON, even if the engine tolerates them.",
              .smallestInput = {.config = R"({"route":)"}};
    case AUTO_DETECT_MISSING:
      return {
          .meaning =
              "The configuration has no `route` object, or `route` has no member "
              "`auto_detect_interface`. Without it, the policy is unknown.",
          .usualCause = "The configuration relies on the engine's default.",
          .whatToDo = "Set `auto_detect_interface` in `route` to `true` or `false`, as intended.",
          .smallestInput = {.config = R"({})"}};
    case AUTO_DETECT_INVALID: break;
  }
  return {.meaning = "`auto_detect_interface` is neither `true` nor `false`.",
          .usualCause = "A string such as `\"true\"`, or a number.",
          .whatToDo = "Write the value as a boolean, without quotation marks.",
          .smallestInput = {.config = R"({"route": {"auto_detect_interface": "true"}})"}};
}

Explanation explanationOf(EgressSelectionPolicy policy) {
  using enum EgressSelectionPolicy;
  switch (policy) {
    case singbox_auto_detect:
      return {
          .meaning = "The engine selects the interface itself, so only its sockets show which one.",
          .usualCause = "`auto_detect_interface` is `true`.",
          .whatToDo = "Nothing. `selectionStatus` contains the result.",
          .smallestInput = {.config = R"({"route": {"auto_detect_interface": true}})"}};
    case os_routed:
      return {.meaning =
                  "The engine leaves the choice to the operating system's routing, which the "
                  "diagnosis does not predict. The endpoint is still resolved, but "
                  "`activeEndpointStatus` does not affect the result.",
              .usualCause = "`auto_detect_interface` is `false`.",
              .whatToDo =
                  "Query the operating system's routing. On Linux, `ip route get ADDRESS` shows "
                  "the route of ordinary traffic. If the engine's traffic is marked or has its "
                  "own routing rules, add `mark`, `uid` or `from`.",
              .smallestInput = {.config = R"({"route": {"auto_detect_interface": false}})"}};
    case unknown: break;
  }
  return {.meaning = "The configuration is not usable, so the policy is unknown.",
          .usualCause = "`configStatus` is not `OK`.",
          .whatToDo = "Fix the problem that `configStatus` reports.",
          .smallestInput = {.config = R"({})"}};
}

}  // namespace egress::snapshot
