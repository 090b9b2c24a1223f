#include "egress_live/linux/proc_text.h"

#include <charconv>

namespace egress::live {

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

}  // namespace egress::live
