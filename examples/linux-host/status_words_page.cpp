#include "examples/linux-host/status_words_page.h"

#include <algorithm>

namespace linux_host {
namespace {

// The text after a heading, up to the next heading of the same or a higher level; empty if not
// found.
std::string_view sectionOf(std::string_view page, std::string_view level, std::string_view name) {
  const std::string heading =
      std::string("\n").append(level).append(" `").append(name).append("`\n");
  const std::size_t at = page.find(heading);
  if (at == std::string_view::npos) return {};
  page.remove_prefix(at + heading.size());
  const std::string_view next = level == "##" ? "\n## " : "\n##";
  return page.substr(0, page.find(next));
}

// The paragraph that starts with a bold label, joined into one line.
std::string paragraphOf(std::string_view section, std::string_view label) {
  const std::string opening = std::string("\n**").append(label).append(":** ");
  const std::size_t at = section.find(opening);
  if (at == std::string_view::npos) return {};
  section.remove_prefix(at + opening.size());
  std::string text(section.substr(0, section.find("\n\n")));
  std::erase(text, '`');
  std::ranges::replace(text, '\n', ' ');
  return text;
}

}  // namespace

WordExplanation explainWord(std::string_view key, std::string_view word) {
  const std::string_view section = sectionOf(sectionOf(kStatusWordsPage, "##", key), "###", word);
  return {.means = paragraphOf(section, "Means"),
          .usualCause = paragraphOf(section, "Usual cause"),
          .whatToDo = paragraphOf(section, "What to do")};
}

}  // namespace linux_host
