// The self-check is shown to fail: built against a core that is wrong in one way at a time, it must
// end with status 1 and print exactly the lines that this fault brings.

#include <array>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/run_program.h"

namespace egress::test {
namespace {

ProgramResult runFaulty(std::string_view fault) {
  return runProgram("EGRESS_TEST_FAULT='" + std::string(fault) + "' '" EGRESS_FAULTY_PROGRAM "'");
}

// Every check of the catalogue that compares a word of a report, in running order.
struct WordCheck {
  std::string label;
  std::string key;
  std::string expected;
};

const std::vector<WordCheck>& wordChecks() {
  static const std::vector<WordCheck> checks = {
      {"config/ok status", "configStatus", "OK"},
      {"config/no-config configStatus", "configStatus", "NO_CONFIG"},
      {"config/no-config policy", "egressSelectionPolicy", "unknown"},
      {"config/no-config endpoint", "activeEndpointStatus", "NOT_EVALUATED_CONFIG_UNAVAILABLE"},
      {"config/parse-failed configStatus", "configStatus", "JSON_PARSE_FAILED"},
      {"config/parse-failed policy", "egressSelectionPolicy", "unknown"},
      {"config/parse-failed endpoint", "activeEndpointStatus", "NOT_EVALUATED_CONFIG_UNAVAILABLE"},
      {"config/auto-detect-missing configStatus", "configStatus", "AUTO_DETECT_MISSING"},
      {"config/auto-detect-missing policy", "egressSelectionPolicy", "unknown"},
      {"config/auto-detect-missing endpoint", "activeEndpointStatus",
       "NOT_EVALUATED_CONFIG_UNAVAILABLE"},
      {"config/auto-detect-invalid configStatus", "configStatus", "AUTO_DETECT_INVALID"},
      {"config/auto-detect-invalid policy", "egressSelectionPolicy", "unknown"},
      {"config/auto-detect-invalid endpoint", "activeEndpointStatus",
       "NOT_EVALUATED_CONFIG_UNAVAILABLE"},
      {"policy/os-routed policy", "egressSelectionPolicy", "os_routed"},
      {"policy/os-routed selectionStatus", "selectionStatus", "NOT_APPLICABLE_OS_ROUTED"},
      {"selector/none endpoint", "activeEndpointStatus", "OK"},
      {"selector/unified endpoint", "activeEndpointStatus", "OK"},
      {"selector/unified selectionStatus", "selectionStatus", "OK"},
      {"selector/chain endpoint", "activeEndpointStatus", "OK"},
      {"selector/stale-hint endpoint", "activeEndpointStatus", "OK"},
      {"selector/transport-failed endpoint", "activeEndpointStatus", "SELECTOR_TRANSPORT_FAILED"},
      {"selector/transport-failed selectionStatus", "selectionStatus",
       "NOT_EVALUATED_ENDPOINT_UNAVAILABLE"},
      {"selector/malformed endpoint", "activeEndpointStatus", "SELECTOR_RESPONSE_MALFORMED"},
      {"selector/malformed selectionStatus", "selectionStatus",
       "NOT_EVALUATED_ENDPOINT_UNAVAILABLE"},
      {"selector/now-missing endpoint", "activeEndpointStatus", "SELECTOR_NOW_MISSING"},
      {"selector/now-missing selectionStatus", "selectionStatus",
       "NOT_EVALUATED_ENDPOINT_UNAVAILABLE"},
      {"selector/now-empty endpoint", "activeEndpointStatus", "SELECTOR_NOW_MISSING"},
      {"selector/now-empty selectionStatus", "selectionStatus",
       "NOT_EVALUATED_ENDPOINT_UNAVAILABLE"},
      {"selector/now-unknown-tag endpoint", "activeEndpointStatus", "OUTBOUND_NOT_FOUND"},
      {"selector/now-unknown-tag selectionStatus", "selectionStatus",
       "NOT_EVALUATED_ENDPOINT_UNAVAILABLE"},
      {"selector/not-queried endpoint", "activeEndpointStatus", "SELECTOR_TRANSPORT_FAILED"},
      {"selector/cycle endpoint", "activeEndpointStatus", "SELECTOR_CYCLE"},
      {"selector/depth endpoint", "activeEndpointStatus", "SELECTOR_DEPTH_EXCEEDED"},
      {"detour/cycle endpoint", "activeEndpointStatus", "DETOUR_CYCLE"},
      {"detour/depth endpoint", "activeEndpointStatus", "DETOUR_DEPTH_EXCEEDED"},
      {"leaf/no-proxy endpoint", "activeEndpointStatus", "OUTBOUND_NOT_FOUND"},
      {"endpoint/direct", "activeEndpointStatus", "LEAF_HAS_NO_REMOTE_ENDPOINT"},
      {"endpoint/missing", "activeEndpointStatus", "ENDPOINT_MISSING"},
      {"endpoint/invalid", "activeEndpointStatus", "ENDPOINT_INVALID"},
      {"endpoint/not-numeric", "activeEndpointStatus", "ENDPOINT_NOT_NUMERIC"},
      {"endpoint/port-range", "activeEndpointStatus", "ENDPOINT_NOT_SINGLETON"},
      {"endpoint/quic", "activeEndpointStatus", "TRANSPORT_UNSUPPORTED"},
      {"endpoint/unknown-type", "activeEndpointStatus", "TRANSPORT_UNKNOWN"},
      {"endpoint/transport-ws", "activeEndpointStatus", "OK"},
      {"endpoint/transport-grpc", "activeEndpointStatus", "OK"},
      {"endpoint/transport-http", "activeEndpointStatus", "OK"},
      {"endpoint/transport-quic", "activeEndpointStatus", "TRANSPORT_UNSUPPORTED"},
      {"endpoint/transport-kcp", "activeEndpointStatus", "TRANSPORT_UNKNOWN"},
      {"endpoint/ipv6 endpoint", "activeEndpointStatus", "OK"},
      {"endpoint/ipv6 selectionStatus", "selectionStatus", "OK"},
      {"selection/ok status", "selectionStatus", "OK"},
      {"selection/socket-enum-failed status", "selectionStatus",
       "NOT_EVALUATED_SOCKET_ENUM_FAILED"},
      {"selection/socket-enum-failed socketSourcesStatus", "socketSourcesStatus",
       "SOCKET_ENUM_FAILED"},
      {"selection/adapter-enum-failed status", "selectionStatus",
       "NOT_EVALUATED_ADAPTER_ENUM_FAILED"},
      {"selection/adapter-enum-failed interfacesStatus", "interfacesStatus", "ADAPTER_ENUM_FAILED"},
      {"selection/no-match status", "selectionStatus", "NO_MATCHING_SOCKET"},
      {"selection/unmapped status", "selectionStatus", "SOCKET_SOURCE_ADDRESS_UNMAPPED"},
      {"selection/partial status", "selectionStatus", "PARTIAL_SOCKET_SOURCE_MAPPING"},
      {"selection/multiple status", "selectionStatus", "MULTIPLE_MATCHING_SOCKET_INTERFACES"},
      {"selection/ambiguous status", "selectionStatus", "ADDRESS_INTERFACE_AMBIGUOUS"},
      {"routes/status v6", "interfaceOrdinalStatus", "OK"},
      {"routes/status ok", "defaultRoutesStatus", "OK"},
      {"routes/enum-failed status", "defaultRoutesStatus", "ROUTE_ENUM_FAILED"},
      {"routes/snapshot-inconsistent status", "defaultRoutesStatus", "SNAPSHOT_INCONSISTENT"},
      {"routes/snapshot-inconsistent row status", "interfaceOrdinalStatus",
       "ROUTE_INTERFACE_UNMAPPED"},
  };
  return checks;
}

// An exported key of a report, what a faulty core writes in its place, and the words that it should
// have held, in byte order.
struct KeyFault {
  std::string key;
  std::string exportedKey;
  std::string foreignWord;
  std::vector<std::string> sortedWords;
};

const std::vector<KeyFault>& keyFaults() {
  static const std::vector<KeyFault> faults = {
      {.key = "configStatus",
       .exportedKey = "configStatus",
       .foreignWord = "os_routed",
       .sortedWords = {"AUTO_DETECT_INVALID", "AUTO_DETECT_MISSING", "JSON_PARSE_FAILED",
                       "NO_CONFIG", "OK"}},
      {.key = "egressSelectionPolicy",
       .exportedKey = "egressSelectionPolicy",
       .foreignWord = "OK",
       .sortedWords = {"os_routed", "singbox_auto_detect", "unknown"}},
      {.key = "activeEndpointStatus",
       .exportedKey = "activeEndpointStatus",
       .foreignWord = "NO_MATCHING_SOCKET",
       .sortedWords = {"DETOUR_CYCLE", "DETOUR_DEPTH_EXCEEDED", "ENDPOINT_INVALID",
                       "ENDPOINT_MISSING", "ENDPOINT_NOT_NUMERIC", "ENDPOINT_NOT_SINGLETON",
                       "LEAF_HAS_NO_REMOTE_ENDPOINT", "NOT_EVALUATED_CONFIG_UNAVAILABLE", "OK",
                       "OUTBOUND_NOT_FOUND", "SELECTOR_CYCLE", "SELECTOR_DEPTH_EXCEEDED",
                       "SELECTOR_NOW_MISSING", "SELECTOR_RESPONSE_MALFORMED",
                       "SELECTOR_TRANSPORT_FAILED", "TRANSPORT_UNKNOWN", "TRANSPORT_UNSUPPORTED"}},
      {.key = "selectionStatus",
       .exportedKey = "selectionStatus",
       .foreignWord = "NO_CONFIG",
       .sortedWords = {"ADDRESS_INTERFACE_AMBIGUOUS", "MULTIPLE_MATCHING_SOCKET_INTERFACES",
                       "NOT_APPLICABLE_OS_ROUTED", "NOT_EVALUATED_ADAPTER_ENUM_FAILED",
                       "NOT_EVALUATED_ENDPOINT_UNAVAILABLE", "NOT_EVALUATED_SOCKET_ENUM_FAILED",
                       "NO_MATCHING_SOCKET", "OK", "PARTIAL_SOCKET_SOURCE_MAPPING",
                       "SOCKET_SOURCE_ADDRESS_UNMAPPED"}},
      {.key = "interfacesStatus",
       .exportedKey = "interfacesStatus",
       .foreignWord = "ROUTE_ENUM_FAILED",
       .sortedWords = {"ADAPTER_ENUM_FAILED", "OK"}},
      {.key = "defaultRoutesStatus",
       .exportedKey = "defaultRoutesStatus",
       .foreignWord = "SOCKET_ENUM_FAILED",
       .sortedWords = {"OK", "ROUTE_ENUM_FAILED", "SNAPSHOT_INCONSISTENT"}},
      {.key = "socketSourcesStatus",
       .exportedKey = "socketSourcesStatus",
       .foreignWord = "ADAPTER_ENUM_FAILED",
       .sortedWords = {"OK", "SOCKET_ENUM_FAILED"}},
      {.key = "interfaceOrdinalStatus",
       .exportedKey = "defaultRoutes[].interfaceOrdinalStatus",
       .foreignWord = "unknown",
       .sortedWords = {"OK", "ROUTE_INTERFACE_UNMAPPED"}},
  };
  return faults;
}

// What is printed when every report holds `got` under one key: each check of the key fails, none of
// the key's words is exercised, and `got` is produced in their place.
std::string outputWhenAlways(const KeyFault& fault, const std::string& got) {
  std::ostringstream lines;
  std::size_t failures = 0;
  for (const WordCheck& check : wordChecks()) {
    if (check.key != fault.key) continue;
    lines << "FAIL " << check.label << ": expected '" << check.expected << "', got '" << got
          << "'\n";
    ++failures;
  }
  const std::string totality = "FAIL totality/" + fault.exportedKey + ": ";
  for (const std::string& word : fault.sortedWords) {
    lines << totality << "declared value never exercised: " << word << "\n";
    ++failures;
  }
  lines << totality << "undeclared value produced: " << got << "\n";
  ++failures;
  lines << "FAILED: 121 checks, " << failures << " failures\n";
  return lines.str();
}

struct Fault {
  std::string_view name;
  std::string_view output;
};

constexpr auto kFaults = std::to_array<Fault>({
    {.name = "free text at the top",
     .output =
         R"(FAIL selection/adapter-enum-failed: undeclared exported string 'eth0 failed' at key interfacesStatus
FAIL selection/adapter-enum-failed interfacesStatus: expected 'ADAPTER_ENUM_FAILED', got 'eth0 failed'
FAIL totality/interfacesStatus: declared value never exercised: ADAPTER_ENUM_FAILED
FAIL totality/interfacesStatus: undeclared value produced: eth0 failed
FAILED: 121 checks, 4 failures
)"},
    {.name = "free text in a row",  // in "endpoint/ipv6" no adapter has the second route's index
     .output =
         R"(FAIL endpoint/ipv6: undeclared exported string 'interface 99' in row key interfaceOrdinalStatus
FAIL selection/adapter-enum-failed: undeclared exported string 'interface 99' in row key interfaceOrdinalStatus
FAIL selection/adapter-enum-failed: undeclared exported string 'interface 99' in row key interfaceOrdinalStatus
FAIL routes/snapshot-inconsistent: undeclared exported string 'interface 99' in row key interfaceOrdinalStatus
FAIL routes/snapshot-inconsistent row status: expected 'ROUTE_INTERFACE_UNMAPPED', got 'interface 99'
FAIL totality/defaultRoutes[].interfaceOrdinalStatus: declared value never exercised: ROUTE_INTERFACE_UNMAPPED
FAIL totality/defaultRoutes[].interfaceOrdinalStatus: undeclared value produced: interface 99
FAILED: 121 checks, 7 failures
)"},
    {.name = "ordinals from 0", .output = R"(FAIL endpoint/ipv6 ordinal: condition is false
FAIL selection/ok ordinal: condition is false
FAIL interfaces/ordinal 1: condition is false
FAIL interfaces/ordinal 2: condition is false
FAIL routes/ordinal v4: condition is false
FAILED: 121 checks, 5 failures
)"},
    {.name = "row integers raised", .output = R"(FAIL interfaces/ordinal 1: condition is false
FAIL interfaces/metric 1: condition is false
FAIL interfaces/operStatus 1: condition is false
FAIL interfaces/ordinal 2: condition is false
FAIL interfaces/metric 2: condition is false
FAIL routes/family v4: condition is false
FAIL routes/ordinal v4: condition is false
FAIL routes/metric v4: condition is false
FAILED: 121 checks, 8 failures
)"},
    {.name = "interfaces unsorted", .output = R"(FAIL interfaces/ordinal 1: condition is false
FAIL interfaces/metric 1: condition is false
FAIL interfaces/ordinal 2: condition is false
FAIL interfaces/metric 2: condition is false
FAILED: 121 checks, 4 failures
)"},
    {.name = "last rows lost",  // checks of single rows are not made where one is missing
     .output = R"(FAIL policy/os-routed observedSocketSources present: condition is false
FAIL selection/ok observedSocketSources counts both adapters: condition is false
FAIL selection/adapter-enum-failed routes kept: condition is false
FAIL interfaces/ordinals count: condition is false
FAIL routes/count: condition is false
FAIL routes/snapshot-inconsistent count: condition is false
FAILED: 111 checks, 6 failures
)"},
    {.name = "hint inverted", .output = R"(FAIL selector/none hint fresh: condition is false
FAIL selector/unified hint fresh: condition is false
FAIL selector/chain hint fresh: condition is false
FAIL selector/stale-hint selectorHintStale true: condition is false
FAILED: 121 checks, 4 failures
)"},
    {.name = "flag always there",
     .output = R"(FAIL config/ok autoDetectInterfaceEnabled true: condition is false
FAIL config/no-config autoDetectInterfaceEnabled omitted: condition is false
FAIL config/parse-failed autoDetectInterfaceEnabled omitted: condition is false
FAIL config/auto-detect-missing autoDetectInterfaceEnabled omitted: condition is false
FAIL config/auto-detect-invalid autoDetectInterfaceEnabled omitted: condition is false
FAILED: 121 checks, 5 failures
)"},
    {.name = "only words",  // checks of single rows are not made where the rows are missing
     .output = R"(FAIL config/ok autoDetectInterfaceEnabled true: condition is false
FAIL policy/os-routed ordinal null: condition is false
FAIL policy/os-routed observedSocketSources present: condition is false
FAIL selector/none hint fresh: condition is false
FAIL selector/unified hint fresh: condition is false
FAIL selector/chain hint fresh: condition is false
FAIL selector/stale-hint selectorHintStale true: condition is false
FAIL endpoint/ipv6 ordinal: condition is false
FAIL selection/ok ordinal: condition is false
FAIL selection/ok observedSocketSources counts both adapters: condition is false
FAIL selection/adapter-enum-failed interfaces empty: condition is false
FAIL selection/adapter-enum-failed routes kept: condition is false
FAIL selection/partial ordinal null: condition is false
FAIL interfaces/ordinals count: condition is false
FAIL routes/count: condition is false
FAIL routes/enum-failed rows empty: condition is false
FAIL routes/snapshot-inconsistent count: condition is false
FAIL totality/defaultRoutes[].interfaceOrdinalStatus: declared value never exercised: OK
FAIL totality/defaultRoutes[].interfaceOrdinalStatus: declared value never exercised: ROUTE_INTERFACE_UNMAPPED
FAILED: 111 checks, 19 failures
)"},
    {.name = "ambiguity rule dropped",
     .output =
         R"(FAIL selection/ambiguous status: expected 'ADDRESS_INTERFACE_AMBIGUOUS', got 'SOCKET_SOURCE_ADDRESS_UNMAPPED'
FAIL totality/selectionStatus: declared value never exercised: ADDRESS_INTERFACE_AMBIGUOUS
FAILED: 121 checks, 2 failures
)"},
    {.name = "partial rule dropped",
     .output = R"(FAIL selection/partial status: expected 'PARTIAL_SOCKET_SOURCE_MAPPING', got 'OK'
FAIL selection/partial ordinal null: condition is false
FAIL totality/selectionStatus: declared value never exercised: PARTIAL_SOCKET_SOURCE_MAPPING
FAILED: 121 checks, 3 failures
)"},
    {.name = "endpoint port rule dropped",
     .output = R"(FAIL endpoint/invalid: expected 'ENDPOINT_INVALID', got 'ENDPOINT_NOT_SINGLETON'
FAIL totality/activeEndpointStatus: declared value never exercised: ENDPOINT_INVALID
FAILED: 121 checks, 2 failures
)"},
    {.name = "walk ends one follow early",
     .output = R"(FAIL selector/unified endpoint: expected 'OK', got 'ENDPOINT_MISSING'
FAIL selector/unified selectionStatus: expected 'OK', got 'NOT_EVALUATED_ENDPOINT_UNAVAILABLE'
FAIL selector/chain endpoint: expected 'OK', got 'ENDPOINT_MISSING'
FAIL selector/stale-hint endpoint: expected 'OK', got 'ENDPOINT_MISSING'
FAILED: 121 checks, 4 failures
)"},
    {.name = "every port accepted", .output = R"(FAIL parse/bad-port malformed: condition is false
FAILED: 121 checks, 1 failures
)"},
    {.name = "no port range seen", .output = R"(FAIL parse/hopping port range: condition is false
FAILED: 121 checks, 1 failures
)"},
    {.name = "no outbounds read",  // checks of a single outbound are not made where it is missing
     .output = R"(FAIL parse/ok outbound count: condition is false
FAIL parse/hopping port range: condition is false
FAIL parse/transport count: condition is false
FAIL parse/bad-port malformed: condition is false
FAILED: 116 checks, 4 failures
)"},
    {.name = "configuration misread", .output = R"(FAIL parse/ok status: condition is false
FAIL parse/ok auto_detect true: condition is false
FAIL parse/ok tag: expected 'proxy', got 'proxy?'
FAIL parse/ok server: expected '198.51.100.10', got '198.51.100.10?'
FAIL parse/ok port: condition is false
FAIL config/ok status: expected 'OK', got 'JSON_PARSE_FAILED'
FAIL config/ok autoDetectInterfaceEnabled true: condition is false
FAIL config/no-config configStatus: expected 'NO_CONFIG', got 'JSON_PARSE_FAILED'
FAIL config/parse-failed configStatus: expected 'JSON_PARSE_FAILED', got 'NO_CONFIG'
FAIL config/auto-detect-missing configStatus: expected 'AUTO_DETECT_MISSING', got 'JSON_PARSE_FAILED'
FAIL config/auto-detect-invalid configStatus: expected 'AUTO_DETECT_INVALID', got 'JSON_PARSE_FAILED'
FAIL parse/hopping status: condition is false
FAIL parse/hopping port range: condition is false
FAIL parse/transport status: condition is false
FAIL parse/transport auto_detect false: condition is false
FAIL parse/transport type: expected 'ws', got 'ws?'
FAIL parse/transport detour: expected 'front', got 'front?'
FAIL parse/bad-port malformed: condition is false
FAIL totality/configStatus: declared value never exercised: AUTO_DETECT_INVALID
FAIL totality/configStatus: declared value never exercised: AUTO_DETECT_MISSING
FAILED: 121 checks, 20 failures
)"},
    {.name = "answers misread", .output = R"(FAIL response/ok: condition is false
FAIL response/ok now: expected 'node_3', got 'proxy'
FAIL response/malformed: condition is false
FAIL response/now-missing: condition is false
FAIL response/now-wrong-type: condition is false
FAILED: 121 checks, 5 failures
)"},
});

TEST(FaultyCore, WithoutAFaultEverythingPasses) {
  const ProgramResult result = runFaulty("");
  EXPECT_EQ(result.output, "PASS: 121 checks, 0 failures\n");
  EXPECT_EQ(result.status, 0);
}

TEST(FaultyCore, AnAbsentStatusFailsItsChecksAndItsTotality) {
  for (const KeyFault& fault : keyFaults()) {
    SCOPED_TRACE(fault.key);
    const ProgramResult result = runFaulty("absent " + fault.key);
    EXPECT_EQ(result.output, outputWhenAlways(fault, "<missing>"));
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.status, 1);
  }
}

TEST(FaultyCore, AWordOfAnotherKeyFailsItsChecksAndItsTotality) {
  for (const KeyFault& fault : keyFaults()) {
    SCOPED_TRACE(fault.key);
    const ProgramResult result = runFaulty("foreign " + fault.key + "=" + fault.foreignWord);
    EXPECT_EQ(result.output, outputWhenAlways(fault, fault.foreignWord));
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.status, 1);
  }
}

