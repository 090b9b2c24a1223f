#include "bench/hostile_texts.h"

#include <array>
#include <variant>

#include "egress/egress.h"
#include "egress_snapshot/snapshot_json.h"

namespace egress::bench {
namespace {

constexpr std::string_view kSnapshotStart = R"({"format":"egress-snapshot","version":1,)";
constexpr std::string_view kConfigStart = R"({"route":{"auto_detect_interface":true},)";
constexpr std::string_view kAnswerStart = R"({"now":"a",)";

// Each ends with a value after the last comma of the repetitions.
constexpr auto kHostileTexts = std::to_array<HostileText>({
    // The shortest rows become the largest records.
    {.name = "snapshot-outbounds",
     .start = R"("config":{"outbounds":[)",
     .unit = "{},",
     .end = "{}]}}"},
    {.name = "snapshot-sockets", .start = R"("sockets":{"rows":[)", .unit = "{},", .end = "{}]}}"},
    {.name = "snapshot-ports",
     .start = R"("config":{"outbounds":[{"ports":[)",
     .unit = "0,",
     .end = "0]}]}}"},
    // Values that are not read.
    {.name = "snapshot-numbers", .start = R"("x":[)", .unit = "0,", .end = "0]}"},
    {.name = "snapshot-nested", .start = R"("x":[)", .unit = "[[[[[[[[0]]]]]]]],", .end = "0]}"},
    {.name = "snapshot-members", .start = "", .unit = R"("#":0,)", .end = R"("x":0})"},
    {.name = "snapshot-escapes", .start = R"("x":")", .unit = R"(\u00e9)", .end = R"("})"},
    // The place of the fault is found by reading once more.
    {.name = "snapshot-cut",
     .start = R"("x":[)",
     .unit = R"({"":0},)",
     .end = "",
     .accepted = false},
    {.name = "config-outbounds",
     .reader = Reader::Config,
     .start = R"("outbounds":[)",
     .unit = "{},",
     .end = "{}]}"},
    {.name = "config-numbers",
     .reader = Reader::Config,
     .start = R"("x":[)",
     .unit = "0,",
     .end = "0]}"},
    {.name = "config-nested",
     .reader = Reader::Config,
     .start = R"("x":[)",
     .unit = "[0],",
     .end = "0]}"},
    {.name = "config-members",
     .reader = Reader::Config,
     .start = "",
     .unit = R"("#":0,)",
     .end = R"("x":0})"},
    {.name = "answer-numbers",
     .reader = Reader::Answer,
     .start = R"("x":[)",
     .unit = "0,",
     .end = "0]}"},
});

std::string_view startOf(Reader reader) {
  switch (reader) {
    case Reader::Snapshot: return kSnapshotStart;
    case Reader::Config: return kConfigStart;
    case Reader::Answer: break;
  }
  return kAnswerStart;
}

}  // namespace

std::span<const HostileText> hostileTexts() {
  return kHostileTexts;
}

std::string makeText(const HostileText& hostile, std::size_t repetitions) {
  std::string text(startOf(hostile.reader));
  text += hostile.start;
  for (std::size_t i = 0; i < repetitions; ++i) {
    for (const char byte : hostile.unit) {
      if (byte == '#') {
        text += std::to_string(i);
      } else {
        text += byte;
      }
    }
  }
  text += hostile.end;
  return text;
}

bool readText(Reader reader, const std::string& text) {
  std::string now;
  switch (reader) {
    case Reader::Snapshot:
      return std::holds_alternative<snapshot::HostSnapshot>(snapshot::snapshotFromJson(text));
    case Reader::Config:
      return readProxyConfig(text, /*hasText=*/true).configStatus == ConfigStatus::OK;
    case Reader::Answer: break;
  }
  return readSelectorAnswer(text, &now) == SelectorAnswerStatus::Ok;
}

}  // namespace egress::bench
