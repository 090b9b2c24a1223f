#ifndef EGRESS_LIVE_LINUX_PROC_TEXT_H
#define EGRESS_LIVE_LINUX_PROC_TEXT_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace egress::live {

// Texts of /proc/PID (proc(5)). Processes choose parts of them: their name, the paths of their
// program and of their open files.

// The number of a process, thread or descriptor in the name of a directory entry.
[[nodiscard]] std::optional<std::uint32_t> numberIn(std::string_view entry);

// The name in "comm": all but the last newline, for the name may contain newlines.
[[nodiscard]] std::string_view nameIn(std::string_view comm);

// The real user ID in "status", in its line "Uid:". The kernel escapes newlines of the name there.
[[nodiscard]] std::optional<std::uint32_t> realUserIn(std::string_view status);

// The path in the link "exe", also of an executable that was deleted, for example by an update.
[[nodiscard]] std::string_view programIn(std::string_view link);

// The file name at the end of a path.
[[nodiscard]] std::string_view fileNameIn(std::string_view path);

// The inode in "socket:[INODE]", a link in "fd". Nothing for another kind of descriptor.
[[nodiscard]] std::optional<std::uint32_t> socketInodeIn(std::string_view link);

// A device number in the kernel's encoding, which differs from that of stat(2).
[[nodiscard]] constexpr std::uint32_t deviceNumber(std::uint32_t major,
                                                   std::uint32_t minor) noexcept {
  constexpr std::uint32_t kMinorBits = 20;
  return (major << kMinorBits) | minor;
}

// The device number of the file system that a mount shows, from "mountinfo". Nothing if no mount
// has this ID, as for a mount outside a chroot.
[[nodiscard]] std::optional<std::uint32_t> mountedDeviceIn(std::string_view mounts,
                                                           std::uint32_t mountId);

}  // namespace egress::live

#endif
