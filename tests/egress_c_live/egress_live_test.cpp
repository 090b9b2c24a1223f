#include "egress_c_live/egress_live.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <variant>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "egress_live/linux/descriptor.h"
#include "egress_live/take_snapshot.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/egress_c/owned_result.h"
#include "tests/egress_snapshot/detailed_snapshot.h"

namespace egress::c {
namespace {

using Json = nlohmann::json;
using snapshot::HostSnapshot;

OwnedResult takeOfProcess(std::string_view base, std::uint32_t id) {
  return OwnedResult(egress_take_snapshot_of_process(base.data(), base.size(), id));
}

OwnedResult takeOfName(std::string_view base, std::string_view name) {
  return OwnedResult(
      egress_take_snapshot_of_name(base.data(), base.size(), name.data(), name.size()));
}

// It misses a fact of its sockets, and the address of a name.
HostSnapshot baseSnapshot() {
  HostSnapshot base = snapshot::namedSnapshot();
  base.missingFacts = {{.fact = snapshot::FactKind::MARK, .reason = "not permitted there"},
                       {.fact = snapshot::FactKind::ADDRESS, .reason = "no such name"}};
  return base;
}

class EgressCLive : public testing::Test {
 protected:
  void SetUp() override {
    if (access("/proc/self/fd", R_OK) != 0) GTEST_SKIP() << "there is no /proc";
  }

  const std::string base = snapshotToJson(baseSnapshot());
  const std::uint32_t self = static_cast<std::uint32_t>(getpid());
};

// What the base says of the host is replaced, the rest is kept.
void expectTaken(const Json& taken, const Json& base, std::uint32_t id) {
  for (const char* const key : {"config", "blanked", "mainTag", "selectorAnswers", "queries",
                                "selectorHint", "resolvedNames"}) {
    EXPECT_EQ(taken[key], base[key]) << key;
  }
  EXPECT_EQ(taken["origin"]["program"], base["origin"]["program"]);
  EXPECT_EQ(taken["origin"]["programVersion"], base["origin"]["programVersion"]);
  EXPECT_NE(taken["origin"]["time"], base["origin"]["time"]);
  EXPECT_NE(taken["origin"]["system"], base["origin"]["system"]);
  ASSERT_EQ(taken["processes"].size(), 1U);
  EXPECT_EQ(taken["processes"][0]["id"], id);
  EXPECT_EQ(taken["listeningAt"], "");
  EXPECT_FALSE(taken.contains("observedSeconds"));
  const auto live = live::takeSnapshot(id);
  const auto& snapshot = std::get<HostSnapshot>(live);
  const Json wanted = Json::parse(snapshotToJson(snapshot));
  EXPECT_EQ(taken["adapters"], wanted["adapters"]);
  EXPECT_EQ(taken["routes"], wanted["routes"]);
  EXPECT_EQ(taken["sockets"], wanted["sockets"]);
  Json missing = Json::array({{{"fact", "ADDRESS"}, {"reason", "no such name"}}});
  for (const Json& fact : wanted["missingFacts"]) missing.push_back(fact);
  EXPECT_EQ(taken["missingFacts"], missing);
}

TEST_F(EgressCLive, TakesTheListsOfThisMachineForAProcessWithAnId) {
  const OwnedResult result = takeOfProcess(base, self);
  ASSERT_EQ(result.status(), static_cast<egress_status>(EGRESS_OK)) << result.text();
  expectTaken(Json::parse(result.text()), Json::parse(base), self);
}

TEST_F(EgressCLive, TakesTheListsOfThisMachineForProcessesWithAName) {
  std::ofstream("/proc/self/comm") << "egress-c-live-";
  const OwnedResult result = takeOfName(base, "egress-c-live-");
  ASSERT_EQ(result.status(), static_cast<egress_status>(EGRESS_OK)) << result.text();
  expectTaken(Json::parse(result.text()), Json::parse(base), self);
}

// A connection of this process to itself.
struct Connection {
  live::Descriptor listener{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
  live::Descriptor client{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
  std::uint16_t port = 0;

  Connection() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    socklen_t size = sizeof(address);
    const bool isConnected = bind(listener.number(), generic, size) == 0 &&
                             listen(listener.number(), 1) == 0 &&
                             getsockname(listener.number(), generic, &size) == 0 &&
                             connect(client.number(), generic, size) == 0;
    if (isConnected) port = ntohs(address.sin_port);
  }
};

TEST_F(EgressCLive, LooksUpTheRoutesOfTheSocketsToTheEndpoint) {
  const Connection connection;
  if (connection.port == 0) GTEST_SKIP() << "there is no loopback interface";
  HostSnapshot engine;
  engine.config.configStatus = ConfigStatus::OK;
  engine.config.outbounds = {snapshot::makeOutbound("proxy", "trojan", "127.0.0.1")};
  engine.config.outbounds.front().ports = {connection.port};
  const OwnedResult result = takeOfProcess(snapshotToJson(engine), self);
  ASSERT_EQ(result.status(), static_cast<egress_status>(EGRESS_OK)) << result.text();
  const Json taken = Json::parse(result.text());
  Json toEndpoint = Json::array();
  for (const Json& row : taken["sockets"]["rows"]) {
    if (row["remotePort"] == connection.port) toEndpoint.push_back(row);
  }
  ASSERT_EQ(toEndpoint.size(), 1U) << result.text();
  const auto& adapters = taken["adapters"]["rows"];
  const auto loopback =
      std::ranges::find(adapters, "lo", [](const Json& row) { return row["name"]; });
  ASSERT_NE(loopback, adapters.end());
  EXPECT_EQ(toEndpoint[0]["routeInterfaceIndex"], (*loopback)["interfaceIndex"]);
}

TEST_F(EgressCLive, SaysThatThereIsNoProcess) {
  const OwnedResult byName = takeOfName(base, "no such process");
  EXPECT_EQ(byName.status(), static_cast<egress_status>(EGRESS_NO_PROCESS));
  EXPECT_NE(byName.text().find("no such process"), std::string_view::npos) << byName.text();
  constexpr std::uint32_t kNoProcess = 4'294'967'295;
  EXPECT_EQ(takeOfProcess(base, kNoProcess).status(),
            static_cast<egress_status>(EGRESS_NO_PROCESS));
}

TEST_F(EgressCLive, RefusesWhatIsNotASnapshot) {
  const OwnedResult result =
      takeOfProcess(R"({"format": "egress-snapshot", "version": "1"})", self);
  EXPECT_EQ(result.status(), static_cast<egress_status>(EGRESS_REFUSED));
  EXPECT_EQ(result.text(), R"(/version: "1" is not a version)");
  EXPECT_EQ(takeOfName("", "a").text(), "the text is empty");
}

}  // namespace
}  // namespace egress::c
