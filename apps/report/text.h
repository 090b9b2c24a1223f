#ifndef EGRESS_REPORT_TEXT_H
#define EGRESS_REPORT_TEXT_H

#include <string>
#include <string_view>

namespace egress::report {

// Percent-encodes (RFC 3986, section 2.1) every byte except printable ASCII, for example as "%1B".
// Names of files and interfaces may contain terminal escape sequences.
[[nodiscard]] std::string printable(std::string_view text);

// Prints a line with the name of the program and the text, made printable, to standard error.
void printError(std::string_view text);

}  // namespace egress::report

#endif
