#include "egress_snapshot/report_json.h"

#include <algorithm>
#include <optional>
#include <span>
#include <utility>
#include <variant>
#include <vector>

#include "egress/core/report_table.h"
#include "egress_snapshot/json_text.h"
#include "egress_snapshot/json_writer.h"
#include "egress_snapshot/write_record.h"

namespace egress::snapshot {
namespace {

Json toJson(const ReportScalar& scalar) {
  using enum ReportKind;
  switch (scalar.kind) {
    case Boolean: return scalar.boolValue;
    case Integer: return scalar.intValue;
    case String: return scalar.stringValue;
    case Null: break;
  }
  return nullptr;
}

void writeReportValue(JsonWriter& writer, const ReportScalar& scalar) {
  writer.scalar(toJson(scalar));
}

void writeReportValue(JsonWriter& writer, const std::vector<ReportRow>& rows) {
  writer.open('[');
  for (const ReportRow& row : rows) {
    writer.element();
    writer.open('{');
    for (const auto& [key, scalar] : row) {
      writer.member(key);
      writeReportValue(writer, scalar);
    }
    writer.close('}');
  }
  writer.close(']');
}

// Reading, by the table of the report.

Problem readWord(const Json& value, const Place& place, const WordList& words,
                 ReportScalar& result) {
  const auto* const word = value.get_ptr<const std::string*>();
  if (word == nullptr || std::ranges::find(words, *word) == words.end()) {
    return refuse(place, value, "is not a word of this member");
  }
  result = stringScalar(*word);
  return std::nullopt;
}

Problem readScalar(const Json& value, const Place& place, const ReportField& field,
                   ReportScalar& result) {
  if (value.is_null() && field.mayBeNull) return std::nullopt;  // as it is
  if (field.kind == ReportKind::String) {
    return readWord(value, place, field.declaredWords(), result);
  }
  if (field.kind == ReportKind::Boolean) {
    result = booleanScalar(false);
    return readValue(value, place, result.boolValue);
  }
  result = integerScalar(0);
  return readValue(value, place, result.intValue);
}

// The member with this key, or nullptr.
const Json* findMember(const Json& object, std::string_view key) {
  const auto member = object.find(key);
  return member == object.end() ? nullptr : &*member;
}

// Refuses a member that is not among those that were read; `key` is where these have their keys.
template <typename Read, typename Key>
Problem refuseUnknownMember(const Json& object, const Place& place, const std::vector<Read>& known,
                            Key key) {
  for (const auto& member : object.items()) {
    if (std::ranges::find(known, member.key(), key) == known.end()) {
      return refusalAt({.parent = &place, .key = member.key()}, "unknown member");
    }
  }
  return std::nullopt;
}

Problem readRow(const Json& value, const Place& place, std::span<const ReportField> columns,
                ReportRow& row) {
  if (!value.is_object()) return refuse(place, value, "is not an object");
  for (const ReportField& column : columns) {
    const Place memberPlace{.parent = &place, .key = column.key};
    const Json* const member = findMember(value, column.key);
    if (member == nullptr) return refusalAt(memberPlace, "missing");
    ReportScalar& scalar = row.emplace_back(column.key, nullScalar()).second;
    if (Problem problem = readScalar(*member, memberPlace, column, scalar)) return problem;
  }
  return refuseUnknownMember(value, place, row, &ReportRow::value_type::first);
}

Problem readRows(const Json& value, const Place& place, std::span<const ReportField> columns,
                 std::vector<ReportRow>& rows) {
  if (!value.is_array()) return refuse(place, value, "is not an array");
  for (const Json& item : value) {
    const Place rowPlace{.parent = &place, .index = rows.size()};
    if (Problem problem = readRow(item, rowPlace, columns, rows.emplace_back())) return problem;
  }
  return std::nullopt;
}

Problem readMember(const Json& value, const Place& place, const ReportMemberField& table,
                   ReportValue& result) {
  if (table.columns.empty()) {
    return readScalar(value, place, table.field, result.emplace<ReportScalar>());
  }
  return readRows(value, place, table.columns, result.emplace<std::vector<ReportRow>>());
}

Problem readReport(const Json& root, EgressReport& report) {
  const Place place;
  if (!root.is_object()) return refuse(place, root, "is not an object");
  for (const ReportMemberField& table : kReportMembers) {
    const std::string_view key = table.field.key;
    // Read before, because it is the first member.
    if (table.onlyWithConfig && root.at("configStatus") != "OK") continue;
    const Place memberPlace{.parent = &place, .key = key};
    const Json* const member = findMember(root, key);
    if (member == nullptr) return refusalAt(memberPlace, "missing");
    ReportMember& result = report.members.emplace_back();
    result.key = key;
    if (Problem problem = readMember(*member, memberPlace, table, result.value)) return problem;
  }
  return refuseUnknownMember(root, place, report.members, &ReportMember::key);
}

}  // namespace

void writeValue(JsonWriter& writer, const EgressReport& report) {
  writer.open('{');
  for (const ReportMember& member : report.members) {
    writer.member(member.key);
    std::visit([&writer](const auto& value) { writeReportValue(writer, value); }, member.value);
  }
  writer.close('}');
}

std::string reportToJson(const EgressReport& report, JsonLayout layout) {
  std::string text;
  JsonWriter writer([&text](std::string_view part) { text += part; }, layout);
  writeValue(writer, report);
  writer.finish();
  return text;
}

Result<EgressReport> reportFromJson(std::string_view text) {
  JsonTree tree;
  if (Problem problem = parseJson(text, tree)) return *std::move(problem);
  EgressReport report;
  if (Problem problem = readReport(tree.root, report)) return *std::move(problem);
  return report;
}

}  // namespace egress::snapshot
