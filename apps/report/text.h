#ifndef EGRESS_REPORT_TEXT_H
#define EGRESS_REPORT_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace egress::report {

inline constexpr std::string_view kArrow = " \u2192 ";

// Percent-encodes (RFC 3986, section 2.1) every byte except printable ASCII, for example as "%1B".
// Names of files and interfaces may contain terminal escape sequences.
[[nodiscard]] std::string printable(std::string_view text);

// The same, but keeps each UTF-8 character that takes up columns of a terminal, and a variation
// selector after it, which many emoji have. Others could hide text or reverse its direction.
[[nodiscard]] std::string readable(std::string_view text);

// Text of a stranger in quotes, readable, cut after 80 bytes.
[[nodiscard]] std::string quoted(std::string_view text);

// For example "1 comment" or "2 comments".
[[nodiscard]] std::string numberOf(std::uint64_t count, std::string_view what);

// For example "wan0, wan1 and wan2".
[[nodiscard]] std::string enumeration(const std::vector<std::string>& items);

// The columns that a readable text takes up.
[[nodiscard]] std::size_t columnsOf(std::string_view text);

// Breaks a text with blanks into lines of at most `width` columns, the first after `start`, the
// others after as many blanks; a longer word has a line of its own. Ends with a newline.
[[nodiscard]] std::string wrapped(std::string_view start, std::string_view text, std::size_t width);

// A line with the name of the program and the text, made printable.
[[nodiscard]] std::string errorLine(std::string_view text);

// Prints that line to standard error.
void printError(std::string_view text);

}  // namespace egress::report

#endif
