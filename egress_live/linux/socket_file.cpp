#include "egress_live/linux/socket_file.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include "egress_live/linux/descriptor.h"
#include "egress_live/linux/errors.h"
#include "egress_live/linux/proc_files.h"
#include "egress_live/linux/proc_text.h"

namespace egress::live {
namespace {

[[noreturn]] void failToConnect(const std::string& path, int error) {
  throw EnumerationError(withSystemError("cannot connect to '" + path + "'", error));
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) failToConnect(path, ENAMETOOLONG);
  std::ranges::copy(path, std::begin(address.sun_path));
  return address;
}

}  // namespace

// Not the device that stat(2) tells: overlayfs and btrfs have others there than the file system's.
std::optional<SocketFile> socketFileAt(const std::string& path) {
  struct statx status {};
  if (statx(AT_FDCWD, path.c_str(), 0, STATX_INO | STATX_MNT_ID, &status) != 0) return std::nullopt;
  const std::string mounts = publicTextIn(openProc(), "thread-self/mountinfo").value_or("");
  const auto mount = static_cast<std::uint32_t>(status.stx_mnt_id);
  const std::optional<std::uint32_t> device = mountedDeviceIn(mounts, mount);
  return SocketFile{
      .inode = status.stx_ino,
      .device = device.value_or(deviceNumber(status.stx_dev_major, status.stx_dev_minor))};
}

std::uint32_t processListeningAt(const std::string& path) {
  const sockaddr_un address = addressOf(path);
  const void* const pointer = &address;
  const Descriptor client(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (client.number() < 0 ||
      connect(client.number(), static_cast<const sockaddr*>(pointer), sizeof(address)) != 0) {
    failToConnect(path, errno);
  }
  ucred peer{};
  socklen_t size = sizeof(peer);
  if (getsockopt(client.number(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
    failToConnect(path, errno);
  }
  return static_cast<std::uint32_t>(peer.pid);
}

}  // namespace egress::live
