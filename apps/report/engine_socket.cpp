#include "apps/report/engine_socket.h"

#include <algorithm>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace egress::report {

int connectToEngine(const Options& options) {
  if (!options.access) return -1;
  const std::string& path = options.access->unixSocketPath;
  sockaddr_un address{};
  if (path.empty() || path.size() >= sizeof(address.sun_path)) return -1;
  address.sun_family = AF_UNIX;
  std::ranges::copy(path, address.sun_path);
  // A blocking socket would wait as long as the engine's queue of connections is full.
  const int opened = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (opened < 0) return -1;
  if (connect(opened, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
    return opened;
  }
  close(opened);
  return -1;
}

}  // namespace egress::report
