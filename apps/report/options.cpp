#include "apps/report/options.h"

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "apps/report/described_options.h"
#include "apps/report/files.h"
#include "apps/report/option_values.h"

namespace egress::report {
namespace {

bool takesValue(const CLI::Option* option) {
  return option != nullptr && option->get_items_expected_max() > 0;
}

// Splits "--option=VALUE" into two words, because CLI11 2.1 takes the word after "--option=" as its
// value. A word that is the value of the option before it is left as it is.
std::vector<std::string> splitWords(const CLI::App& app, int count, const char* const* arguments) {
  std::vector<std::string> words;
  bool isValue = false;
  for (int i = 1; i < count; ++i) {
    const std::string word = arguments[i];
    const std::size_t equals = isValue ? std::string::npos : word.find('=');
    const CLI::Option* const option =
        isValue ? nullptr : app.get_option_no_throw(word.substr(0, equals));
    isValue = takesValue(option) && equals == std::string::npos;
    if (option == nullptr || equals == std::string::npos) {
      words.push_back(word);
      continue;
    }
    const std::string name = word.substr(0, equals);
    if (name == kJsonOption) {  // a flag that may have a value
      if (equals + 1 == word.size())
        throw CannotRun(name + ": '' is neither 'report' nor 'details'");
      words.push_back(word);
      continue;
    }
    if (!takesValue(option)) throw CannotRun(name + ": takes no value");
    words.push_back(name);
    words.push_back(word.substr(equals + 1));
  }
  return words;
}

}  // namespace

std::optional<Options> readOptions(int argumentCount, const char* const* arguments) {
  CLI::App app;
  Options options;
  RawOptions raw;
  describeOptions(app, options, raw);
  try {
    std::vector<std::string> words = splitWords(app, argumentCount, arguments);
    std::ranges::reverse(words);  // as CLI11 takes them
    app.parse(std::move(words));
  } catch (const CLI::Success& success) {  // --help, --version
    app.exit(success, std::cout, std::cout);
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw CannotRun(std::string(error.what()) + "; see egress-report --help");
  }
  checkAndComplete(raw, options);
  return options;
}

}  // namespace egress::report
