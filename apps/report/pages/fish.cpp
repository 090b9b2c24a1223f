#include "apps/report/pages/description.h"

namespace egress::report {
namespace {

std::string quoted(std::string_view text) {
  return concat({"'", escaped(text, "\\'"), "'"});
}

// The value that follows the name. Without this, fish offers no file.
std::string valueOf(const DescribedOption& option) {
  switch (option.value) {
    case ValueKind::FILE: return " -r -F";
    case ValueKind::USER: return " -x -a '(__fish_complete_users)'";
    case ValueKind::PROCESS: return " -x -a '(__fish_complete_proc)'";
    case ValueKind::WORD: return concat({" -a ", quoted(joined(option.words, " "))});
    case ValueKind::TAG_FILE:
    case ValueKind::OTHER: return " -x";
    case ValueKind::OPTIONAL:
    case ValueKind::NONE: break;
  }
  return "";
}

std::string lineOf(const DescribedOption& option, const std::string& program) {
  std::string text = concat({"complete -c ", program});
  for (const std::string& name : option.names) {
    const bool isLong = name.starts_with("--");
    text += concat({isLong ? " -l " : " -s ", name.substr(isLong ? 2 : 1)});
  }
  return concat({text, valueOf(option), " -d ", quoted(option.text), "\n"});
}

}  // namespace

std::string fishCompletion(const Description& description) {
  std::string page = concat({"complete -c ", description.program, " -f\n"});
  for (const DescribedOption& option : description.options) {
    page += lineOf(option, description.program);
  }
  return page;
}

}  // namespace egress::report
