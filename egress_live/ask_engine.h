#ifndef EGRESS_LIVE_ASK_ENGINE_H
#define EGRESS_LIVE_ASK_ENGINE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "egress_live/export.h"
#include "egress_live/take_snapshot.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

// Where and how the engine tells which outbound a selector uses now.
struct EngineAccess {
  // http or https; "{tag}" in the path or query stands for the selector's tag, percent-encoded (RFC
  // 3986, section 2.1). Without user and password.
  std::string urlTemplate;
  std::vector<std::string> headers;  // "NAME: VALUE" each
  std::string unixSocketPath;        // in place of the URL's host and port; empty: TCP
  // A socket that is connected to unixSocketPath already, for the first connection with an http
  // URL: a caller who gives up the right to connect there keeps it open. It stays the caller's, but
  // becomes non-blocking; -1: none.
  int connectedSocket = -1;
  std::string caCertificates;                // PEM, in place of the system's; empty: the system's
  std::uint32_t timeoutMilliseconds = 2000;  // for each query, from its start to the last byte
  bool mayLeaveHost = false;                 // also ask at an address that is not a loopback one
};

// The bytes of an answer that are read.
inline constexpr std::size_t kMaxAnswerBytes = std::size_t{1} << 20U;

// Why nobody can be asked in this way: one line for people without anything of `headers`, or
// nothing. Asks nobody. Throws only when memory runs out.
[[nodiscard]] EGRESS_LIVE_EXPORT std::optional<std::string> problemOf(const EngineAccess& access);

// Where the engine listens, if that is on this host: at the Unix socket, or at the loopback address
// and port of the URL. Throws only when memory runs out.
[[nodiscard]] EGRESS_LIVE_EXPORT std::optional<Listener> listenerOf(const EngineAccess& access);

// Asks the engine for the choice of each selector that the walk stops at for want of an answer,
// until the walk ends, one query after the other, at most kMaxFollowSteps + 1. Adds each query and
// its answer to the record. An answer that is in the record already is not asked for.
//
// - The answer's text goes to egress::readSelectorAnswer as it is. Any HTTP status but 2xx is no
//   answer; no redirect is followed.
// - Addresses other than loopback ones are refused unless access.mayLeaveHost, also if a name has
//   them. No proxy is used. Certificates are checked.
// - No text in the record contains anything of `headers`, of the URL's query, or of an answer.
// - Threads: any number may call it at once with different records.
// - Throws only when memory runs out.
EGRESS_LIVE_EXPORT void askSelectors(const EngineAccess& access, snapshot::HostSnapshot& snapshot);

}  // namespace egress::live

#endif
