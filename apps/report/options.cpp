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

// "--watch SECONDS" as "--watch=SECONDS"; the value may be left out, so another option is none.
std::string joinedWatch(const std::string& word, const char* next) {
  const bool hasValue = word == kWatchOption && next != nullptr && *next != '-';
  return hasValue ? word + "=" + next : word;
}

// A flag that may have a value, with it.
std::string checkedFlag(const std::string& name, const std::string& word) {
  if (word.size() > name.size() + 1) return word;
  throw CannotRun(name + (name == kJsonOption ? ": '' is neither 'report' nor 'details'"
                                              : ": '' is not a number of seconds"));
}

// Splits "--option=VALUE" into two words, because CLI11 2.1 takes the word after "--option=" as its
// value. A word that is the value of the option before it is left as it is.
std::vector<std::string> splitWords(const CLI::App& app, int count, const char* const* arguments) {
  std::vector<std::string> words;
  bool isValue = false;
  for (int i = 1; i < count; ++i) {
    std::string word = arguments[i];
    if (!isValue) word = joinedWatch(word, i + 1 < count ? arguments[i + 1] : nullptr);
    if (word != arguments[i]) ++i;
    const std::size_t equals = isValue ? std::string::npos : word.find('=');
    const CLI::Option* const option =
        isValue ? nullptr : app.get_option_no_throw(word.substr(0, equals));
    isValue = takesValue(option) && equals == std::string::npos;
    if (option == nullptr || equals == std::string::npos) {
      words.push_back(word);
      continue;
    }
    const std::string name = word.substr(0, equals);
    if (name == kJsonOption || name == kWatchOption) {
      words.push_back(checkedFlag(name, word));
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
