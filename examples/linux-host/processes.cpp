#include "examples/linux-host/processes.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>

#include "examples/linux-host/errors.h"

namespace linux_host {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxCommLength = 15;

fs::path procPath(pid_t process) {
  return "/proc/" + std::to_string(process);
}

template <typename Number>
std::optional<Number> numberIn(std::string_view text) {
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || last != end) return std::nullopt;
  return number;
}

[[noreturn]] void refuse(const fs::path& path, const std::error_code& error) {
  throw EnumerationError("sockets: cannot read " + path.string() + ": " + error.message());
}

// As after the process has ended: its folder is gone, or was when the file in it was opened.
bool hasEnded(const std::error_code& error) {
  return error == std::errc::no_such_file_or_directory || error == std::errc::no_such_process;
}

// Where a link of a process leads to; nothing when the process has ended.
std::optional<std::string> linkOf(const fs::path& link) {
  std::error_code error;
  std::string target = fs::read_symlink(link, error).string();
  if (hasEnded(error)) return std::nullopt;
  if (error) refuse(link, error);
  return target;
}

// Nothing when the process has ended, also while its parent has yet to hear of that.
std::optional<std::string> networkNamespaceOf(const fs::path& process) {
  return linkOf(process / "ns/net");
}

bool hasName(pid_t process, const std::string& name) {
  std::string comm;
  std::getline(std::ifstream(procPath(process) / "comm"), comm);
  if (comm != name.substr(0, kMaxCommLength)) return false;
  if (name.size() <= kMaxCommLength) return true;
  const std::optional<std::string> program = linkOf(procPath(process) / "exe");
  return program && fs::path(*program).filename() == name;
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
  if (error) refuse("/proc", error);
  return processes;
}

std::vector<pid_t> findProcess(pid_t process) {
  const std::string number = std::to_string(process);
  const std::optional<std::string> network = networkNamespaceOf(procPath(process));
  if (!network) throw CannotRun("--pid: there is no process " + number);
  if (network != networkNamespaceOf("/proc/self")) {
    throw CannotRun("--pid: process " + number + " is in another network namespace; run this " +
                    "there (nsenter --net --target " + number + " ...)");
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
    throw CannotRun("--process: no process of this network namespace is named '" + name + "'");
  }
  return processes;
}

// The number in "socket:[123]".
std::optional<std::uint32_t> socketInodeIn(std::string_view target) {
  constexpr std::string_view kOpening = "socket:[";
  if (!target.starts_with(kOpening) || !target.ends_with(']')) return std::nullopt;
  target.remove_prefix(kOpening.size());
  target.remove_suffix(1);
  return numberIn<std::uint32_t>(target);
}

void addSocketInodes(pid_t process, std::set<std::uint32_t>& inodes) {
  const fs::path folder = procPath(process) / "fd";
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::optional<std::string> target = linkOf(entry->path());  // none once it is closed
    if (!target) continue;
    if (const auto inode = socketInodeIn(*target)) inodes.insert(*inode);
  }
  if (error && !hasEnded(error)) refuse(folder, error);
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
