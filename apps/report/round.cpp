#include "apps/report/round.h"

#include <array>
#include <cstdint>
#include <cstring>

#include "apps/report/notes.h"
#include "apps/report/sentence.h"
#include "egress/core/status_words.h"
#include "egress/core/write_report.h"
#include "egress_snapshot/details_json.h"
#include "egress_snapshot/json_layout.h"
#include "egress_snapshot/report_json.h"

namespace egress::report {
namespace {

using snapshot::JsonLayout;

constexpr auto kFixedTexts = std::to_array(
    {&Round::key, &Round::head, &Round::line, &Round::notes, &Round::errors, &Round::metrics});
constexpr std::size_t kLengthSize = sizeof(std::uint64_t);

void appendPart(std::string_view text, std::string& bytes) {
  std::array<char, kLengthSize> length{};
  const std::uint64_t size = text.size();
  std::memcpy(length.data(), &size, length.size());
  bytes.append(length.data(), length.size()).append(text);
}

// Moves the first part out of the bytes; returns whether there is one.
bool takePart(std::string_view& bytes, std::string& text) {
  std::uint64_t size = 0;
  if (bytes.size() < kLengthSize) return false;
  std::memcpy(&size, bytes.data(), kLengthSize);
  bytes.remove_prefix(kLengthSize);
  if (bytes.size() < size) return false;
  text = bytes.substr(0, size);
  bytes.remove_prefix(size);
  return true;
}

// The status and the cross-check's word.
std::string verdictOf(const Finding& finding) {
  const auto status = static_cast<std::size_t>(finding.check().status);
  std::string verdict = std::to_string(static_cast<int>(outcomeOf(finding))) + '\n';
  return verdict.append(snapshot::kCrossCheckStatusWords.at(status)) + '\n';
}

// What a person wants to know of: not how many sockets there are, or their ports.
std::string keyOf(const Finding& finding, const std::string& head, const std::string& sentence) {
  const Diagnosis& diagnosis = finding.diagnosis();
  std::string key = verdictOf(finding) + head + '\n';
  key.append(toString(diagnosis.endpoint.status)).append("\n");
  key.append(toString(diagnosis.selection.status)).append("\n");
  for (const std::string& tag : diagnosis.resolution.visitedTags) key.append(tag).append("\n");
  const bool hasEndpoint = diagnosis.endpoint.status == ActiveEndpointStatus::OK;
  if (hasEndpoint) key += endpointText(finding);
  // These sentences say why, and count no sockets.
  if (!hasEndpoint || outcomeOf(finding) == Outcome::CANNOT_LOOK) key += sentence;
  return key;
}

std::string linesOf(const std::vector<Note>& notes) {
  std::string lines;
  for (const Note& note : notes) lines.append(note.label).append(": ").append(note.text) += '\n';
  return lines;
}

}  // namespace

Round roundOf(const Options& options, const Finding& finding) {
  Round round;
  round.outcome = outcomeOf(finding);
  const std::string sentence = sentenceFor(finding).text;
  round.head = sentence.substr(0, sentence.find(": "));
  const auto report = [&finding] {
    return reportToJson(writeReport(finding.diagnosis()), JsonLayout::ONE_LINE);
  };
  if (options.output == Output::REPORT) {
    round.line = report();
    round.key = verdictOf(finding) + round.line;
    return round;
  }
  round.key = keyOf(finding, round.head, sentence);
  if (options.output == Output::DETAILS) {
    round.key.append("\n").append(report());
    round.line = detailsToJson(finding.snapshot, finding.addresses, JsonLayout::ONE_LINE);
    return round;
  }
  round.line = sentence.substr(round.head.size());
  round.notes = linesOf(inputNotes(finding));
  return round;
}

std::string packed(const Round& round) {
  std::string bytes(1, static_cast<char>(round.outcome));
  for (std::string Round::*const text : kFixedTexts) appendPart(round.*text, bytes);
  for (const std::string& text : round.texts) appendPart(text, bytes);
  return bytes;
}

std::optional<Round> unpacked(std::string_view bytes, std::size_t textCount) {
  Round round;
  if (bytes.empty()) return std::nullopt;
  const auto outcome = static_cast<unsigned char>(bytes.front());
  if (outcome > static_cast<unsigned char>(Outcome::CANNOT_LOOK)) return std::nullopt;
  round.outcome = static_cast<Outcome>(outcome);
  bytes.remove_prefix(1);
  round.texts.resize(textCount);
  bool isWhole = true;
  for (std::string Round::*const text : kFixedTexts)
    isWhole = isWhole && takePart(bytes, round.*text);
  for (std::string& text : round.texts) isWhole = isWhole && takePart(bytes, text);
  if (!isWhole || !bytes.empty()) return std::nullopt;
  return round;
}

}  // namespace egress::report
