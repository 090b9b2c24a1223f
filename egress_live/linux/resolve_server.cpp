#include "egress_live/resolve_server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <future>
#include <memory>
#include <netdb.h>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "egress_snapshot/diagnose_snapshot.h"

namespace egress::live {
namespace {

using snapshot::HostSnapshot;

// The addresses of a name as numeric text, or why it has none.
using FoundAddresses = std::variant<std::vector<std::string>, std::string>;

std::string reasonOf(int error) {
  return error == EAI_SYSTEM ? std::generic_category().message(errno) : gai_strerror(error);
}

// Numeric text, with the zone.
std::optional<std::string> textOf(const addrinfo& row) {
  std::array<char, NI_MAXHOST> text{};
  const int error = getnameinfo(row.ai_addr, row.ai_addrlen, text.data(), text.size(), nullptr, 0,
                                NI_NUMERICHOST);
  if (error != 0) return std::nullopt;
  return text.data();
}

FoundAddresses lookUpAddresses(const std::string& name) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;  // or each address comes once for each type
  addrinfo* list = nullptr;
  const int error = getaddrinfo(name.c_str(), nullptr, &hints, &list);
  if (error == EAI_MEMORY) throw std::bad_alloc();
  if (error != 0) return reasonOf(error);
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner(list, &freeaddrinfo);
  std::vector<std::string> addresses;
  for (const addrinfo* row = list; row != nullptr; row = row->ai_next) {
    const std::optional<std::string> text = textOf(*row);
    const bool isNew = text && std::ranges::find(addresses, *text) == addresses.end();
    if (isNew && addresses.size() < snapshot::kMaxAddresses) addresses.push_back(*text);
  }
  return addresses;
}

// Looks up a name for a limited time. The system's function has no limit, so it runs in a thread
// that owns what it uses.
FoundAddresses lookUpAddressesWithin(std::uint32_t timeoutMilliseconds, const std::string& name) {
  std::packaged_task<FoundAddresses()> task([name] { return lookUpAddresses(name); });
  std::future<FoundAddresses> found = task.get_future();
  try {
    std::thread(std::move(task)).detach();
  } catch (const std::system_error& error) {
    return "cannot start a thread: " + error.code().message();
  }
  if (found.wait_for(std::chrono::milliseconds(timeoutMilliseconds)) != std::future_status::ready) {
    return "no answer within " + std::to_string(timeoutMilliseconds) + " ms";
  }
  return found.get();
}

// The name of the server at the end of the walk, if it has no address so far.
std::optional<std::string> nameToResolve(const HostSnapshot& snapshot) {
  const Diagnosis way = snapshot::diagnoseWay(snapshot);
  const std::optional<std::size_t> leaf = way.resolution.leaf;
  if (way.endpoint.status != ActiveEndpointStatus::ENDPOINT_NOT_NUMERIC || !leaf) {
    return std::nullopt;
  }
  const std::string& name = snapshot.config.outbounds.at(*leaf).server;
  const bool isResolved =
      std::ranges::find(snapshot.resolvedNames, name, &snapshot::ResolvedName::name) !=
      snapshot.resolvedNames.end();
  return isResolved ? std::nullopt : std::optional(name);
}

}  // namespace

void resolveServer(std::uint32_t timeoutMilliseconds, HostSnapshot& snapshot) {
  const std::optional<std::string> name = nameToResolve(snapshot);
  if (!name) return;
  // The system would look up the part before it, another name.
  const bool hasNul = name->find('\0') != std::string::npos;
  const FoundAddresses found = hasNul ? FoundAddresses("it has a NUL byte")
                                      : lookUpAddressesWithin(timeoutMilliseconds, *name);
  if (const auto* const reason = std::get_if<std::string>(&found)) {
    snapshot::MissingFact& missing = snapshot.missingFacts.emplace_back();
    missing.fact = snapshot::FactKind::ADDRESS;
    missing.reason = "cannot resolve '" + *name + "': " + *reason;
    return;
  }
  for (const std::string& address : std::get<std::vector<std::string>>(found)) {
    snapshot.resolvedNames.push_back(
        {.name = *name, .address = address, .source = snapshot::NameSource::SYSTEM});
  }
}

}  // namespace egress::live
