#include "examples/linux-host/anonymize.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "egress/config/classify_endpoint.h"
#include "egress/config/numeric_address.h"
#include "egress/config/resolve_active_outbound.h"
#include "egress/core/diagnose_egress.h"
#include "examples/linux-host/errors.h"

namespace linux_host {
namespace {

// New names for old ones, by the order in which they are asked for.
template <typename Old>
class Numbering {
 public:
  std::size_t numberOf(const Old& old) {
    return numbers_.try_emplace(old, numbers_.size()).first->second;
  }

 private:
  std::map<Old, std::size_t> numbers_;
};

using AddressBytes = std::array<std::uint8_t, 16>;

// The documentation prefixes of RFC 5737, each of 256 addresses.
constexpr std::array<std::string_view, 3> kIpv4Prefixes = {"192.0.2.", "198.51.100.", "203.0.113."};
constexpr std::size_t kIpv4Count = kIpv4Prefixes.size() * 256;

std::string documentationIpv4(std::size_t number) {
  const std::size_t place = std::min(number, kIpv4Count - 1);
  return std::string(kIpv4Prefixes.at(place / 256)) + std::to_string(place % 256);
}

std::string hexText(std::size_t number) {
  std::array<char, 16> digits{};
  return {digits.data(), std::to_chars(digits.begin(), digits.end(), number, 16).ptr};
}

// Of the prefix of RFC 3849, in its last two groups.
std::string documentationIpv6(std::size_t number) {
  return "2001:db8::" + hexText(number >> 16U & 0xFFFFU) + ':' + hexText(number & 0xFFFFU);
}

class Names {
 public:
  std::string address(const std::string& text) {
    const egress::NumericAddress parsed = egress::parseNumericAddress(text);
    if (!parsed.valid) {
      return text.empty() ? text : "host-" + std::to_string(hosts_.numberOf(text) + 1) + ".example";
    }
    return parsed.family == 4 ? documentationIpv4(ipv4_.numberOf(parsed.bytes))
                              : documentationIpv6(ipv6_.numberOf(parsed.bytes));
  }

  std::string tag(const std::string& text) {
    if (text.empty() || text == "proxy") return text;
    return "tag-" + std::to_string(tags_.numberOf(text) + 1);
  }

 private:
  Numbering<AddressBytes> ipv4_;
  Numbering<AddressBytes> ipv6_;
  Numbering<std::string> hosts_;
  Numbering<std::string> tags_;
};

// The place of each interface index among all that the input names, from 1.
std::map<std::uint32_t, std::uint32_t> ranksOfIndexes(const egress::DiagnosisInput& input) {
  std::map<std::uint32_t, std::uint32_t> ranks;
  for (const egress::InterfaceRow& row : input.adapters.rows) ranks[row.interfaceIndex] = 0;
  for (const egress::RouteRow& row : input.routes.rows) ranks[row.interfaceIndex] = 0;
  std::uint32_t rank = 0;
  for (auto& [index, place] : ranks) place = ++rank;
  return ranks;
}

void renameInterfaces(egress::DiagnosisInput& input) {
  const std::map<std::uint32_t, std::uint32_t> ranks = ranksOfIndexes(input);
  for (egress::InterfaceRow& row : input.adapters.rows) {
    row.interfaceIndex = ranks.at(row.interfaceIndex);
  }
  for (egress::RouteRow& row : input.routes.rows) {
    row.interfaceIndex = ranks.at(row.interfaceIndex);
  }
}

// What the report depends on comes first, while there are addresses left: the endpoint, then those
// of the adapters.
void renameAddresses(egress::DiagnosisInput& input, Names& names) {
  const egress::Resolution resolution = egress::resolveActiveOutbound(input);
  if (resolution.leaf != nullptr) (void)names.address(resolution.leaf->server);
  for (egress::InterfaceRow& row : input.adapters.rows) {
    for (std::string& address : row.addresses) address = names.address(address);
  }
  for (egress::SocketSource& row : input.sockets.rows) {
    row.localAddress = names.address(row.localAddress);
    row.remoteAddress = names.address(row.remoteAddress);
  }
  for (egress::Outbound& outbound : input.outbounds) {
    outbound.server = names.address(outbound.server);
  }
}

void renameTags(egress::DiagnosisInput& input, Names& names) {
  for (egress::Outbound& outbound : input.outbounds) {
    outbound.tag = names.tag(outbound.tag);
    outbound.detour = names.tag(outbound.detour);
  }
  for (egress::SelectorAnswer& answer : input.selectorAnswers) {
    answer.selectorTag = names.tag(answer.selectorTag);
    answer.now = names.tag(answer.now);
  }
  input.selectorHint = names.tag(input.selectorHint);
}

}  // namespace

egress::DiagnosisInput anonymized(const egress::DiagnosisInput& input) {
  egress::DiagnosisInput result = input;
  Names names;
  renameAddresses(result, names);
  renameTags(result, names);
  renameInterfaces(result);
  if (egress::diagnoseEgress(result) != egress::diagnoseEgress(input)) {
    throw CannotRun("--anonymize: the adapters have more IPv4 addresses than documentation has");
  }
  return result;
}

}  // namespace linux_host
