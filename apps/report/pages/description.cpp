#include "apps/report/pages/description.h"

#include <algorithm>
#include <array>
#include <memory>
#include <set>
#include <utility>

#include "apps/report/described_options.h"
#include "egress/version.h"

namespace egress::report {
namespace {

std::string onOneLine(std::string text) {
  std::ranges::replace(text, '\n', ' ');
  return text;
}

std::string longName(const CLI::Option& option) {
  return concat({"--", option.get_lnames().front()});
}

std::vector<std::string> namesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back(concat({"-", name}));
  for (const std::string& name : option.get_lnames()) names.push_back(concat({"--", name}));
  return names;
}

// A set of CLI11 is ordered by address; the result is in the order of --help.
std::vector<std::string> longNamesOf(const std::set<CLI::Option*>& chosen, const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* const option : app.get_options()) {
    const auto isOption = [option](const CLI::Option* other) { return other == option; };
    if (std::ranges::any_of(chosen, isOption)) names.push_back(longName(*option));
  }
  return names;
}

ValueKind valueKindOf(const CLI::Option& option) {
  using enum ValueKind;
  static constexpr auto kKinds = std::to_array<std::pair<std::string_view, ValueKind>>(
      {{"FILE", FILE}, {"PATH", FILE}, {"TAG=FILE", TAG_FILE}, {"USER", USER}});
  if (!wordsOf(option).empty()) return WORD;
  if (option.get_items_expected_max() == 0) {
    return option.get_type_name().empty() ? NONE : OPTIONAL;
  }
  if (option.check_name("--process")) return PROCESS;
  for (const auto& [metavar, kind] : kKinds) {
    if (option.get_type_name() == metavar) return kind;
  }
  return OTHER;
}

DescribedOption describe(const CLI::Option& option, const CLI::App& app) {
  DescribedOption described;
  described.names = namesOf(option);
  described.value = valueKindOf(option);
  const bool hasMetavar = described.value != ValueKind::NONE && described.value != ValueKind::WORD;
  if (hasMetavar) described.metavar = option.get_type_name();
  described.words = wordsOf(option);
  described.text = onOneLine(option.get_description());
  described.excludes = longNamesOf(option.get_excludes(), app);
  described.isRepeatable = option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
  return described;
}

}  // namespace

Description describeProgram() {
  const std::shared_ptr<const CLI::App> app = describedOptions();
  Description description;
  description.program = app->get_name();
  description.version = kVersion;
  description.text = onOneLine(app->get_description());
  for (const CLI::Option* const option : app->get_options()) {
    description.options.push_back(describe(*option, *app));
  }
  description.footer = app->get_footer();
  return description;
}

std::string concat(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) text += part;
  return text;
}

std::string joined(const std::vector<std::string>& texts, std::string_view separator) {
  std::string all;
  for (const std::string& text : texts) {
    if (&text != &texts.front()) all += separator;
    all += text;
  }
  return all;
}

std::string escaped(std::string_view text, std::string_view special, std::string_view escape) {
  std::string result;
  for (const char byte : text) {
    if (special.find(byte) != std::string_view::npos) result += escape;
    result += byte;
  }
  return result;
}

}  // namespace egress::report
