#include "apps/report/notes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "apps/report/text.h"
#include "egress/config/numeric_address.h"

namespace egress::report {
namespace {

using snapshot::HostSnapshot;
using snapshot::ResolvedName;

void addBlanked(const snapshot::BlankedParts& blanked, std::vector<Note>& notes) {
  std::vector<std::string> parts;
  if (blanked.byteOrderMark) parts.emplace_back("a byte-order mark");
  if (blanked.comments > 0) parts.push_back(numberOf(blanked.comments, "comment"));
  if (blanked.trailingCommas > 0)
    parts.push_back(numberOf(blanked.trailingCommas, "trailing comma"));
  if (parts.empty()) return;
  notes.push_back({"input", "ignored in the configuration: " + enumeration(parts)});
}

void addMainTag(const HostSnapshot& snapshot, std::vector<Note>& notes) {
  if (snapshot.mainTag.empty()) return;
  notes.push_back({"input", "the main outbound is " + quoted(snapshot.mainTag)});
}

void addQueries(const HostSnapshot& snapshot, std::vector<Note>& notes) {
  std::vector<std::string> tags;
  for (const snapshot::SelectorQuery& query : snapshot.queries) {
    const bool isAnswered = query.outcome == snapshot::QueryOutcome::ANSWERED;
    tags.push_back(quoted(query.selectorTag) + (isAnswered ? "" : ", in vain"));
  }
  if (!tags.empty())
    notes.push_back({"asked", "the engine for the choice of " + enumeration(tags)});
}

// The addresses that the record has for the endpoint's name.
void addName(const Finding& finding, std::vector<Note>& notes) {
  const auto leaf = finding.diagnosis().resolution.leaf;
  const std::string& address = finding.addresses.front().address;
  if (!leaf || address.empty()) return;
  const std::string& name = finding.snapshot.config.outbounds.at(*leaf).server;
  const auto& rows = finding.snapshot.resolvedNames;
  const auto isOfName = [&name](const ResolvedName& row) { return row.name == name; };
  const auto count = static_cast<std::size_t>(std::ranges::count_if(rows, isOfName));
  const auto used = std::ranges::find_if(
      rows, [&](const ResolvedName& row) { return isOfName(row) && row.address == address; });
  if (used == rows.end()) return;
  const bool isBySystem = used->source == snapshot::NameSource::SYSTEM;
  std::string text = quoted(name) + " is " + readable(address) +
                     (isBySystem ? ", as the system's resolver says" : ", as --resolve says");
  if (count > 1) text += ", one of " + std::to_string(count) + " addresses";
  notes.push_back({"name", std::move(text)});
}

void addListener(const HostSnapshot& snapshot, std::vector<Note>& notes) {
  if (snapshot.listeningAt.empty()) return;
  std::vector<std::string> ids;
  for (const snapshot::Process& process : snapshot.processes) {
    ids.push_back(std::to_string(process.id));
  }
  notes.push_back({"engine", (ids.size() == 1 ? "process " : "processes ") + enumeration(ids) +
                                 ", listening at " + readable(snapshot.listeningAt)});
}

}  // namespace

std::vector<Note> inputNotes(const Finding& finding) {
  std::vector<Note> notes;
  addListener(finding.snapshot, notes);
  addBlanked(finding.snapshot.blanked, notes);
  addMainTag(finding.snapshot, notes);
  addQueries(finding.snapshot, notes);
  addName(finding, notes);
  return notes;
}

}  // namespace egress::report