TEST(FaultyCore, EveryOtherFaultPrintsExactlyItsLines) {
  for (const Fault& fault : kFaults) {
    SCOPED_TRACE(fault.name);
    const ProgramResult result = runFaulty(fault.name);
    EXPECT_EQ(result.output, fault.output);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.status, 1);
  }
}

// The audit alone: every check of a scenario passes.
TEST(FaultyCore, AnAuditFailureAloneFailsTheRun) {
  const ProgramResult unexercised = runFaulty("policy word lost");
  EXPECT_EQ(unexercised.output,
            "FAIL totality/egressSelectionPolicy: declared value never exercised: "
            "singbox_auto_detect\n"
            "FAILED: 121 checks, 1 failures\n");
  EXPECT_EQ(unexercised.status, 1);
  const ProgramResult undeclared = runFaulty("free text under a key of its own");
  EXPECT_EQ(undeclared.output,
            "FAIL selection/adapter-enum-failed: undeclared exported string 'eth0 failed' at key "
            "note\n"
            "FAILED: 121 checks, 1 failures\n");
  EXPECT_EQ(undeclared.status, 1);
}

// What the catalogue cannot see, because no scenario has a socket to another port of the endpoint
// or a way of exactly eight follows. The unit tests of the core hold both.
TEST(FaultyCore, TheCatalogueDoesNotSeeTheSocketPortNorTheExactFollowLimit) {
  for (const std::string_view fault : {"socket port ignored", "follow limit 7"}) {
    SCOPED_TRACE(fault);
    EXPECT_EQ(runFaulty(fault).output, "PASS: 121 checks, 0 failures\n");
  }
}

// The label of a failure line; nothing for any other line.
std::string labelOf(const std::string& line) {
  const std::string start = "FAIL ";
  if (!line.starts_with(start)) return "";
  return line.substr(start.size(), line.find(": ") - start.size());
}

TEST(FaultyCore, TheFaultsTogetherFailEachOfTheHundredAndThirteenScenarioChecks) {
  std::set<std::string> labels;
  const auto collect = [&labels](const std::string& fault) {
    std::istringstream output(runFaulty(fault).output);
    for (std::string line; std::getline(output, line);) {
      // Totality lines and those of the string audit belong to no check of a scenario.
      const bool isAudit = line.find(": undeclared exported string") != std::string::npos;
      if (!isAudit && !line.starts_with("FAIL totality/")) labels.insert(labelOf(line));
    }
  };
  for (const KeyFault& fault : keyFaults()) collect("absent " + fault.key);
  for (const Fault& fault : kFaults) collect(std::string(fault.name));
  labels.erase("");  // of the summary lines
  EXPECT_EQ(labels.size(), 113U);
}

}  // namespace
}  // namespace egress::test
