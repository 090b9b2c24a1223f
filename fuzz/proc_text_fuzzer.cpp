// Reads any bytes as each kind of text in /proc. What is read must stand in the text as the kernel
// writes it.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "egress_live/linux/proc_text.h"
#include "fuzz/fuzz_target.h"

namespace egress::fuzz {
namespace {

// The number with the zeros that may stand before it.
bool isNumber(std::string_view text, std::uint32_t number) {
  text.remove_prefix(std::min(text.find_first_not_of('0'), text.size() - 1));
  return text == std::to_string(number);
}

bool isNumberOrNothing(std::string_view text, std::optional<std::uint32_t> number) {
  return !number || (!text.empty() && isNumber(text, *number));
}

bool isInode(std::string_view link, std::optional<std::uint32_t> inode) {
  if (!inode) return true;
  const std::size_t first = std::string_view("socket:[").size();
  return link.starts_with("socket:[") && link.ends_with(']') && link.size() > first + 1 &&
         isNumber(link.substr(first, link.size() - first - 1), *inode);
}

// The ID is in the first line that begins with "Uid:", and that is not the line of the name.
bool isUser(std::string_view status, std::optional<std::uint32_t> user) {
  const std::size_t line = status.find("\nUid:\t");
  if (line == std::string_view::npos) return !user;
  const std::string_view rest = status.substr(line + std::string_view("\nUid:\t").size());
  const std::string_view id = rest.substr(0, rest.find('\t'));
  return user ? isNumberOrNothing(id, user) : !live::numberIn(id);
}

bool isFileName(std::string_view path, std::string_view name) {
  return path.ends_with(name) && name.find('/') == std::string_view::npos &&
         (name.size() == path.size() || path[path.size() - name.size() - 1] == '/');
}

}  // namespace

test::Violation check(std::string_view bytes) {
  const std::string text(bytes);  // in an allocation of its own, so that a sanitizer sees its end
  if (!isNumberOrNothing(text, live::numberIn(text))) return "not the number of the entry";
  if (!isInode(text, live::socketInodeIn(text))) return "not the inode of a socket";
  if (!isUser(text, live::realUserIn(text))) return "not the real user";
  if (!isFileName(text, live::fileNameIn(text))) return "not the file name";
  if (live::nameIn(text + '\n') != text) return "not the name";
  if (live::programIn(text + " (deleted)") != text) return "not the program that was deleted";
  return {};
}

}  // namespace egress::fuzz
