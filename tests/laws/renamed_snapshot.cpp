#include "tests/laws/renamed_snapshot.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "egress/config/numeric_address.h"
#include "egress/config/protocols.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

using snapshot::Adapter;
using snapshot::HostSnapshot;
using snapshot::Process;
using snapshot::Socket;

// The first row that contains an address decides. Secret addresses start with `secret`, high in the
// range; an address without a secret stays.
struct Network {
  std::string_view name;
  std::string_view first;
  std::size_t bits = 0;
  std::string_view secret = {};
};

constexpr auto kNetworks = std::to_array<Network>({
    {.name = "IPv4 unspecified", .first = "0.0.0.0", .bits = 32},
    {.name = "IPv4 loopback", .first = "127.0.0.0", .bits = 8, .secret = "127.213.213."},
    {.name = "IPv4 link-local", .first = "169.254.0.0", .bits = 16, .secret = "169.254.213."},
    {.name = "IPv4 shared", .first = "100.64.0.0", .bits = 10, .secret = "100.127.213."},
    {.name = "IPv4 private", .first = "10.0.0.0", .bits = 8, .secret = "172.31.213."},
    {.name = "IPv4 private", .first = "172.16.0.0", .bits = 12, .secret = "192.168.213."},
    {.name = "IPv4 private", .first = "192.168.0.0", .bits = 16, .secret = "10.213.213."},
    {.name = "IPv4 global", .first = "0.0.0.0", .bits = 0, .secret = "213.213.213."},
    {.name = "IPv6 unspecified", .first = "::", .bits = 128},
    {.name = "IPv6 loopback", .first = "::1", .bits = 128},
    {.name = "IPv6 link-local", .first = "fe80::", .bits = 10, .secret = "febf:d5d5::"},
    {.name = "IPv6 unique local", .first = "fc00::", .bits = 7, .secret = "fdd5:d5d5::"},
    {.name = "IPv6 global", .first = "::", .bits = 0, .secret = "2d05:d5d5::"},
});

// An IPv4-mapped IPv6 address belongs to the network of its IPv4 address.
constexpr Network kMapped{.name = "mapped ", .first = "::ffff:0:0", .bits = 96};

bool contains(const Network& network, const NumericAddress& address) {
  const NumericAddress first = parseNumericAddress(network.first);
  if (address.family != first.family) return false;
  for (std::size_t bit = 0; bit < network.bits; ++bit) {
    const unsigned difference = address.bytes.at(bit / 8) ^ first.bytes.at(bit / 8);
    if ((difference >> (7 - bit % 8) & 1U) != 0) return false;
  }
  return true;
}

const Network& networkOf(const NumericAddress& address) {
  return *std::ranges::find_if(kNetworks,
                               [&](const Network& network) { return contains(network, address); });
}

NumericAddress unmapped(const NumericAddress& address) {
  NumericAddress result{.valid = true, .family = 4};
  std::copy_n(address.bytes.begin() + 12, 4, result.bytes.begin());
  return result;
}

std::string numbered(std::string_view start, std::size_t number) {
  return joined({start, std::to_string(number)});
}

// A text of the same address: in brackets, with a zone, or as it is.
std::string otherSpelling(const std::string& address, Choices& choices) {
  switch (choices.below(4)) {
    case 0: return joined({"[", address, "]"});
    case 1: return joined({address, "%secret-zone"});
    default: return address;
  }
}

class Renaming {
 public:
  explicit Renaming(Choices& choices) : choices_(choices) {}

