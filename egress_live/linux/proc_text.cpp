#include "egress_live/linux/proc_text.h"

#include <algorithm>
#include <charconv>

namespace egress::live {
namespace {

// Removes the text up to the separator, and the separator, from the text; returns what was before.
std::string_view takeWord(std::string_view& text, char separator) {
  const std::string_view word = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(word.size() + 1, text.size()));
  return word;
}

}  // namespace

std::optional<std::uint32_t> numberIn(std::string_view entry) {
  std::uint32_t number = 0;
  const char* const end = entry.data() + entry.size();
  const auto [last, error] = std::from_chars(entry.data(), end, number);
  if (error != std::errc() || last != end) return std::nullopt;
  return number;
}

std::string_view nameIn(std::string_view comm) {
  if (comm.ends_with('\n')) comm.remove_suffix(1);
  return comm;
}

std::optional<std::uint32_t> realUserIn(std::string_view status) {
  constexpr std::string_view kKey = "\nUid:\t";
  const std::size_t line = status.find(kKey);
  if (line == std::string_view::npos) return std::nullopt;
  status.remove_prefix(line + kKey.size());
  return numberIn(status.substr(0, status.find('\t')));
}

std::string_view programIn(std::string_view link) {
  constexpr std::string_view kDeleted = " (deleted)";
  if (link.ends_with(kDeleted)) link.remove_suffix(kDeleted.size());
  return link;
}

std::string_view fileNameIn(std::string_view path) {
  return path.substr(path.rfind('/') + 1);  // npos + 1 is 0
}

std::optional<std::uint32_t> socketInodeIn(std::string_view link) {
  constexpr std::string_view kPrefix = "socket:[";
  if (!link.starts_with(kPrefix) || !link.ends_with(']')) return std::nullopt;
  link.remove_prefix(kPrefix.size());
  link.remove_suffix(1);
  return numberIn(link);
}

std::optional<std::uint32_t> mountedDeviceIn(std::string_view mounts, std::uint32_t mountId) {
  while (!mounts.empty()) {
    std::string_view mount = takeWord(mounts, '\n');  // ID, ID of the parent, device, ...
    if (numberIn(takeWord(mount, ' ')) != mountId) continue;
    takeWord(mount, ' ');
    const std::optional<std::uint32_t> major = numberIn(takeWord(mount, ':'));
    const std::optional<std::uint32_t> minor = numberIn(takeWord(mount, ' '));
    if (!major || !minor) return std::nullopt;
    return deviceNumber(*major, *minor);
  }
  return std::nullopt;
}

}  // namespace egress::live
