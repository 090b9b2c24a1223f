// Fault injection: the self-check, built against a core with one fault at a time, must exit with
// status 1 and report the failing checks.

#include <cstdio>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/selfcheck/totality_audit.h"
#include "tests/support/joined.h"
#include "tests/support/run_program.h"

namespace egress::test {
namespace {

ProgramResult runFaulty(std::string_view fault) {
  return runProgram(joined({"EGRESS_TEST_FAULT='", fault, "' '" EGRESS_FAULTY_PROGRAM "'"}));
}

// A fault of the core and the expected failures in order: labels of checks, or the scenario label
// and the reason for a failure of the string audit, which is not a check.
struct Fault {
  std::string name;
  std::vector<std::string> failures = {};
  int skippedChecks = 0;  // checks of rows and outbounds that are missing
};

// A status that the faulty core omits, or always replaces by a word of another status, and the
// checks of this status.
struct StatusFault {
  std::string_view key;
  std::string_view rowsOf = {};  // prefix of the key in the label of the totality check
  std::string_view otherWord;
  std::size_t words = 0;  // declared
  std::vector<std::string> checks;
};

std::vector<StatusFault> statusFaults() {
  return {
      {.key = "configStatus",
       .otherWord = "os_routed",
       .words = 5,
       .checks = {"config/ok status", "config/no-config configStatus",
                  "config/parse-failed configStatus", "config/auto-detect-missing configStatus",
                  "config/auto-detect-invalid configStatus"}},
      {.key = "egressSelectionPolicy",
       .otherWord = "OK",
       .words = 3,
       .checks = {"config/no-config policy", "config/parse-failed policy",
                  "config/auto-detect-missing policy", "config/auto-detect-invalid policy",
                  "policy/os-routed policy"}},
      {.key = "activeEndpointStatus",
       .otherWord = "NO_MATCHING_SOCKET",
       .words = 17,
       .checks =
           {// Without a configuration.
            "config/no-config endpoint", "config/parse-failed endpoint",
            "config/auto-detect-missing endpoint", "config/auto-detect-invalid endpoint",
            // The walk to the leaf.
            "selector/none endpoint", "selector/unified endpoint", "selector/chain endpoint",
            "selector/stale-hint endpoint", "selector/transport-failed endpoint",
            "selector/malformed endpoint", "selector/now-missing endpoint",
            "selector/now-empty endpoint", "selector/now-unknown-tag endpoint",
            "selector/not-queried endpoint", "selector/cycle endpoint", "selector/depth endpoint",
            "detour/cycle endpoint", "detour/depth endpoint", "leaf/no-proxy endpoint",
            // The leaf.
            "endpoint/direct", "endpoint/missing", "endpoint/invalid", "endpoint/not-numeric",
            "endpoint/port-range", "endpoint/quic", "endpoint/unknown-type",
            "endpoint/transport-ws", "endpoint/transport-grpc", "endpoint/transport-http",
            "endpoint/transport-quic", "endpoint/transport-kcp", "endpoint/ipv6 endpoint"}},
      {.key = "selectionStatus",
       .otherWord = "NO_CONFIG",
       .words = 10,
       .checks = {"policy/os-routed selectionStatus", "selector/unified selectionStatus",
                  "selector/transport-failed selectionStatus", "selector/malformed selectionStatus",
                  "selector/now-missing selectionStatus", "selector/now-empty selectionStatus",
                  "selector/now-unknown-tag selectionStatus", "endpoint/ipv6 selectionStatus",
                  "selection/ok status", "selection/socket-enum-failed status",
                  "selection/adapter-enum-failed status", "selection/no-match status",
                  "selection/unmapped status", "selection/partial status",
                  "selection/multiple status", "selection/ambiguous status"}},
      {.key = "interfacesStatus",
       .otherWord = "ROUTE_ENUM_FAILED",
       .words = 2,
       .checks = {"selection/adapter-enum-failed interfacesStatus"}},
      {.key = "defaultRoutesStatus",
       .otherWord = "SOCKET_ENUM_FAILED",
       .words = 3,
       .checks = {"routes/status ok", "routes/enum-failed status",
                  "routes/snapshot-inconsistent status"}},
      {.key = "socketSourcesStatus",
       .otherWord = "ADAPTER_ENUM_FAILED",
       .words = 2,
       .checks = {"selection/socket-enum-failed socketSourcesStatus"}},
      {.key = "interfaceOrdinalStatus",
       .rowsOf = "defaultRoutes[].",
       .otherWord = "unknown",
       .words = 2,
       .checks = {"routes/status v6", "routes/snapshot-inconsistent row status"}},
  };
}

std::vector<Fault> otherFaults() {
  return {
      {.name = "free text in a member",
       .failures = {"selection/adapter-enum-failed: undeclared exported string",
                    "selection/adapter-enum-failed interfacesStatus", "totality/interfacesStatus",
                    "totality/interfacesStatus"}},
      {.name = "free text in a row",
       .failures = {"endpoint/ipv6: undeclared exported string",
                    "selection/adapter-enum-failed: undeclared exported string",
                    "selection/adapter-enum-failed: undeclared exported string",
                    "routes/snapshot-inconsistent: undeclared exported string",
                    "routes/snapshot-inconsistent row status",
                    "totality/defaultRoutes[].interfaceOrdinalStatus",
                    "totality/defaultRoutes[].interfaceOrdinalStatus"}},
      {.name = "ordinals from 0",
       .failures = {"endpoint/ipv6 ordinal", "selection/ok ordinal", "interfaces/ordinal 1",
                    "interfaces/ordinal 2", "routes/ordinal v4"}},
      {.name = "row integers raised",
       .failures = {"interfaces/ordinal 1", "interfaces/metric 1", "interfaces/operStatus 1",
                    "interfaces/ordinal 2", "interfaces/metric 2", "routes/family v4",
                    "routes/ordinal v4", "routes/metric v4"}},
      {.name = "interfaces unsorted",
       .failures = {"interfaces/ordinal 1", "interfaces/metric 1", "interfaces/ordinal 2",
                    "interfaces/metric 2"}},
      {.name = "last rows missing",
       .failures = {"policy/os-routed observedSocketSources present",
                    "selection/ok observedSocketSources counts both adapters",
                    "selection/adapter-enum-failed routes kept", "interfaces/ordinals count",
                    "routes/count", "routes/snapshot-inconsistent count"},
       .skippedChecks = 10},
      {.name = "hint inverted",
       .failures = {"selector/none hint fresh", "selector/unified hint fresh",
                    "selector/chain hint fresh", "selector/stale-hint selectorHintStale true"}},
      {.name = "flag always present",
       .failures = {"config/ok autoDetectInterfaceEnabled true",
                    "config/no-config autoDetectInterfaceEnabled omitted",
                    "config/parse-failed autoDetectInterfaceEnabled omitted",
                    "config/auto-detect-missing autoDetectInterfaceEnabled omitted",
                    "config/auto-detect-invalid autoDetectInterfaceEnabled omitted"}},
      {.name = "only words",
       .failures = {"config/ok autoDetectInterfaceEnabled true", "policy/os-routed ordinal null",
                    "policy/os-routed observedSocketSources present", "selector/none hint fresh",
                    "selector/unified hint fresh", "selector/chain hint fresh",
                    "selector/stale-hint selectorHintStale true", "endpoint/ipv6 ordinal",
                    "selection/ok ordinal",
                    "selection/ok observedSocketSources counts both adapters",
                    "selection/adapter-enum-failed interfaces empty",
                    "selection/adapter-enum-failed routes kept", "selection/partial ordinal null",
                    "interfaces/ordinals count", "routes/count", "routes/enum-failed rows empty",
                    "routes/snapshot-inconsistent count",
                    "totality/defaultRoutes[].interfaceOrdinalStatus",
                    "totality/defaultRoutes[].interfaceOrdinalStatus"},
       .skippedChecks = 10},
      {.name = "ambiguity rule dropped",
       .failures = {"selection/ambiguous status", "totality/selectionStatus"}},
      {.name = "partial rule dropped",
       .failures = {"selection/partial status", "selection/partial ordinal null",
                    "totality/selectionStatus"}},
      {.name = "endpoint port rule dropped",
       .failures = {"endpoint/invalid", "totality/activeEndpointStatus"}},
      {.name = "walk ends one step early",
       .failures = {"selector/unified endpoint", "selector/unified selectionStatus",
                    "selector/chain endpoint", "selector/stale-hint endpoint"}},
      {.name = "every port accepted", .failures = {"parse/bad-port malformed"}},
      {.name = "no port range seen", .failures = {"parse/hopping port range"}},
      {.name = "no outbounds read",
       .failures = {"parse/ok outbound count", "parse/hopping port range", "parse/transport count",
                    "parse/bad-port malformed"},
       .skippedChecks = 5},
      {.name = "configuration misread",
       .failures =
           {// A parsed outbound.
            "parse/ok status", "parse/ok auto_detect true", "parse/ok tag", "parse/ok server",
            "parse/ok port",
            // Reports of configurations.
            "config/ok status", "config/ok autoDetectInterfaceEnabled true",
            "config/no-config configStatus", "config/parse-failed configStatus",
            "config/auto-detect-missing configStatus", "config/auto-detect-invalid configStatus",
            // Other outbounds.
            "parse/hopping status", "parse/hopping port range", "parse/transport status",
            "parse/transport auto_detect false", "parse/transport type", "parse/transport detour",
            "parse/bad-port malformed", "totality/configStatus", "totality/configStatus"}},
      {.name = "answers misread",
       .failures = {"response/ok", "response/ok now", "response/malformed", "response/now-missing",
                    "response/now-wrong-type"}},
      {.name = "policy word missing", .failures = {"totality/egressSelectionPolicy"}},
      {.name = "free text in an unknown member",
       .failures = {"selection/adapter-enum-failed: undeclared exported string"}},
      // Not detected: no scenario has a socket to another port of the endpoint, or a walk of
      // exactly eight steps. The unit tests of the core have both.
      {.name = "socket port ignored"},
      {.name = "step limit 7"},
  };
}

std::vector<Fault> allFaults() {
  std::vector<Fault> faults = otherFaults();
  for (const StatusFault& status : statusFaults()) {
    // The totality check reports every declared word as missing, and one undeclared word.
    std::vector<std::string> failures = status.checks;
    failures.insert(failures.end(), status.words + 1,
                    joined({"totality/", status.rowsOf, status.key}));
    faults.push_back({.name = joined({"absent ", status.key}), .failures = failures});
    faults.push_back(
        {.name = joined({"replaced ", status.key, "=", status.otherWord}), .failures = failures});
  }
  return faults;
}

constexpr std::string_view kStringAudit = ": undeclared exported string";

// The label of a line "FAIL label: message"; any other line unchanged.
std::string failureOf(const std::string& line) {
  const std::size_t colon = line.find(": ");
  if (!line.starts_with("FAIL ") || colon == std::string::npos) return line;
  const bool isStringAudit = line.compare(colon, kStringAudit.size(), kStringAudit) == 0;
  return line.substr(5, colon - 5 + (isStringAudit ? kStringAudit.size() : 0));
}

struct Outcome {
  std::vector<std::string> failures;
  std::string summary;  // the last line
};

Outcome outcomeOf(const std::string& output) {
  Outcome outcome;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) outcome.failures.push_back(failureOf(line));
  if (outcome.failures.empty()) return outcome;
  outcome.summary = outcome.failures.back();
  outcome.failures.pop_back();
  return outcome;
}

std::string summaryOf(int checks, std::size_t failures) {
  return joined({failures == 0 ? "PASS: " : "FAILED: ", std::to_string(checks), " checks, ",
                 std::to_string(failures), " failures"});
}

// The number of checks that the self-check reports for a correct core.
int countChecks() {
  int checks = 0;
  const ProgramResult result = runFaulty("");
  EXPECT_EQ(std::sscanf(result.output.c_str(), "PASS: %d checks", &checks), 1) << result.output;
  EXPECT_EQ(result.status, 0);
  return checks;
}

TEST(FaultyCore, EachFaultFailsItsChecks) {
  const int checks = countChecks();
  for (const Fault& fault : allFaults()) {
    SCOPED_TRACE(fault.name);
    const ProgramResult result = runFaulty(fault.name);
    const Outcome outcome = outcomeOf(result.output);
    EXPECT_THAT(outcome.failures, testing::ElementsAreArray(fault.failures));
    EXPECT_EQ(outcome.summary, summaryOf(checks - fault.skippedChecks, fault.failures.size()));
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.status, fault.failures.empty() ? 0 : 1);
  }
}

