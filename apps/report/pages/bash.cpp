#include "apps/report/pages/description.h"

namespace egress::report {
namespace {

// Compares names one by one: compgen -W would run what is in the name of a process. Sort alone
// would give nothing if a process ends at that moment.
constexpr std::string_view kProcessReplies = R"sh(local name
      while IFS= read -r name; do
        [[ $name == "$current"* ]] && COMPREPLY+=("$(printf %q "$name")")
      done < <(cat /proc/[0-9]*/comm 2>/dev/null | sort -u))sh";

constexpr std::string_view kBeginning = R"sh(
_egress_report() {
  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} equals=
  # Bash splits "--option=value" into three words.
  if [[ $current == = ]]; then
    current='' equals='='
  elif [[ $before == = ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]} equals='='
  fi
  COMPREPLY=()
  case $before$equals in
)sh";

// The words of "--option TAG=FILE" or "--option=TAG=FILE", after the name of the option.
constexpr std::string_view kTagFile = R"sh() (= )?[^ ]+ =( [^ ]*)?$'
  if [[ "${COMP_WORDS[*]:1:COMP_CWORD}" =~ $tag_file ]]; then
    compopt -o default
    return
  fi
)sh";

// What to do for the value of an option.
std::string repliesFor(const DescribedOption& option) {
  switch (option.value) {
    case ValueKind::FILE: return "compopt -o default";
    case ValueKind::USER: return R"(mapfile -t COMPREPLY < <(compgen -u -- "$current"))";
    case ValueKind::PROCESS: return std::string(kProcessReplies);
    case ValueKind::WORD:
      return concat({"mapfile -t COMPREPLY < <(compgen -W '", joined(option.words, " "),
                     "' -- \"$current\")"});
    case ValueKind::TAG_FILE:
    case ValueKind::OPTIONAL:
    case ValueKind::OTHER:
    case ValueKind::NONE: break;
  }
  return "";
}

// The patterns of what precedes a value; one that may be left out is taken only after "=".
std::string patternsOf(const DescribedOption& option) {
  const bool needsEquals = option.value == ValueKind::WORD || option.value == ValueKind::OPTIONAL;
  std::vector<std::string> patterns;
  for (const std::string& name : option.names) {
    if (!needsEquals) patterns.push_back(name);
    patterns.push_back(name + "=");
  }
  return joined(patterns, " | ");
}

std::string branchOf(const DescribedOption& option) {
  const std::string replies = repliesFor(option);
  const std::string command = replies.empty() ? "" : concat({"      ", replies, "\n"});
  return concat({"    ", patternsOf(option), ")\n", command, "      return ;;\n"});
}

std::vector<std::string> namesOfAll(const std::vector<DescribedOption>& options) {
  std::vector<std::string> names;
  for (const DescribedOption& option : options) {
    names.insert(names.end(), option.names.begin(), option.names.end());
  }
  return names;
}

std::vector<std::string> namesOfTagFiles(const std::vector<DescribedOption>& options) {
  std::vector<std::string> names;
  for (const DescribedOption& option : options) {
    if (option.value != ValueKind::TAG_FILE) continue;
    names.insert(names.end(), option.names.begin(), option.names.end());
  }
  return names;
}

}  // namespace

std::string bashCompletion(const Description& description) {
  std::string page = concat({"# bash completion for ", description.program, kBeginning});
  for (const DescribedOption& option : description.options) {
    if (option.value != ValueKind::NONE) page += branchOf(option);
  }
  page += "  esac\n";
  const std::vector<std::string> tagFiles = namesOfTagFiles(description.options);
  if (!tagFiles.empty()) {
    page += concat({"  local tag_file='(^| )(", joined(tagFiles, "|"), kTagFile});
  }
  return page + concat({"  mapfile -t COMPREPLY < <(compgen -W '",
                        joined(namesOfAll(description.options), " "), "' -- \"$current\")\n}\n",
                        "complete -F _egress_report ", description.program, "\n"});
}

}  // namespace egress::report
