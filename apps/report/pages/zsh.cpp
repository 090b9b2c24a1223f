#include "apps/report/pages/description.h"

namespace egress::report {
namespace {

std::string quoted(std::string_view text) {
  std::string result = "'";
  for (const char byte : text) {
    if (byte == '\'') {
      result += "'\\''";
    } else {
      result += byte;
    }
  }
  return result + "'";
}

// How _arguments completes the value.
std::string actionOf(const DescribedOption& option) {
  switch (option.value) {
    case ValueKind::FILE: return "_files";
    case ValueKind::TAG_FILE: return "{ compset -P \"*=\" && _files }";
    case ValueKind::USER: return "_users";
    case ValueKind::PROCESS: return "_process_names";
    case ValueKind::WORD: return concat({"(", joined(option.words, " "), ")"});
    case ValueKind::OPTIONAL:
    case ValueKind::OTHER:
    case ValueKind::NONE: break;
  }
  return "";
}

// How the value follows the name, what it is, and its completion.
std::string endOfSpec(const DescribedOption& option) {
  std::string text = concat({"[", escaped(option.text, "\\[]"), "]"});
  if (option.value == ValueKind::NONE) return text;
  if (option.value == ValueKind::WORD) return concat({"=-", text, "::value:", actionOf(option)});
  const bool isOptional = option.value == ValueKind::OPTIONAL;
  return concat({isOptional ? "=-" : "=", text, isOptional ? "::" : ":",
                 escaped(option.metavar, "\\:"), ":", actionOf(option)});
}

// One argument of _arguments for each name.
std::string specsOf(const DescribedOption& option) {
  std::vector<std::string> others = option.excludes;
  if (!option.isRepeatable) others.insert(others.end(), option.names.begin(), option.names.end());
  std::string begin = others.empty() ? "" : concat({"(", joined(others, " "), ")"});
  if (option.isRepeatable) begin += '*';
  std::string specs;
  for (const std::string& name : option.names) {
    specs += concat({" \\\n  ", quoted(concat({begin, name, endOfSpec(option)}))});
  }
  return specs;
}

}  // namespace

std::string zshCompletion(const Description& description) {
  std::string page = concat({"#compdef ", description.program, "\n\n_arguments"});
  for (const DescribedOption& option : description.options) page += specsOf(option);
  return page + "\n";
}

}  // namespace egress::report
