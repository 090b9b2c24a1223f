#include "tests/laws/snapshot_laws.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "egress/json/json_fault.h"
#include "egress_snapshot/report_json.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/support/exact_text.h"
#include "tests/support/joined.h"
#include "tests/support/scalar_text.h"
#include "tests/support/snapshot_equality.h"

namespace egress::test {
namespace {

using snapshot::HostSnapshot;
using snapshot::Refusal;
using snapshot::Socket;
using Json = nlohmann::json;
using OrderedJson = nlohmann::ordered_json;

// The record with words outside their enumerations replaced by those that are written for them.
HostSnapshot withDeclaredWords(HostSnapshot record) {
  ConfigStatus& status = record.config.configStatus;
  status = std::min(status, ConfigStatus::AUTO_DETECT_INVALID);
  for (SelectorAnswer& answer : record.selectorAnswers) {
    if (answer.status > SelectorAnswerStatus::NowMissing) answer.status = SelectorAnswerStatus::Ok;
  }
  for (Socket& socket : record.sockets.rows) {
    socket.protocol = std::min(socket.protocol, snapshot::SocketProtocol::UDP);
    socket.state = std::min(socket.state, snapshot::SocketState::CLOSED);
  }
  for (snapshot::Adapter& row : record.adapters.rows) {
    if (row.kind) row.kind = std::min(*row.kind, snapshot::InterfaceKind::TUNNEL);
  }
  for (snapshot::MissingFact& missing : record.missingFacts) {
    missing.fact = std::min(missing.fact, snapshot::FactKind::ADDRESS);
  }
  for (snapshot::SelectorQuery& query : record.queries) {
    query.outcome = std::min(query.outcome, snapshot::QueryOutcome::FAILED);
  }
  for (snapshot::ResolvedName& row : record.resolvedNames) {
    row.source = std::min(row.source, snapshot::NameSource::SYSTEM);
  }
  return record;
}

bool isControl(char byte) {
  return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F;
}

bool isUtf8(const std::string& bytes) {
  try {
    return !Json(bytes).dump().empty();
  } catch (const Json::type_error&) {
    return false;
  }
}

// Whether JSON has a value at the place of a refusal, or a value that lacks it. A long key in the
// place is cut off, so a long place is not looked for.
bool hasPlace(const Json& root, const Refusal& refusal) {
  constexpr std::size_t kShortPlace = 40;
  if (refusal.place.size() >= kShortPlace) return true;
  const Json::json_pointer place(refusal.place);
  return root.contains(refusal.reason.starts_with("missing") ? place.parent_pointer() : place);
}

Violation checkRefusal(const Refusal& refusal, std::string_view text) {
  const std::string& reason = refusal.reason;
  const std::string shown = joined({"'", refusal.place, "': '", reason, "'"});
  if (reason.empty() || std::ranges::any_of(reason, isControl) || !isUtf8(reason)) {
    return joined({"a reason must be one line of UTF-8: ", shown});
  }
  if (!refusal.place.empty() && !refusal.place.starts_with('/')) {
    return joined({"a place must be a JSON pointer: ", shown});
  }
  const Json root = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!root.is_discarded() && !hasPlace(root, refusal)) {
    return joined({"the text has no such place: ", shown});
  }
  return {};
}

// Whether the core's reader also accepts it.
bool isJson(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  return !findJsonFault(text);
}

template <typename Value>
TextVerdict checkText(std::string_view text, snapshot::Result<Value> (*read)(std::string_view text),
                      Violation (*checkValue)(const Value& value)) {
  const ExactText exact(text);
  const snapshot::Result<Value> result = read(exact.view());
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    return {.violation = checkRefusal(*refusal, text), .accepted = false};
  }
  if (!isJson(text)) return {.violation = "accepted, but not JSON", .accepted = true};
  return {.violation = checkValue(std::get<Value>(result)), .accepted = true};
}

// Whether nlohmann/json writes the same text of the same values.
bool isIndented(const std::string& text) {
  constexpr int kIndent = 2;
  return OrderedJson::parse(text).dump(kIndent) == text;
}

// A report has only words, which need no escapes.
std::string naiveText(const EgressReport& report) {
  std::string text;
  for (const ReportMember& member : report.members) {
    text += joined({text.empty() ? "{" : ",", "\"", member.key, "\":"});
    if (const auto* const scalar = std::get_if<ReportScalar>(&member.value)) {
      text += textOf(*scalar);
      continue;
    }
    std::string rows;
    for (const ReportRow& row : std::get<std::vector<ReportRow>>(member.value)) {
      std::string columns;
      for (const auto& [key, scalar] : row) {
        columns += joined({columns.empty() ? "" : ",", "\"", key, "\":", textOf(scalar)});
      }
      rows += joined({rows.empty() ? "" : ",", "{", columns, "}"});
    }
    text += joined({"[", rows, "]"});
  }
  return text += "}";
}

}  // namespace

Violation checkSnapshotJson(const HostSnapshot& record) {
  const std::string text = snapshot::snapshotToJson(record);
  if (!Json::accept(text)) return joined({"not JSON in UTF-8:\n", text});
  if (!isIndented(text)) return joined({"not indented:\n", text});
  const auto result = snapshot::snapshotFromJson(text);
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    return joined({"refused: ", toString(*refusal), "\n", text});
  }
  const HostSnapshot expected = withDeclaredWords(record);
  const bool isSame = std::get<HostSnapshot>(result) == expected;
  return isSame ? "" : joined({"read back as another record:\n", text});
}

Violation checkSnapshotCut(const HostSnapshot& record, std::size_t length) {
  const std::string text = snapshot::snapshotToJson(record);
  length %= text.size();
  const auto result = snapshot::snapshotFromJson(ExactText(text.substr(0, length)).view());
  const auto* const refusal = std::get_if<Refusal>(&result);
  if (refusal == nullptr) return joined({"accepted after ", std::to_string(length), " bytes"});
  const std::string_view expected = length == 0 ? "the text is empty" : "cut off";
  if (refusal->reason.starts_with(expected)) return checkRefusal(*refusal, text.substr(0, length));
  return joined({"after ", std::to_string(length), " bytes: ", toString(*refusal)});
}

TextVerdict checkSnapshotText(std::string_view text) {
  return checkText(text, &snapshot::snapshotFromJson, &checkSnapshotJson);
}

Violation checkReportJson(const EgressReport& report) {
  const std::string text = snapshot::reportToJson(report);
  const OrderedJson json = OrderedJson::parse(text, nullptr, /*allow_exceptions=*/false);
  if (json != OrderedJson::parse(naiveText(report))) {
    return joined({"written as\n", text, "\nexpected\n", naiveText(report)});
  }
  if (!isIndented(text)) return joined({"not indented:\n", text});
  const auto result = snapshot::reportFromJson(text);
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    return joined({"refused: ", toString(*refusal), "\n", text});
  }
  const bool isSame = std::get<EgressReport>(result) == report;
  return isSame ? "" : joined({"read back as another report:\n", text});
}

TextVerdict checkReportText(std::string_view text) {
  return checkText(text, &snapshot::reportFromJson, &checkReportJson);
}

}  // namespace egress::test
