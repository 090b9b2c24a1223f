#include "egress_snapshot/blank_config.h"

#include <cstddef>
#include <string_view>

namespace egress::snapshot {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t\n\r";  // those of JSON
constexpr std::string_view kLineEnds = "\n\r";
constexpr std::size_t kNowhere = std::string_view::npos;

// The offset after the string that begins at this quote. A string without its end takes the rest.
std::size_t endOfString(std::string_view text, std::size_t quote) {
  std::size_t at = text.find_first_of("\"\\", quote + 1);
  while (at != kNowhere && text[at] == '\\') at = text.find_first_of("\"\\", at + 2);
  return at == kNowhere ? text.size() : at + 1;
}

// The offset after the comment that begins at this slash, or kNowhere if it is not complete.
std::size_t endOfComment(std::string_view text, std::size_t slash) {
  const std::string_view opening = text.substr(slash, 2);
  if (opening == "//") {
    const std::size_t lineEnd = text.find_first_of(kLineEnds, slash);
    return lineEnd == kNowhere ? text.size() : lineEnd;
  }
  if (opening != "/*") return kNowhere;
  const std::size_t closing = text.find("*/", slash + 2);
  return closing == kNowhere ? kNowhere : closing + 2;
}

void blankComment(std::string& text, std::size_t begin, std::size_t end) {
  for (std::size_t i = begin; i < end; ++i) {
    if (kLineEnds.find(text[i]) == kNowhere) text[i] = ' ';
  }
}

}  // namespace

BlankedParts blankNonJson(std::string& text) noexcept {
  BlankedParts blanked;
  std::size_t at = 0;
  if (text.starts_with(kByteOrderMark)) {
    blanked.byteOrderMark = true;
    for (; at < kByteOrderMark.size(); ++at) text[at] = ' ';
  }
  bool followsValue = false;     // the last token ends a value
  std::size_t comma = kNowhere;  // of the last token, if that is a comma after a value
  while (at < text.size()) {
    const char byte = text[at];
    if (kBlanks.find(byte) != kNowhere) {
      ++at;
    } else if (byte == '/') {
      const std::size_t end = endOfComment(text, at);
      if (end == kNowhere) return blanked;
      blankComment(text, at, end);
      ++blanked.comments;
      at = end;
    } else {
      if (comma != kNowhere && (byte == ']' || byte == '}')) {
        text[comma] = ' ';
        ++blanked.trailingCommas;
      }
      comma = followsValue && byte == ',' ? at : kNowhere;
      followsValue = std::string_view("[{,:").find(byte) == kNowhere;
      at = byte == '"' ? endOfString(text, at) : at + 1;
    }
  }
  return blanked;
}

}  // namespace egress::snapshot
