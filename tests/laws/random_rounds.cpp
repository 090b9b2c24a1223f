#include "tests/laws/random_rounds.h"

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace egress::test {
namespace {

// A malformed variable fails the test; otherwise a typo would look like a long run.
std::uint64_t numberFrom(const char* variable, std::uint64_t unset) {
  const char* const set = std::getenv(variable);
  if (set == nullptr) return unset;
  const std::string_view text = set;
  std::uint64_t number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (read.ec == std::errc{} && read.ptr == text.data() + text.size() && number > 0) return number;
  ADD_FAILURE() << variable << " must be a whole number above 0, not '" << text << "'";
  return unset;
}

// The same bytes on every platform for the same seed: the standard specifies the output of
// mt19937_64, but not of the distributions.
std::string drawBytes(std::mt19937_64& engine, std::size_t maxBytes) {
  std::string bytes(engine() % (maxBytes + 1), '\0');
  std::uint64_t drawn = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i % 8 == 0) drawn = engine();
    bytes[i] = static_cast<char>((drawn >> (i % 8 * 8)) & 0xFF);
  }
  return bytes;
}

}  // namespace

void checkOnRandomBytes(std::size_t rounds, std::size_t maxBytes,
                        const std::function<Violation(std::string_view)>& law) {
  const std::uint64_t seed = numberFrom("EGRESS_LAWS_SEED", 20261121);
  rounds *= numberFrom("EGRESS_LAWS_EFFORT", 1);
  std::cout << "seed " << seed << ", " << rounds << " rounds\n";
  std::mt19937_64 engine(seed);
  for (std::size_t round = 0; round < rounds; ++round) {
    const std::string bytes = drawBytes(engine, maxBytes);
    const Violation violation = law(bytes);
    if (violation.empty()) continue;
    ADD_FAILURE() << "round " << round << ", bytes " << hexOf(bytes) << "\n" << violation;
    return;
  }
}

}  // namespace egress::test
