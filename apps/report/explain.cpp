#include "apps/report/explain.h"

#include <cstdint>
#include <map>
#include <set>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "apps/report/text.h"
#include "egress/core/write_report.h"
#include "egress_snapshot/explanations.h"

namespace egress::report {
namespace {

constexpr std::string_view kAnswerKey = "selectionStatus";

using NamesByOrdinal = std::map<std::int64_t, std::string>;

// Appends "label: sentence" without backquotes, indented and wrapped at 80 columns.
void addWrapped(std::string& text, std::string_view label, std::string_view sentence) {
  constexpr std::size_t kWidth = 80;
  std::string whole(label);
  whole.append(": ").append(sentence);
  std::erase(whole, '`');
  text += wrapped("    ", whole, kWidth);
}

void addExplanation(std::string& text, std::string_view key, std::string_view word) {
  const auto explanation = snapshot::explainWord(key, word);
  if (!explanation) return;
  addWrapped(text, "Means", explanation->meaning);
  addWrapped(text, "Usual cause", explanation->usualCause);
  addWrapped(text, "What to do", explanation->whatToDo);
}

std::string interfaceText(const ReportScalar& ordinal, const NamesByOrdinal& names) {
  if (ordinal.kind != ReportKind::Integer) return "an interface without an ordinal";
  std::string text = "interface " + std::to_string(ordinal.intValue);
  const std::string& name = names.at(ordinal.intValue);
  if (name != text) text.append(" (").append(name).append(")");  // it has a name of its own
  return text;
}

std::string valueText(const ReportScalar& value) {
  switch (value.kind) {
    case ReportKind::Boolean: return value.boolValue ? "true" : "false";
    case ReportKind::Integer: return std::to_string(value.intValue);
    case ReportKind::String: return value.stringValue;
    case ReportKind::Null: break;
  }
  return "none";
}

const ReportScalar* scalarOf(const EgressReport& report, std::string_view key) {
  const ReportMember* const member = findReportMember(report, key);
  return member == nullptr ? nullptr : std::get_if<ReportScalar>(&member->value);
}

void addAnswer(std::string& text, const EgressReport& report, const NamesByOrdinal& names) {
  const ReportScalar* const status = scalarOf(report, kAnswerKey);
  const ReportScalar* const ordinal = scalarOf(report, "selectedInterfaceOrdinal");
  if (status == nullptr || ordinal == nullptr) return;
  text.append(kAnswerKey).append(": ").append(status->stringValue);
  if (ordinal->kind == ReportKind::Integer) text += ", " + interfaceText(*ordinal, names);
  text += '\n';
  addExplanation(text, kAnswerKey, status->stringValue);
  text += '\n';
}

// "OK", "false" and numbers are not explained.
bool needsExplanation(const ReportScalar& value) {
  if (value.kind == ReportKind::String) return value.stringValue != "OK";
  return value.kind == ReportKind::Boolean && value.boolValue;
}

void addScalar(std::string& text, const std::string& key, const ReportScalar& value) {
  text.append(key).append(": ").append(valueText(value)).append("\n");
  if (needsExplanation(value)) addExplanation(text, key, valueText(value));
}

void addRow(std::string& text, const ReportRow& row, const NamesByOrdinal& names) {
  std::string separator = "    ";
  for (const auto& [key, value] : row) {
    const bool isOrdinal = key == "ordinal" || key == "interfaceOrdinal";
    text += separator;
    text += isOrdinal ? interfaceText(value, names) : key + " " + valueText(value);
    separator = ", ";
  }
  text += '\n';
}

// Explains each word other than "OK" once, after all rows.
void addRows(std::string& text, const ReportMember& member, const NamesByOrdinal& names) {
  const auto& rows = std::get<std::vector<ReportRow>>(member.value);
  text.append(member.key).append(rows.empty() ? ": none\n" : ":\n");
  std::set<std::pair<std::string, std::string>> words;
  for (const ReportRow& row : rows) {
    addRow(text, row, names);
    for (const auto& [key, value] : row) {
      if (needsExplanation(value)) words.emplace(member.key + "[]." + key, value.stringValue);
    }
  }
  for (const auto& [key, word] : words) {
    text.append("  ").append(word).append("\n");
    addExplanation(text, key, word);
  }
}

void addCrossCheck(std::string& text, snapshot::CrossCheckStatus status) {
  const std::string_view word =
      snapshot::kCrossCheckStatusWords.at(static_cast<std::size_t>(status));
  text.append("crossCheck: ").append(word).append("\n");
  addExplanation(text, "crossCheck", word);
}

NamesByOrdinal namesByOrdinal(const Finding& finding) {
  NamesByOrdinal names;
  for (const DiagnosedInterface& row : finding.diagnosis().interfaces) {
    names[row.ordinal] = finding.interfaceNames.at(row.interfaceIndex);
  }
  return names;
}

}  // namespace

std::string explain(const Finding& finding) {
  const EgressReport report = writeReport(finding.diagnosis());
  const NamesByOrdinal names = namesByOrdinal(finding);
  std::string text;
  addCrossCheck(text, finding.check().status);
  addAnswer(text, report, names);
  for (const ReportMember& member : report.members) {
    if (member.key == kAnswerKey || member.key == "selectedInterfaceOrdinal") continue;
    if (const auto* const scalar = std::get_if<ReportScalar>(&member.value)) {
      addScalar(text, member.key, *scalar);
    } else {
      addRows(text, member, names);
    }
  }
  return text;
}

}  // namespace egress::report
