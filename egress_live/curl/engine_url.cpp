#include "egress_live/curl/engine_url.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <curl/curl.h>
#include <memory>
#include <new>

namespace egress::live {
namespace {

struct FreeUrl {
  void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
};
using ParsedUrl = std::unique_ptr<CURLU, FreeUrl>;

struct FreeText {
  void operator()(char* text) const noexcept { curl_free(text); }
};
using CurlText = std::unique_ptr<char, FreeText>;

// "/{tag}/.." keeps its tag. A password in the URL would end up in lists of processes.
constexpr unsigned int kParseFlags = CURLU_PATH_AS_IS | CURLU_DISALLOW_USER;

// One part, empty if the URL has none.
std::string partOf(const ParsedUrl& url, CURLUPart part) {
  char* text = nullptr;
  const CURLUcode code = curl_url_get(url.get(), part, &text, CURLU_DEFAULT_PORT);
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  const CurlText owner(text);
  return text == nullptr ? std::string() : std::string(text);
}

std::string hostOf(const ParsedUrl& url) {
  std::string host = partOf(url, CURLUPART_HOST);
  if (host.starts_with('[') && host.ends_with(']')) return host.substr(1, host.size() - 2);
  return host;
}

std::uint32_t portOf(const ParsedUrl& url) {
  const std::string text = partOf(url, CURLUPART_PORT);
  std::uint32_t port = 0;
  std::from_chars(text.data(), text.data() + text.size(), port);
  return port;
}

std::string problemOfCode(CURLUcode code) {
  switch (static_cast<int>(code)) {
    case CURLUE_USER_NOT_ALLOWED:
      return "the URL has a user or a password; send credentials in a header";
    case CURLUE_BAD_SCHEME:
    case CURLUE_BAD_SLASHES:
    case CURLUE_UNSUPPORTED_SCHEME: return "the URL must begin with http:// or https://";
    default: return std::string("the URL cannot be read: ") + curl_url_strerror(code);
  }
}

std::string percentEncoded(std::string_view text) {
  if (text.empty()) return {};  // to libcurl, 0 is an unknown length
  const CurlText encoded(curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size())));
  if (!encoded) throw std::bad_alloc();
  return encoded.get();
}

}  // namespace

std::variant<EngineUrl, std::string> readEngineUrl(const std::string& url) {
  if (url.find('\0') != std::string::npos) return "the URL has a NUL byte";
  const ParsedUrl parsed(curl_url());
  if (!parsed) throw std::bad_alloc();
  const CURLUcode code = curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), kParseFlags);
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  if (code != CURLUE_OK) return problemOfCode(code);
  const auto hasTagPlace = [&parsed](CURLUPart part) {
    return partOf(parsed, part).find(kTagPlace) != std::string::npos;
  };
  EngineUrl result{.scheme = partOf(parsed, CURLUPART_SCHEME),
                   .host = hostOf(parsed),
                   .port = portOf(parsed),
                   .hasTagPlace = hasTagPlace(CURLUPART_PATH) || hasTagPlace(CURLUPART_QUERY)};
  if (result.scheme != "http" && result.scheme != "https") {
    return problemOfCode(CURLUE_UNSUPPORTED_SCHEME);
  }
  if (result.port == 0) return "the port of the URL is 0";
  // A tag would name another zone, or none that can be read.
  if (hasTagPlace(CURLUPART_ZONEID)) return "the zone of the URL's address has a {tag}";
  return result;
}

std::string originOf(const EngineUrl& url) {
  return url.scheme + "://" + hostAndPortOf(url);
}

std::string hostAndPortOf(const EngineUrl& url) {
  const bool isIpv6 = url.host.find(':') != std::string::npos;
  return (isIpv6 ? "[" + url.host + "]" : url.host) + ":" + std::to_string(url.port);
}

std::string urlFor(std::string_view urlTemplate, std::string_view tag) {
  const std::string encoded = percentEncoded(tag);
  std::string url;
  for (;;) {
    const std::size_t place = urlTemplate.find(kTagPlace);
    url += urlTemplate.substr(0, place);
    if (place == std::string_view::npos) return url;
    url += encoded;
    urlTemplate.remove_prefix(place + kTagPlace.size());
  }
}

bool isLocalName(std::string_view host) {
  std::string name(host);
  std::ranges::transform(name, name.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  return name == "localhost" || name.ends_with(".localhost");
}

bool isLoopback(const NumericAddress& address) noexcept {
  constexpr std::array<std::uint8_t, 16> kLoopback6 = {0, 0, 0, 0, 0, 0, 0, 0,
                                                       0, 0, 0, 0, 0, 0, 0, 1};
  constexpr std::array<std::uint8_t, 13> kMappedLoopback = {0, 0, 0, 0,    0,    0,  0,
                                                            0, 0, 0, 0xFF, 0xFF, 127};
  if (!address.valid) return false;
  if (address.family == 4) return address.bytes[0] == 127;
  return address.bytes == kLoopback6 ||
         std::equal(kMappedLoopback.begin(), kMappedLoopback.end(), address.bytes.begin());
}

}  // namespace egress::live
