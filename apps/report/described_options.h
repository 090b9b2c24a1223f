#ifndef EGRESS_REPORT_DESCRIBED_OPTIONS_H
#define EGRESS_REPORT_DESCRIBED_OPTIONS_H

#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace egress::report {

// The description of the options that readOptions parses and --help prints, for what is made from
// it at build time.
[[nodiscard]] std::shared_ptr<const CLI::App> describedOptions();

// The words that the value of this option may be, if that is a closed list. The value is optional,
// follows the option's name and "=", and is the first word if it is left out.
[[nodiscard]] std::vector<std::string> wordsOf(const CLI::Option& option);

}  // namespace egress::report

#endif
