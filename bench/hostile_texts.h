#ifndef EGRESS_BENCH_HOSTILE_TEXTS_H
#define EGRESS_BENCH_HOSTILE_TEXTS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace egress::bench {

enum class Reader : std::uint8_t { Snapshot, Config, Answer };

// A text that takes much time or memory for its size. It repeats `unit`, in which # is the number
// of the repetition.
struct HostileText {
  std::string_view name;  // the reader, and what the text repeats
  Reader reader = Reader::Snapshot;
  std::string_view start;
  std::string_view unit;
  std::string_view end;
  bool accepted = true;  // whether the reader accepts it
};

[[nodiscard]] std::span<const HostileText> hostileTexts();

[[nodiscard]] std::string makeText(const HostileText& hostile, std::size_t repetitions);

// Returns whether the text was accepted.
[[nodiscard]] bool readText(Reader reader, const std::string& text);

}  // namespace egress::bench

#endif