TEST(FaultyCore, PrintsTheFailures) {
  const std::string checks = std::to_string(countChecks());
  EXPECT_EQ(
      runFaulty("free text in a row").output,  // a route of "endpoint/ipv6" has no adapter
      joined(
          {R"(FAIL endpoint/ipv6: undeclared exported string 'interface 99' in row key interfaceOrdinalStatus
FAIL selection/adapter-enum-failed: undeclared exported string 'interface 99' in row key interfaceOrdinalStatus
FAIL selection/adapter-enum-failed: undeclared exported string 'interface 99' in row key interfaceOrdinalStatus
FAIL routes/snapshot-inconsistent: undeclared exported string 'interface 99' in row key interfaceOrdinalStatus
FAIL routes/snapshot-inconsistent row status: expected 'ROUTE_INTERFACE_UNMAPPED', got 'interface 99'
FAIL totality/defaultRoutes[].interfaceOrdinalStatus: declared value never exercised: ROUTE_INTERFACE_UNMAPPED
FAIL totality/defaultRoutes[].interfaceOrdinalStatus: undeclared value produced: interface 99
FAILED: )",
           checks, " checks, 7 failures\n"}));
  EXPECT_EQ(
      runFaulty("partial rule dropped").output,
      joined({R"(FAIL selection/partial status: expected 'PARTIAL_SOCKET_SOURCE_MAPPING', got 'OK'
FAIL selection/partial ordinal null: condition is false
FAIL totality/selectionStatus: declared value never exercised: PARTIAL_SOCKET_SOURCE_MAPPING
FAILED: )",
              checks, " checks, 3 failures\n"}));
}

TEST(FaultyCore, EveryCheckOfAScenarioFailsForSomeFault) {
  std::set<std::string> labels;
  for (const Fault& fault : allFaults()) {
    for (const std::string& failure : fault.failures) {
      const bool isAudit = failure.ends_with(kStringAudit) || failure.starts_with("totality/");
      if (!isAudit) labels.insert(failure);
    }
  }
  const std::size_t totalityChecks = exportedKeys().size();
  EXPECT_EQ(labels.size() + totalityChecks, countChecks());
}

}  // namespace
}  // namespace egress::test
