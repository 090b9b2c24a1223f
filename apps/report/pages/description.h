#ifndef EGRESS_REPORT_PAGES_DESCRIPTION_H
#define EGRESS_REPORT_PAGES_DESCRIPTION_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace egress::report {

// What the value of an option is.
enum class ValueKind : std::uint8_t {
  NONE,      // the option has no value
  WORD,      // one of a closed list, or nothing
  OPTIONAL,  // anything, or nothing
  FILE,      // its path
  TAG_FILE,  // "TAG=FILE"
  USER,      // name of a user
  PROCESS,   // name of a process
  OTHER,     // anything
};

struct DescribedOption {
  std::vector<std::string> names;  // with their hyphens, short ones first
  ValueKind value = ValueKind::NONE;
  std::string metavar;                // as in --help; empty for NONE and WORD
  std::vector<std::string> words;     // of WORD
  std::string text;                   // one line
  std::vector<std::string> excludes;  // long names of options that must not be given with it
  bool isRepeatable = false;
};

struct Description {
  std::string program;
  std::string version;
  std::string text;                      // one line
  std::vector<DescribedOption> options;  // in the order of --help
  std::string footer;                    // lines, as --help prints them
};

// The description of egress-report that readOptions parses and --help prints.
[[nodiscard]] Description describeProgram();

// Each makes one page, which ends with a line end.
[[nodiscard]] std::string manualPage(const Description& description);  // for man(7)
[[nodiscard]] std::string bashCompletion(const Description& description);
[[nodiscard]] std::string zshCompletion(const Description& description);
[[nodiscard]] std::string fishCompletion(const Description& description);

// The parts one after the other. For literal + std::string(), optimising g++ 12 reports a false
// -Wrestrict.
[[nodiscard]] std::string concat(std::initializer_list<std::string_view> parts);

// The texts with a separator between them.
[[nodiscard]] std::string joined(const std::vector<std::string>& texts, std::string_view separator);

// With each byte of `special` replaced by `escape` and that byte.
[[nodiscard]] std::string escaped(std::string_view text, std::string_view special,
                                  std::string_view escape = "\\");

}  // namespace egress::report

#endif