  void rename(HostSnapshot& record) {
    replaceIndexes(record);
    replaceTexts(record);
    for (Process& row : record.processes) {
      row.id = secretNumber(1'413'000'000, row.id % 1000);
      row.user = secretNumber(1'313'000'000, row.user % 1000);
      replace(row.program, "executable");
    }
    for (Adapter& row : record.adapters.rows) {
      replace(row.name, "interface");
      for (std::string& address : row.addresses) replaceAddress(address);
    }
    for (Socket& row : record.sockets.rows) {
      replaceAddress(row.localAddress);
      replaceAddress(row.remoteAddress);
      row.localPort = secretNumber(1'513'000'000, row.localPort % 1000);
      if (row.user) row.user = secretNumber(1'313'000'000, *row.user % 1000);
    }
    for (Outbound& row : record.config.outbounds) {
      replaceTag(row.tag);
      replaceTag(row.detour);
      replaceAddress(row.server);
      if (outboundTypeOf(row.type) == OutboundType::Unknown) replace(row.type, "type");
      if (transportTypeOf(row.transportType) == TransportType::Unknown) {
        replace(row.transportType, "transport");
      }
    }
    for (SelectorAnswer& row : record.selectorAnswers) {
      replaceTag(row.selectorTag);
      replaceTag(row.now);
    }
    replaceTag(record.selectorHint);
    replaceTag(record.mainTag);
    for (snapshot::ResolvedName& row : record.resolvedNames) {
      replaceAddress(row.name);
      replaceAddress(row.address);
    }
    addUnusedOutbounds(record.config.outbounds);
    addUnusedAnswers(record.selectorAnswers);
  }

  std::set<std::string> takeSecrets() { return std::move(secrets_); }

 private:
  // Assigned in any order, so that the order in which texts occur is not that of their numbers.
  const std::string& secretFor(const std::string& text, std::string_view kind) {
    std::string& secret = texts_[{std::string(kind), text}];
    if (secret.empty()) {
      secret = numbered(joined({"secret-", kind, "-"}), texts_.size() * 256 + choices_.nextByte());
      secrets_.insert(secret);
    }
    return secret;
  }

  void replace(std::string& text, std::string_view kind) {
    if (!text.empty()) text = secretFor(text, kind);
  }

  void replaceTag(std::string& tag) {
    if (tag != "proxy") replace(tag, "tag");
  }

  void replaceTexts(HostSnapshot& record) {
    replace(record.origin.time, "time");
    replace(record.origin.program, "program");
    replace(record.origin.programVersion, "version");
    replace(record.origin.system, "system");
    replace(record.listeningAt, "listener");
    for (snapshot::SelectorQuery& row : record.queries) {
      replace(row.selectorTag, "queried");
      replace(row.reason, "reason");
    }
    replace(record.adapters.failureReason, "reason");
    replace(record.routes.failureReason, "reason");
    replace(record.sockets.failureReason, "reason");
    for (snapshot::MissingFact& row : record.missingFacts) replace(row.reason, "reason");
  }

  // No outbound and no answer has this tag.
  std::string unusedTag() {
    std::string tag = numbered("secret-unused-", secrets_.size());
    secrets_.insert(tag);
    return tag;
  }

  // Each is inserted with a tag of its own, or appended with the tag of another.
  void addUnusedOutbounds(std::vector<Outbound>& outbounds) {
    for (std::size_t i = choices_.below(4); i > 0; --i) {
      Outbound row;
      row.type = choices_.flag() ? "selector" : "vless";
      row.ports = {secretNumber(1'613'000'000, i)};
      if (!outbounds.empty() && choices_.flag()) {
        row.tag = choices_.oneOf(outbounds).tag;
        outbounds.push_back(row);
      } else {
        row.tag = unusedTag();
        insertAnywhere(outbounds, row);
      }
    }
  }

  void addUnusedAnswers(std::vector<SelectorAnswer>& answers) {
    for (std::size_t i = choices_.below(4); i > 0; --i) {
      SelectorAnswer row;
      row.now = unusedTag();
      if (!answers.empty() && choices_.flag()) {
        row.selectorTag = choices_.oneOf(answers).selectorTag;
        answers.push_back(row);
      } else {
        row.selectorTag = unusedTag();
        insertAnywhere(answers, row);
      }
    }
  }

  template <typename Row>
  void insertAnywhere(std::vector<Row>& rows, const Row& row) {
    const std::size_t place = choices_.below(rows.size() + 1);
    rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(place), row);
  }

  std::uint32_t secretNumber(std::uint32_t base, std::size_t number) {
    const std::uint32_t secret = base + static_cast<std::uint32_t>(number);
    secrets_.insert(std::to_string(secret));
    return secret;
  }

  void replaceIndexes(HostSnapshot& record) {
    std::map<std::uint32_t, std::uint32_t> secrets;
    const auto forEachIndex = [&record](auto visit) {
      for (Adapter& row : record.adapters.rows) visit(row.interfaceIndex);
      for (RouteRow& row : record.routes.rows) visit(row.interfaceIndex);
      for (Socket& row : record.sockets.rows) {
        if (row.boundInterfaceIndex.value_or(0) != 0) visit(*row.boundInterfaceIndex);
        if (row.routeInterfaceIndex.value_or(0) != 0) visit(*row.routeInterfaceIndex);
        for (snapshot::SeenPackets& seen : row.seenPackets) visit(seen.interfaceIndex);
      }
    };
    forEachIndex([&](const std::uint32_t& index) { secrets[index] = 0; });
    std::size_t last = 0;
    for (auto& entry : secrets) {
      last += choices_.below(1000) + 1;
      entry.second = secretNumber(1'213'000'000, last);
    }
    forEachIndex([&](std::uint32_t& index) { index = secrets.at(index); });
  }

  // A text in the network of this address, with a number of its own.
  std::string secretAddress(const NumericAddress& address) {
    const std::string_view start = networkOf(address).secret;
    if (start.empty()) return {};
    const std::string key(address.bytes.begin(), address.bytes.end());
    const std::size_t number = addresses_.try_emplace(key, addresses_.size() + 1).first->second;
    std::string text = numbered(start, number);
    secrets_.insert(text);
    return text;
  }

  void replaceAddress(std::string& text) {
    const NumericAddress address = parseNumericAddress(text);
    if (!address.valid) return replace(text, "host");
    std::string secret;
    if (contains(kMapped, address)) {
      secret = secretAddress(unmapped(address));
      if (!secret.empty()) secret.insert(0, choices_.flag() ? "::ffff:" : "0:0:0:0:0:FFFF:");
    } else {
      secret = secretAddress(address);
    }
    if (!secret.empty()) {
      text = otherSpelling(secret, choices_);
      secrets_.insert(text);
    }
  }

  Choices& choices_;
  std::set<std::string> secrets_;
  std::map<std::pair<std::string, std::string>, std::string> texts_;  // by kind and text
  std::map<std::string, std::size_t> addresses_;                      // by bytes
};

}  // namespace

std::string networkOf(const std::string& address) {
  const NumericAddress parsed = parseNumericAddress(address);
  if (!parsed.valid) return address.empty() ? "" : "text";
  if (!contains(kMapped, parsed)) return std::string(networkOf(parsed).name);
  return joined({kMapped.name, networkOf(unmapped(parsed)).name});
}

RenamedSnapshot renamed(HostSnapshot record, Choices& choices) {
  Renaming renaming(choices);
  renaming.rename(record);
  return {.record = std::move(record), .secrets = renaming.takeSecrets()};
}

}  // namespace egress::test
