#include "egress_live/linux/proc_files.h"

#include <array>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>

#include "egress_live/linux/proc_text.h"

namespace egress::live {
namespace {

std::string pathOf(const ProcDirectory& parent, const std::string& name) {
  return name == kThis ? parent.path : parent.path + '/' + name;
}

bool isForbidden(int error) {
  return error == EACCES || error == EPERM;
}

[[noreturn]] void failToRead(const ProcDirectory& parent, const std::string& name) {
  const int error = errno;
  const std::string message = withSystemError("cannot read '" + pathOf(parent, name) + "'", error);
  if (isForbidden(error)) throw NoPermission(message);
  throw EnumerationError(message);
}

// ENOENT if the directory is gone, ESRCH if the process ended after its directory was opened.
bool hasEnded(int error) {
  return error == ENOENT || error == ESRCH;
}

Descriptor openAt(const ProcDirectory& parent, const std::string& name, int flags) {
  return Descriptor(openat(parent.descriptor.number(), name.c_str(), flags | O_CLOEXEC));
}

using Listing = std::unique_ptr<DIR, int (*)(DIR*)>;

Listing openListing(const ProcDirectory& parent, const std::string& name) {
  Descriptor directory = openAt(parent, name, O_RDONLY | O_DIRECTORY);
  DIR* const listing = directory.number() < 0 ? nullptr : fdopendir(directory.number());
  if (listing != nullptr) directory.release();  // closedir closes it
  return {listing, &closedir};
}

}  // namespace

ProcDirectory openProc() {
  ProcDirectory proc{.path = "/proc",
                     .descriptor = Descriptor(open("/proc", O_PATH | O_DIRECTORY | O_CLOEXEC))};
  if (proc.descriptor.number() < 0 || !linkIn(proc, "self")) {
    throw EnumerationError(
        "there is no '/proc/self': /proc is not mounted, or is that of another PID namespace");
  }
  return proc;
}

std::optional<ProcDirectory> openDirectory(const ProcDirectory& parent, const std::string& name) {
  ProcDirectory directory{.path = pathOf(parent, name),
                          .descriptor = openAt(parent, name, O_PATH | O_DIRECTORY)};
  if (directory.descriptor.number() >= 0) return directory;
  if (hasEnded(errno)) return std::nullopt;
  failToRead(parent, name);
}

std::optional<std::string> linkIn(const ProcDirectory& directory, const std::string& name) {
  std::array<char, 4096> target{};
  const ssize_t size =
      readlinkat(directory.descriptor.number(), name.c_str(), target.data(), target.size());
  if (size >= 0) return std::string(target.data(), static_cast<std::size_t>(size));
  if (errno == ENAMETOOLONG) return "";
  if (hasEnded(errno)) return std::nullopt;
  failToRead(directory, name);
}

std::optional<std::string> publicTextIn(const ProcDirectory& directory, const std::string& name) {
  const Descriptor file = openAt(directory, name, O_RDONLY);
  std::string text;
  std::array<char, 1024> part{};
  ssize_t size = file.number() < 0 ? -1 : 1;
  while (size > 0) {
    size = read(file.number(), part.data(), part.size());
    if (size > 0) text.append(part.data(), static_cast<std::size_t>(size));
  }
  if (size == 0) return text;
  if (hasEnded(errno) || isForbidden(errno)) return std::nullopt;
  failToRead(directory, name);
}

void forEachNumber(const ProcDirectory& parent, const std::string& name, Deadline deadline,
                   const std::function<bool(std::uint32_t)>& handle) {
  const Listing listing = openListing(parent, name);
  errno = listing == nullptr ? errno : 0;
  while (const dirent* const entry = listing == nullptr ? nullptr : readdir(listing.get())) {
    if (std::chrono::steady_clock::now() > deadline) {
      throw EnumerationError("there is more in '" + pathOf(parent, name) +
                             "' than can be read in the time limit");
    }
    const std::optional<std::uint32_t> number = numberIn(entry->d_name);
    if (number && !handle(*number)) return;
    errno = 0;
  }
  if (errno != 0 && !hasEnded(errno)) failToRead(parent, name);
}

}  // namespace egress::live
