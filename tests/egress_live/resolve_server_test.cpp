#include "egress_live/resolve_server.h"

#include <cerrno>
#include <netdb.h>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/egress_live/fake_resolver.h"

namespace egress::live {
namespace {

using snapshot::HostSnapshot;
using test::FakeAnswer;
using test::lookedUpNames;
using test::setResolver;
using test::waitForLookUp;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kLong = 600000;  // milliseconds

// The walk goes from a selector with an answer to an outbound with this server.
HostSnapshot recordWith(const std::string& server) {
  Outbound selector;
  selector.tag = "proxy";
  selector.type = "selector";
  Outbound leaf;
  leaf.tag = "leaf";
  leaf.type = "trojan";
  leaf.hasServer = true;
  leaf.server = server;
  leaf.portSpecified = true;
  leaf.ports = {443};
  Outbound other = leaf;
  other.tag = "other";
  other.server = "other.invalid";
  HostSnapshot snapshot;
  snapshot.config.configStatus = ConfigStatus::OK;
  snapshot.config.outbounds = {std::move(selector), std::move(other), std::move(leaf)};
  snapshot.selectorAnswers = {{.selectorTag = "proxy", .now = "leaf"}};
  return snapshot;
}

std::vector<std::string> addressesIn(const HostSnapshot& snapshot) {
  std::vector<std::string> addresses;
  for (const snapshot::ResolvedName& row : snapshot.resolvedNames) {
    EXPECT_EQ(row.name, "leaf.invalid");
    EXPECT_EQ(row.source, snapshot::NameSource::SYSTEM);
    addresses.push_back(row.address);
  }
  return addresses;
}

void expectFailure(const FakeAnswer& answer, std::uint32_t timeoutMilliseconds,
                   const std::string& reason) {
  setResolver(answer);
  HostSnapshot snapshot = recordWith("leaf.invalid");
  resolveServer(timeoutMilliseconds, snapshot);
  EXPECT_THAT(snapshot.resolvedNames, IsEmpty()) << reason;
  ASSERT_EQ(snapshot.missingFacts.size(), 1U) << reason;
  EXPECT_EQ(snapshot.missingFacts[0].fact, snapshot::FactKind::ADDRESS);
  EXPECT_EQ(snapshot.missingFacts[0].reason, "cannot resolve 'leaf.invalid': " + reason);
}

TEST(ResolveServer, AddsTheAddressesInTheirOrderEachOnce) {
  setResolver({.addresses = {"203.0.113.5", "2001:db8::5", "203.0.113.5", "203.0.113.4",
                             "fe80::1%1", "2001:db8::5"}});
  HostSnapshot snapshot = recordWith("leaf.invalid");
  resolveServer(kLong, snapshot);
  EXPECT_THAT(addressesIn(snapshot),
              ElementsAre("203.0.113.5", "2001:db8::5", "203.0.113.4", "fe80::1%lo"));
  EXPECT_THAT(snapshot.missingFacts, IsEmpty());
  EXPECT_THAT(lookedUpNames(), ElementsAre("leaf.invalid"));
}

TEST(ResolveServer, KeepsTheFirstAddressesOfMany) {
  FakeAnswer answer;
  for (int i = 0; i < 20; ++i) answer.addresses.push_back("203.0.113." + std::to_string(i));
  setResolver(answer);
  HostSnapshot snapshot = recordWith("leaf.invalid");
  resolveServer(kLong, snapshot);
  answer.addresses.resize(16);
  EXPECT_EQ(addressesIn(snapshot), answer.addresses);
}

TEST(ResolveServer, LooksUpNothingElse) {
  HostSnapshot noConfig = recordWith("leaf.invalid");
  noConfig.config.configStatus = ConfigStatus::JSON_PARSE_FAILED;
  HostSnapshot noChoice = recordWith("leaf.invalid");
  noChoice.selectorAnswers.clear();
  HostSnapshot resolved = recordWith("leaf.invalid");
  resolved.resolvedNames = {{.name = "leaf.invalid", .address = "203.0.113.9"}};
  HostSnapshot unusable = recordWith("leaf.invalid");
  unusable.resolvedNames = {{.name = "leaf.invalid", .address = "not numeric"}};
  HostSnapshot noPort = recordWith("leaf.invalid");
  noPort.config.outbounds.back().portSpecified = false;
  noPort.config.outbounds.back().ports.clear();
  const std::vector<HostSnapshot> records = {{},
                                             recordWith("203.0.113.5"),
                                             recordWith("2001:db8::5"),
                                             noConfig,
                                             noChoice,
                                             resolved,
                                             unusable,
                                             noPort};
  for (std::size_t i = 0; i < records.size(); ++i) {
    setResolver({.addresses = {"203.0.113.5"}});
    HostSnapshot snapshot = records[i];
    resolveServer(kLong, snapshot);
    EXPECT_EQ(snapshot.resolvedNames.size(), records[i].resolvedNames.size()) << i;
    EXPECT_THAT(snapshot.missingFacts, IsEmpty()) << i;
    EXPECT_THAT(lookedUpNames(), IsEmpty()) << i;
  }
}

TEST(ResolveServer, SaysWhyThereIsNoAddress) {
  expectFailure({.error = EAI_NONAME}, kLong, "Name or service not known");
  expectFailure({.error = EAI_AGAIN}, kLong, "Temporary failure in name resolution");
  expectFailure({.error = EAI_SYSTEM, .systemError = EIO}, kLong, "Input/output error");
  expectFailure({.isSilent = true}, 1, "no answer within 1 ms");
  waitForLookUp();
  setResolver({});  // ends it
}

TEST(ResolveServer, DoesNotLookUpAPartOfAName) {
  setResolver({.addresses = {"203.0.113.5"}});
  HostSnapshot snapshot = recordWith(std::string("leaf.invalid\0.example", 21));
  resolveServer(kLong, snapshot);
  EXPECT_THAT(lookedUpNames(), IsEmpty());
  EXPECT_THAT(snapshot.resolvedNames, IsEmpty());
  ASSERT_EQ(snapshot.missingFacts.size(), 1U);
  EXPECT_THAT(snapshot.missingFacts[0].reason, testing::EndsWith("': it has a NUL byte"));
}

TEST(ResolveServer, PassesOnThatMemoryRanOut) {
  setResolver({.error = EAI_MEMORY});
  HostSnapshot snapshot = recordWith("leaf.invalid");
  EXPECT_THROW(resolveServer(kLong, snapshot), std::bad_alloc);
  EXPECT_THAT(snapshot.missingFacts, IsEmpty());
}

}  // namespace
}  // namespace egress::live
