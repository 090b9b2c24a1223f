#include "egress_live/look_up_routes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/snapshot_equality.h"

namespace egress::live {
namespace {

using snapshot::FactKind;
using snapshot::HostSnapshot;
using snapshot::Socket;

// The loopback needs no route, and no permission.
ActiveEndpoint endpoint() {
  return {
      .status = ActiveEndpointStatus::OK, .address = parseNumericAddress("127.0.0.1"), .port = 443};
}

HostSnapshot recordWith(const std::string& local, const std::string& remote, std::uint32_t port) {
  Socket socket;
  socket.localAddress = local;
  socket.remoteAddress = remote;
  socket.remotePort = port;
  HostSnapshot snapshot;
  snapshot.sockets.rows = {socket, socket};
  return snapshot;
}

TEST(LookUpRoutes, AsksOnlyForSocketsToTheEndpoint) {
  ActiveEndpoint none = endpoint();
  none.status = ActiveEndpointStatus::OUTBOUND_NOT_FOUND;
  HostSnapshot failed = recordWith("127.0.0.1", "127.0.0.1", 443);
  failed.sockets.enumFailed = true;
  struct Row {
    ActiveEndpoint endpoint;
    HostSnapshot snapshot;
  };
  for (const Row& row :
       {Row{none, recordWith("127.0.0.1", "127.0.0.1", 443)},
        Row{endpoint(), recordWith("127.0.0.1", "127.0.0.1", 444)},
        Row{endpoint(), recordWith("127.0.0.1", "127.0.0.2", 443)},
        Row{endpoint(), recordWith("::1", "::ffff:127.0.0.1", 443)},
        Row{endpoint(), recordWith("", "", 443)}, Row{endpoint(), failed}, Row{endpoint(), {}}}) {
    HostSnapshot snapshot = row.snapshot;
    lookUpRoutes(row.endpoint, snapshot);
    EXPECT_EQ(snapshot, row.snapshot);
  }
}

TEST(LookUpRoutes, ASocketWithoutNumericAddressHasNone) {
  for (const std::string local : {"", "host.invalid", "::1"}) {
    HostSnapshot snapshot = recordWith(local, "127.0.0.1", 443);
    HostSnapshot expected = snapshot;
    expected.missingFacts = {
        {.fact = FactKind::ROUTE,
         .reason = "the addresses of a socket are not two numeric ones of one family"}};
    lookUpRoutes(endpoint(), snapshot);
    EXPECT_EQ(snapshot, expected) << local;  // the reason once for both sockets
  }
}

}  // namespace
}  // namespace egress::live
