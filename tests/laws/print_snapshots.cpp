// Prints generated snapshots with what the library gives for them, for programs in other languages
// that check the same on another build of the library.
//
// Usage: egress_print_snapshots COUNT SEED
//
// A line for each snapshot, with a JSON object of texts in base64: `snapshot`, which every second
// time is damaged, and `report`, `details` and `anonymous`, or instead of these `refusal`.

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "egress/core/write_report.h"
#include "egress_snapshot/anonymize.h"
#include "egress_snapshot/base64.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/report_json.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/egress_snapshot/details_text.h"
#include "tests/laws/generated_snapshot.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

using snapshot::HostSnapshot;

constexpr std::size_t kMaxBytes = 500;  // that a generated record takes

std::string randomBytes(std::mt19937_64& engine) {
  std::string bytes(engine() % (kMaxBytes + 1), '\0');
  for (char& byte : bytes) byte = static_cast<char>(engine() & 0xFF);
  return bytes;
}

// Half of the snapshots have an endpoint and sockets to it, and of each half one half is damaged.
std::string generateText(std::mt19937_64& engine, std::uint64_t round) {
  const std::string bytes = randomBytes(engine);
  Choices choices(bytes);
  HostSnapshot record = generateSnapshot(choices);
  if (round / 2 % 2 == 1) record = aimedAtEndpoint(std::move(record), choices);
  const std::string text = snapshotToJson(record);
  return round % 2 == 1 ? damaged(text, choices) : text;
}

std::string member(std::string_view name, std::string_view text) {
  return joined({"\"", name, "\": \"", snapshot::base64Of(text), "\""});
}

std::string anonymousTextOf(const HostSnapshot& record) {
  return snapshotToJson(std::get<HostSnapshot>(anonymized(record)));
}

std::string resultsOf(std::string_view text) {
  const snapshot::Result<HostSnapshot> read = snapshot::snapshotFromJson(text);
  if (const auto* const refusal = std::get_if<snapshot::Refusal>(&read)) {
    return member("refusal", toString(*refusal));
  }
  const auto& record = std::get<HostSnapshot>(read);
  return joined({member("report", snapshot::reportToJson(writeReport(diagnose(record)))), ", ",
                 member("details", detailsTextOf(record)), ", ",
                 member("anonymous", anonymousTextOf(record))});
}

std::optional<std::uint64_t> numberOf(std::string_view text) {
  std::uint64_t number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (read.ec != std::errc{} || read.ptr != text.data() + text.size()) return {};
  return number;
}

int printSnapshots(std::span<const char* const> words) {
  const auto count = words.size() == 3 ? numberOf(words[1]) : std::nullopt;
  const auto seed = words.size() == 3 ? numberOf(words[2]) : std::nullopt;
  if (!count || !seed) {
    std::cerr << "Usage: egress_print_snapshots COUNT SEED\n";
    return 2;
  }
  std::mt19937_64 engine(*seed);
  for (std::uint64_t round = 0; round < *count; ++round) {
    const std::string text = generateText(engine, round);
    std::cout << "{" << member("snapshot", text) << ", " << resultsOf(text) << "}\n";
  }
  return std::cout.flush() ? 0 : 1;
}

}  // namespace
}  // namespace egress::test

int main(int count, char** words) {
  return egress::test::printSnapshots({words, static_cast<std::size_t>(count)});
}
