#include "egress_live/linux/processes.h"

#include <cerrno>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>

#include "egress_live/linux/errors.h"

namespace egress::live {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxCommLength = 15;

std::optional<std::uint32_t> numberIn(std::string_view text) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || last != end) return std::nullopt;
  return number;
}

fs::path procPath(std::uint32_t process) {
  return "/proc/" + std::to_string(process);
}

[[noreturn]] void failToRead(const fs::path& path, const std::error_code& error) {
  throw EnumerationError("cannot read '" + path.string() + "': " + error.message());
}

// ENOENT if the process's directory is gone, ESRCH if the process ended after the file was opened.
bool hasEnded(const std::error_code& error) {
  return error == std::errc::no_such_file_or_directory || error == std::errc::no_such_process;
}

// The target of a link in /proc/PID; nothing if the process has ended.
std::optional<std::string> linkOf(const fs::path& link) {
  std::error_code error;
  std::string target = fs::read_symlink(link, error).string();
  if (hasEnded(error)) return std::nullopt;
  if (error) failToRead(link, error);
  return target;
}

// Nothing if the process has ended or is a zombie.
std::optional<std::string> networkNamespaceOf(const fs::path& process) {
  return linkOf(process / "ns/net");
}

// /proc/PID/comm; nothing if the process has ended.
std::optional<std::string> commOf(std::uint32_t process) {
  const fs::path path = procPath(process) / "comm";
  std::ifstream file(path);
  std::string comm;
  if (std::getline(file, comm)) return comm;
  const std::error_code error(errno, std::generic_category());
  if (hasEnded(error)) return std::nullopt;
  failToRead(path, error);
}

// The file name of the executable, even if it was deleted, for example by an update.
std::string programNameOf(std::uint32_t process) {
  constexpr std::string_view kRemoved = " (deleted)";
  std::string path = linkOf(procPath(process) / "exe").value_or("");
  if (path.ends_with(kRemoved)) path.resize(path.size() - kRemoved.size());
  return fs::path(path).filename();
}

bool hasName(std::uint32_t process, const std::string& name) {
  if (commOf(process) != name.substr(0, kMaxCommLength)) return false;
  return name.size() <= kMaxCommLength || programNameOf(process) == name;
}

ProcessIds allProcesses() {
  ProcessIds processes;
  std::error_code error;
  for (fs::directory_iterator entry("/proc", error), end; !error && entry != end;
       entry.increment(error)) {
    if (const auto process = numberIn(entry->path().filename().string())) {
      processes.push_back(*process);
    }
  }
  if (error) failToRead("/proc", error);
  return processes;
}

std::variant<ProcessIds, NoProcess> findProcess(std::uint32_t process) {
  const std::string name = "process " + std::to_string(process);
  const std::optional<std::string> network = networkNamespaceOf(procPath(process));
  if (!network) {
    return NoProcess{.reason = NoProcessReason::NOT_VISIBLE,
                     .message = "no " + name + " is visible to this user"};
  }
  if (network != networkNamespaceOf("/proc/self")) {
    return NoProcess{.reason = NoProcessReason::OTHER_NETWORK,
                     .message = name + " is in another network namespace"};
  }
  return ProcessIds{process};
}

std::variant<ProcessIds, NoProcess> findProcessesNamed(const std::string& name) {
  const std::optional<std::string> network = networkNamespaceOf("/proc/self");
  ProcessIds processes = allProcesses();
  std::erase_if(processes, [&](std::uint32_t process) {
    return !hasName(process, name) || networkNamespaceOf(procPath(process)) != network;
  });
  if (processes.empty()) {
    return NoProcess{.reason = NoProcessReason::NOT_VISIBLE,
                     .message = "no process named '" + name +
                                "' is visible to this user in this network namespace"};
  }
  return processes;
}

// The inode in "socket:[INODE]".
std::optional<std::uint32_t> socketInodeIn(std::string_view target) {
  constexpr std::string_view kPrefix = "socket:[";
  if (!target.starts_with(kPrefix) || !target.ends_with(']')) return std::nullopt;
  target.remove_prefix(kPrefix.size());
  target.remove_suffix(1);
  return numberIn(target);
}

void addSocketInodes(std::uint32_t process, std::set<std::uint32_t>& inodes) {
  const fs::path directory = procPath(process) / "fd";
  std::error_code error;
  for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::optional<std::string> target = linkOf(entry->path());  // none if closed meanwhile
    if (!target) continue;
    if (const auto inode = socketInodeIn(*target)) inodes.insert(*inode);
  }
  if (error && !hasEnded(error)) failToRead(directory, error);
}

}  // namespace

std::variant<ProcessIds, NoProcess> findProcesses(const ProcessChoice& choice) {
  if (const auto* const process = std::get_if<std::uint32_t>(&choice)) return findProcess(*process);
  return findProcessesNamed(std::get<ProcessName>(choice).name);
}

std::set<std::uint32_t> socketInodesOf(const ProcessIds& processes) {
  std::set<std::uint32_t> inodes;
  for (const std::uint32_t process : processes) addSocketInodes(process, inodes);
  return inodes;
}

}  // namespace egress::live
