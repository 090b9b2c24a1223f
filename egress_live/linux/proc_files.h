#ifndef EGRESS_LIVE_LINUX_PROC_FILES_H
#define EGRESS_LIVE_LINUX_PROC_FILES_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "egress_live/linux/descriptor.h"
#include "egress_live/linux/errors.h"

namespace egress::live {

// A directory of /proc. While it is open, it belongs to one process or thread, although another may
// get the number of one that ended.
struct ProcDirectory {
  std::string path;  // for messages
  Descriptor descriptor;
};

// This user may not read a file of a process.
struct NoPermission : EnumerationError {
  using EnumerationError::EnumerationError;
};

// When reading must end: other users decide how much there is in /proc.
using Deadline = std::chrono::steady_clock::time_point;

// /proc itself. Throws EnumerationError if it is not there, or shows another PID namespace in which
// this process does not exist.
[[nodiscard]] ProcDirectory openProc();

// All functions below return nothing if the process, thread or descriptor has ended, and throw
// NoPermission if this user may not read.

[[nodiscard]] std::optional<ProcDirectory> openDirectory(const ProcDirectory& parent,
                                                         const std::string& name);

// The target of a link. Empty if it does not fit in 4,096 bytes: the kernel formats no longer ones.
[[nodiscard]] std::optional<std::string> linkIn(const ProcDirectory& directory,
                                                const std::string& name);

// The content of a file that every user may read. Nothing also if /proc hides the process (mount
// option hidepid).
[[nodiscard]] std::optional<std::string> publicTextIn(const ProcDirectory& directory,
                                                      const std::string& name);

inline constexpr const char* kThis = ".";  // names the directory itself

// Calls `handle` with the name of each entry that is a number, until it returns false. Throws
// EnumerationError after the deadline.
void forEachNumber(const ProcDirectory& parent, const std::string& name, Deadline deadline,
                   const std::function<bool(std::uint32_t)>& handle);

}  // namespace egress::live

#endif
