#include "apps/report/text.h"

#include <algorithm>
#include <clocale>
#include <cwchar>
#include <iostream>

namespace egress::report {
namespace {

void appendEncoded(std::string& shown, std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    shown.append({'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]});
  }
}

bool isPrintableAscii(char c) {
  return c >= ' ' && c <= '~';
}

// Character properties of UTF-8 for the calling thread, whatever locale the user has.
class Utf8Locale {
 public:
  Utf8Locale() : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{})) {
    if (locale_ != locale_t{}) previous_ = uselocale(locale_);
  }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;
  ~Utf8Locale() {
    if (locale_ == locale_t{}) return;
    uselocale(previous_);
    freelocale(locale_);
  }

 private:
  locale_t locale_;
  locale_t previous_{};
};

// The first character of a text that is not empty.
struct Character {
  std::size_t size = 1;     // in bytes
  std::size_t columns = 0;  // 0: it takes up none, or is not UTF-8
};

// Chooses between the text and the emoji form of the character before it: U+FE0E and U+FE0F.
bool isVariationSelector(std::string_view bytes) {
  return bytes == "\xEF\xB8\x8E" || bytes == "\xEF\xB8\x8F";
}

// Needs a Utf8Locale.
Character firstCharacter(std::string_view text) {
  std::mbstate_t state{};
  wchar_t wide = 0;
  const std::size_t size = std::mbrtowc(&wide, text.data(), text.size(), &state);
  if (size == 0 || size > text.size()) return {};  // a zero byte, or not UTF-8
  const int columns = wcwidth(wide);
  return {.size = size, .columns = static_cast<std::size_t>(std::max(columns, 0))};
}

}  // namespace

std::string printable(std::string_view text) {
  std::string shown;
  for (const char c : text) {
    if (isPrintableAscii(c)) {
      shown += c;
    } else {
      appendEncoded(shown, {&c, 1});
    }
  }
  return shown;
}

std::string readable(std::string_view text) {
  if (std::ranges::all_of(text, isPrintableAscii)) return std::string(text);
  const Utf8Locale locale;
  std::string shown;
  bool isAfterVisible = false;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    const std::string_view bytes = text.substr(0, character.size);
    const bool isVisible = character.columns > 0;
    const bool isKept = isVisible || (isAfterVisible && isVariationSelector(bytes));
    isAfterVisible = isVisible;
    if (isKept) {
      shown += bytes;
    } else {
      appendEncoded(shown, bytes);
    }
    text.remove_prefix(character.size);
  }
  return shown;
}

std::string quoted(std::string_view text) {
  constexpr std::size_t kMax = 80;
  std::string result = "'";
  return result.append(readable(text.substr(0, kMax))).append(text.size() > kMax ? "...'" : "'");
}

std::string numberOf(std::uint64_t count, std::string_view what) {
  return std::to_string(count).append(" ").append(what).append(count == 1 ? "" : "s");
}

std::string enumeration(const std::vector<std::string>& items) {
  std::string text;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i > 0) text += i + 1 == items.size() ? " and " : ", ";
    text += items[i];
  }
  return text;
}

std::size_t columnsOf(std::string_view text) {
  if (std::ranges::all_of(text, isPrintableAscii)) return text.size();
  const Utf8Locale locale;
  std::size_t columns = 0;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    columns += character.columns;
    text.remove_prefix(character.size);
  }
  return columns;
}

std::string wrapped(std::string_view start, std::string_view text, std::size_t width) {
  const std::size_t indent = columnsOf(start);
  std::string result(start);
  std::size_t column = indent;
  while (!text.empty()) {
    const std::size_t blanks = std::min(text.find_first_not_of(' '), text.size());
    const std::size_t end = std::min(text.find(' ', blanks), text.size());
    const std::size_t columns = columnsOf(text.substr(0, end));
    const bool breaks = column > indent && column + columns > width;
    if (breaks) result.append("\n").append(indent, ' ');
    result += text.substr(breaks ? blanks : 0, end - (breaks ? blanks : 0));
    column = breaks ? indent + columns - blanks : column + columns;
    text.remove_prefix(end);
  }
  return result += '\n';
}

std::string errorLine(std::string_view text) {
  return "egress-report: " + printable(text) + '\n';
}

void printError(std::string_view text) {
  std::cerr << errorLine(text);
}

}  // namespace egress::report
