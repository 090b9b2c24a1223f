#ifndef EGRESS_LIVE_LINUX_SOCKET_FILE_H
#define EGRESS_LIVE_LINUX_SOCKET_FILE_H

#include <cstdint>
#include <optional>
#include <string>

namespace egress::live {

// The file that a Unix socket is bound to, as sock_diag identifies it.
struct SocketFile {
  std::uint64_t inode = 0;
  std::uint32_t device = 0;  // of the file system, in the kernel's encoding
};

// The file at a path, whose links are followed. Nothing if there is none, or this user may not
// reach it. Throws EnumerationError if /proc cannot be read.
[[nodiscard]] std::optional<SocketFile> socketFileAt(const std::string& path);

// Connects to the Unix socket at the path, and returns the ID of the process that called listen(2)
// on it; 0 if that process is not in this PID namespace. Does not wait. Throws EnumerationError if
// the connection fails.
[[nodiscard]] std::uint32_t processListeningAt(const std::string& path);

}  // namespace egress::live

#endif
