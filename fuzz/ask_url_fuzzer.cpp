// Reads any bytes as the template of a URL, a line break and a selector's tag. If engines may be
// asked there, the URL for the tag differs only where "{tag}" stands, goes to the same place, and
// has the tag as it was.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "egress_live/ask_engine.h"
#include "egress_live/curl/engine_url.h"
#include "fuzz/fuzz_target.h"

namespace egress::fuzz {
namespace {

constexpr std::size_t kMaxTagBytes = 256;  // libcurl refuses URLs of more than 8 MB

std::optional<int> hexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return std::nullopt;
}

bool isUnreserved(char letter) {
  constexpr std::string_view kUnreserved =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  return kUnreserved.find(letter) != std::string_view::npos;
}

// Removes the first byte of a percent-encoded text, and returns it decoded.
std::optional<char> takeDecoded(std::string_view& text) {
  if (text.empty()) return std::nullopt;
  const char first = text.front();
  text.remove_prefix(1);
  if (isUnreserved(first)) return first;
  if (first != '%' || text.size() < 2) return std::nullopt;
  const std::optional<int> high = hexDigit(text[0]);
  const std::optional<int> low = hexDigit(text[1]);
  text.remove_prefix(2);
  if (!high || !low) return std::nullopt;
  return static_cast<char>(static_cast<unsigned char>(*high * 16 + *low));
}

bool takeTag(std::string_view& url, std::string_view tag) {
  for (const char letter : tag) {
    if (takeDecoded(url) != letter) return false;
  }
  return true;
}

// Whether the URL is the template with the encoded tag in each place.
bool isTemplateWithTag(std::string_view url, std::string_view urlTemplate, std::string_view tag) {
  constexpr std::string_view kPlace = "{tag}";
  while (!urlTemplate.empty()) {
    if (urlTemplate.starts_with(kPlace)) {
      urlTemplate.remove_prefix(kPlace.size());
      if (!takeTag(url, tag)) return false;
      continue;
    }
    if (!url.starts_with(urlTemplate.front())) return false;
    urlTemplate.remove_prefix(1);
    url.remove_prefix(1);
  }
  return url.empty();
}

bool goesToTheSamePlace(const std::string& url, const live::EngineUrl& expected) {
  const auto read = live::readEngineUrl(url);
  const auto* const parsed = std::get_if<live::EngineUrl>(&read);
  return parsed != nullptr && parsed->scheme == expected.scheme && parsed->host == expected.host &&
         parsed->port == expected.port;
}

// Whether it listens on this host, as far as the access says.
bool isLocal(const live::EngineAccess& access) {
  return listenerOf(access).has_value();
}

}  // namespace

test::Violation check(std::string_view bytes) {
  const std::size_t lineBreak = bytes.find('\n');
  live::EngineAccess access;
  access.urlTemplate = bytes.substr(0, lineBreak);
  std::string_view tag;
  if (lineBreak != std::string_view::npos) tag = bytes.substr(lineBreak + 1, kMaxTagBytes);

  const bool isUsableHere = !problemOf(access);
  access.mayLeaveHost = true;
  const bool isUsable = !problemOf(access);
  if (isUsableHere != (isUsable && isLocal(access))) return "usable here, but not on this host";
  if (!isUsable) return {};

  const auto read = live::readEngineUrl(access.urlTemplate);
  const std::string url = live::urlFor(access.urlTemplate, tag);
  if (!isTemplateWithTag(url, access.urlTemplate, tag)) return "not the template with the tag";
  if (!goesToTheSamePlace(url, std::get<live::EngineUrl>(read))) return "goes elsewhere";
  return {};
}

}  // namespace egress::fuzz
