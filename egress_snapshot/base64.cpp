#include "egress_snapshot/base64.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace egress::snapshot {
namespace {

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kPadding = '=';

}  // namespace

std::string base64Of(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (; !bytes.empty(); bytes.remove_prefix(bytes.size() < 3 ? bytes.size() : 3)) {
    std::uint32_t group = 0;  // three bytes, missing ones 0
    for (std::size_t i = 0; i < 3; ++i) {
      group = group << 8U | (i < bytes.size() ? static_cast<std::uint8_t>(bytes[i]) : 0U);
    }
    for (std::size_t i = 0; i < 4; ++i) {
      text += i <= bytes.size() ? kDigits[group >> (18 - 6 * i) & 0x3FU] : kPadding;
    }
  }
  return text;
}

std::optional<std::string> bytesOfBase64(std::string_view text) {
  const std::string_view digits = text.substr(0, text.find(kPadding));
  std::string bytes;
  bytes.reserve(digits.size() * 3 / 4);
  std::uint32_t group = 0;  // the last digits; only the lowest bits are used
  std::uint32_t bitCount = 0;
  for (const char digit : digits) {
    const std::size_t value = kDigits.find(digit);
    if (value == std::string_view::npos) return std::nullopt;
    group = group << 6U | static_cast<std::uint32_t>(value);
    bitCount += 6;
    if (bitCount < 8) continue;
    bitCount -= 8;
    bytes += static_cast<char>(group >> bitCount & 0xFFU);
  }
  // Also refuses wrong padding and leftover bits: only one text stands for some bytes.
  if (base64Of(bytes) != text) return std::nullopt;
  return bytes;
}

}  // namespace egress::snapshot
