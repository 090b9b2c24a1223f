#include "examples/linux-host/anonymize.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "egress/config/numeric_address.h"
#include "egress/config/protocols.h"
#include "egress/core/diagnose_egress.h"
#include "examples/linux-host/errors.h"

namespace linux_host {
namespace {

// Numbers values from 0 in the order of their first look-up.
template <typename Value>
class Numbering {
 public:
  std::size_t numberOf(const Value& value) {
    return numbers_.try_emplace(value, numbers_.size()).first->second;
  }

 private:
  std::map<Value, std::size_t> numbers_;
};

using AddressBytes = std::array<std::uint8_t, 16>;

// The documentation prefixes of RFC 5737, each of 256 addresses.
constexpr std::array<std::string_view, 3> kIpv4Prefixes = {"192.0.2.", "198.51.100.", "203.0.113."};
// When the others are used up, all further adapter addresses share one, all other addresses
// another.
constexpr std::size_t kIpv4ForAdapters = kIpv4Prefixes.size() * 256 - 2;
constexpr std::size_t kIpv4ForOthers = kIpv4ForAdapters + 1;

std::string documentationIpv4(std::size_t number, bool isAdapters) {
  const std::size_t shared = isAdapters ? kIpv4ForAdapters : kIpv4ForOthers;
  const std::size_t place = number < kIpv4ForAdapters ? number : shared;
  return std::string(kIpv4Prefixes.at(place / 256)) + std::to_string(place % 256);
}

std::string hexText(std::size_t number) {
  std::array<char, 16> digits{};
  return {digits.data(), std::to_chars(digits.begin(), digits.end(), number, 16).ptr};
}

// In the prefix of RFC 3849; the number is in the last two groups.
std::string documentationIpv6(std::size_t number) {
  return "2001:db8::" + hexText(number >> 16U & 0xFFFFU) + ':' + hexText(number & 0xFFFFU);
}

using Addresses = std::set<AddressBytes>;

// The replacements assigned so far.
class Pseudonyms {
 public:
  explicit Pseudonyms(Addresses adapterIpv4) : adapterIpv4_(std::move(adapterIpv4)) {}

  std::string address(const std::string& text) {
    const egress::NumericAddress parsed = egress::parseNumericAddress(text);
    if (!parsed.valid) {
      return text.empty() ? text : "host-" + std::to_string(hosts_.numberOf(text) + 1) + ".example";
    }
    if (parsed.family != 4) return documentationIpv6(ipv6_.numberOf(parsed.bytes));
    return documentationIpv4(ipv4_.numberOf(parsed.bytes), adapterIpv4_.contains(parsed.bytes));
  }

  std::string tag(const std::string& text) {
    if (text.empty() || text == egress::kStartTag) return text;
    return "tag-" + std::to_string(tags_.numberOf(text) + 1);
  }

 private:
  Addresses adapterIpv4_;
  Numbering<AddressBytes> ipv4_;
  Numbering<AddressBytes> ipv6_;
  Numbering<std::string> hosts_;
  Numbering<std::string> tags_;
};

// The rank, from 1, of each interface index in the input.
std::map<std::uint32_t, std::uint32_t> ranksOfIndexes(const egress::DiagnosisInput& input) {
  std::map<std::uint32_t, std::uint32_t> ranks;
  for (const egress::InterfaceRow& row : input.adapters.rows) ranks[row.interfaceIndex] = 0;
  for (const egress::RouteRow& row : input.routes.rows) ranks[row.interfaceIndex] = 0;
  std::uint32_t rank = 0;
  for (auto& entry : ranks) entry.second = ++rank;
  return ranks;
}

void replaceIndexes(egress::DiagnosisInput& input) {
  const std::map<std::uint32_t, std::uint32_t> ranks = ranksOfIndexes(input);
  for (egress::InterfaceRow& row : input.adapters.rows) {
    row.interfaceIndex = ranks.at(row.interfaceIndex);
  }
  for (egress::RouteRow& row : input.routes.rows) {
    row.interfaceIndex = ranks.at(row.interfaceIndex);
  }
}

Addresses ipv4OfAdapters(const egress::DiagnosisInput& input) {
  Addresses addresses;
  for (const egress::InterfaceRow& row : input.adapters.rows) {
    for (const std::string& address : row.addresses) {
      const egress::NumericAddress parsed = egress::parseNumericAddress(address);
      if (parsed.family == 4) addresses.insert(parsed.bytes);
    }
  }
  return addresses;
}

// Assigns replacements first to the addresses that the report depends on: the endpoint's address
// and the source addresses that adapters own. Other addresses may share one without changing the
// report.
void assignDecisiveAddresses(const egress::DiagnosisInput& input, const Addresses& adapters,
                             Pseudonyms& pseudonyms) {
  const egress::Diagnosis diagnosis = egress::diagnose(input);
  const std::optional<std::size_t>& leaf = diagnosis.resolution.leaf;
  if (leaf) pseudonyms.address(input.outbounds[*leaf].server);
  for (const egress::SocketSource& row : input.sockets.rows) {
    const egress::NumericAddress source = egress::parseNumericAddress(row.localAddress);
    if (adapters.contains(source.bytes)) pseudonyms.address(row.localAddress);
  }
}

void replaceAddresses(egress::DiagnosisInput& input, Pseudonyms& pseudonyms) {
  for (egress::InterfaceRow& row : input.adapters.rows) {
    for (std::string& address : row.addresses) address = pseudonyms.address(address);
  }
  for (egress::SocketSource& row : input.sockets.rows) {
    row.localAddress = pseudonyms.address(row.localAddress);
    row.remoteAddress = pseudonyms.address(row.remoteAddress);
  }
  for (egress::Outbound& outbound : input.outbounds) {
    outbound.server = pseudonyms.address(outbound.server);
  }
}

// An unknown type may contain private text; all unknown types give the same diagnosis.
void replaceTypes(egress::DiagnosisInput& input) {
  for (egress::Outbound& outbound : input.outbounds) {
    const bool isUnknown = egress::outboundTypeOf(outbound.type) == egress::OutboundType::Unknown;
    if (isUnknown && !outbound.type.empty()) outbound.type = "other";
    if (egress::transportTypeOf(outbound.transportType) == egress::TransportType::Unknown) {
      outbound.transportType = "other";
    }
  }
}

void replaceTags(egress::DiagnosisInput& input, Pseudonyms& pseudonyms) {
  for (egress::Outbound& outbound : input.outbounds) {
    outbound.tag = pseudonyms.tag(outbound.tag);
    outbound.detour = pseudonyms.tag(outbound.detour);
  }
  for (egress::SelectorAnswer& answer : input.selectorAnswers) {
    answer.selectorTag = pseudonyms.tag(answer.selectorTag);
    answer.now = pseudonyms.tag(answer.now);
  }
  input.selectorHint = pseudonyms.tag(input.selectorHint);
}

}  // namespace

egress::DiagnosisInput anonymized(const egress::DiagnosisInput& input) {
  egress::DiagnosisInput result = input;
  const Addresses adapters = ipv4OfAdapters(input);
  Pseudonyms pseudonyms(adapters);
  assignDecisiveAddresses(input, adapters, pseudonyms);
  replaceAddresses(result, pseudonyms);
  replaceTypes(result);
  replaceTags(result, pseudonyms);
  replaceIndexes(result);
  if (egress::diagnoseEgress(result) != egress::diagnoseEgress(input)) {
    throw CannotRun("--anonymize: the report would change: the sockets have more IPv4 source " +
                    std::string("addresses than there are documentation addresses"));
  }
  return result;
}

}  // namespace linux_host
