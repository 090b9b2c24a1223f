#include "examples/linux-host/processes.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>

#include "examples/linux-host/errors.h"
#include "examples/linux-host/text.h"

namespace linux_host {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxCommLength = 15;

fs::path procPath(pid_t process) {
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
std::optional<std::string> commOf(pid_t process) {
  const fs::path path = procPath(process) / "comm";
  std::ifstream file(path);
  std::string comm;
  if (std::getline(file, comm)) return comm;
  const std::error_code error(errno, std::generic_category());
  if (hasEnded(error)) return std::nullopt;
  failToRead(path, error);
}

// The file name of the executable, even if it was deleted, for example by an update.
std::string programNameOf(pid_t process) {
  constexpr std::string_view kRemoved = " (deleted)";
  std::string path = linkOf(procPath(process) / "exe").value_or("");
  if (path.ends_with(kRemoved)) path.resize(path.size() - kRemoved.size());
  return fs::path(path).filename();
}

bool hasName(pid_t process, const std::string& name) {
  if (commOf(process) != name.substr(0, kMaxCommLength)) return false;
  return name.size() <= kMaxCommLength || programNameOf(process) == name;
}

std::vector<pid_t> allProcesses() {
  std::vector<pid_t> processes;
  std::error_code error;
  for (fs::directory_iterator entry("/proc", error), end; !error && entry != end;
       entry.increment(error)) {
    if (const auto process = numberIn<pid_t>(entry->path().filename().string())) {
      processes.push_back(*process);
    }
  }
  if (error) failToRead("/proc", error);
  return processes;
}

std::vector<pid_t> findProcess(pid_t process) {
  const std::string number = std::to_string(process);
  const std::optional<std::string> network = networkNamespaceOf(procPath(process));
  if (!network) throw CannotRun("--pid: no process " + number + " is visible to this user");
  if (network != networkNamespaceOf("/proc/self")) {
    throw CannotRun("--pid: process " + number + " is in another network namespace; use " +
                    "nsenter --net --target " + number + " egress-report ...");
  }
  return {process};
}

std::vector<pid_t> findProcessesNamed(const std::string& name) {
  const std::optional<std::string> network = networkNamespaceOf("/proc/self");
  std::vector<pid_t> processes = allProcesses();
  std::erase_if(processes, [&](pid_t process) {
    return !hasName(process, name) || networkNamespaceOf(procPath(process)) != network;
  });
  if (processes.empty()) {
    throw CannotRun("--process: no process named '" + name + "' is visible to this user in this " +
                    "network namespace");
  }
  return processes;
}

// The inode in "socket:[INODE]".
std::optional<std::uint32_t> socketInodeIn(std::string_view target) {
  constexpr std::string_view kPrefix = "socket:[";
  if (!target.starts_with(kPrefix) || !target.ends_with(']')) return std::nullopt;
  target.remove_prefix(kPrefix.size());
  target.remove_suffix(1);
  return numberIn<std::uint32_t>(target);
}

void addSocketInodes(pid_t process, std::set<std::uint32_t>& inodes) {
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

std::vector<pid_t> findProcesses(const ProcessChoice& choice) {
  if (const auto* const process = std::get_if<pid_t>(&choice)) return findProcess(*process);
  return findProcessesNamed(std::get<std::string>(choice));
}

std::set<std::uint32_t> socketInodesOf(const std::vector<pid_t>& processes) {
  std::set<std::uint32_t> inodes;
  for (const pid_t process : processes) addSocketInodes(process, inodes);
  return inodes;
}

}  // namespace linux_host
