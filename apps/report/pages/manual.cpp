#include <algorithm>
#include <cctype>
#include <sstream>

#include "apps/report/pages/description.h"

namespace egress::report {
namespace {

// A page must have a date. It is not that of the build, so that each build makes the same page.
constexpr std::string_view kLastChange = "2026-11-22";

// As a part of a line of man(7). The formatter would replace these characters by typographic ones.
std::string inManual(std::string_view text) {
  std::string result;
  for (const char byte : text) {
    switch (byte) {
      case '\\': result += "\\e"; break;
      case '-': result += "\\-"; break;
      case '\'': result += "\\(aq"; break;
      case '`': result += "\\(ga"; break;
      case '^': result += "\\(ha"; break;
      case '~': result += "\\(ti"; break;
      default: result += byte;
    }
  }
  return result;
}

// A line of text. It must not begin like a request.
std::string line(std::string_view text) {
  const std::string_view guard = text.starts_with('.') ? "\\&" : "";
  return concat({guard, inManual(text), "\n"});
}

std::string bold(std::string_view text) {
  return concat({"\\fB", inManual(text), "\\fR"});
}

std::string italic(std::string_view text) {
  return concat({"\\fI", inManual(text), "\\fR"});
}

std::vector<std::string> allBold(std::vector<std::string> texts) {
  std::ranges::transform(texts, texts.begin(), bold);
  return texts;
}

std::string optionEntry(const DescribedOption& option) {
  std::string entry = concat({".TP\n", joined(allBold(option.names), ", ")});
  if (option.value == ValueKind::OPTIONAL) {
    entry += concat({"[=", italic(option.metavar), "]"});
  } else if (!option.metavar.empty()) {
    entry += concat({" ", italic(option.metavar)});
  }
  if (!option.words.empty()) entry += concat({"[=", joined(allBold(option.words), "|"), "]"});
  return entry + concat({"\n", line(option.text)});
}

bool isIndented(std::string_view text) {
  return text.starts_with(' ');
}

std::string capitals(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](unsigned char byte) { return static_cast<char>(std::toupper(byte)); });
  return text;
}

// An indented line of the footer: "  STATUS  MEANING", or a command.
std::string indentedLine(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const std::size_t digits = text.find_first_not_of("0123456789");
  const bool isStatus =
      digits > 0 && digits != std::string_view::npos && text.substr(digits).starts_with("  ");
  if (!isStatus) return concat({".nf\n.RS\n", line(text), ".RE\n.fi\n"});
  return concat({".TP\n", bold(text.substr(0, digits)), "\n", line(text.substr(digits + 2))});
}

// The sections of the footer: a title is a line that ends with a colon, an empty line separates
// paragraphs.
std::string footerSections(const std::string& footer) {
  std::string sections;
  bool beginsParagraph = false;
  std::istringstream lines(footer);
  for (std::string text; std::getline(lines, text);) {
    const bool isTitle = !isIndented(text) && text.ends_with(':');
    if (isTitle) {
      const std::string title = text.substr(0, text.size() - 1);
      sections += concat({".SH ", inManual(capitals(title)), "\n"});
    } else if (!text.empty()) {
      if (beginsParagraph) sections += ".PP\n";
      sections += isIndented(text) ? indentedLine(text) : line(text);
    }
    beginsParagraph = text.empty();
  }
  return sections;
}

// What the program does, as a phrase after its name.
std::string phraseOf(const Description& description) {
  std::string phrase = description.text.substr(0, description.text.find('.'));
  phrase.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(phrase.front())));
  return phrase;
}

}  // namespace

std::string manualPage(const Description& description) {
  const std::string program = inManual(description.program);
  std::string page = concat({
      ".\\\" Made from the options of ",
      description.program,
      ".\n",
      ".TH ",
      inManual(capitals(description.program)),
      " 1 ",
      kLastChange,
      " \"egress ",
      description.version,
      "\"\n",
      ".SH NAME\n",
      program,
      " \\- ",
      line(phraseOf(description)),
      ".SH SYNOPSIS\n.B ",
      program,
      "\n[",
      italic("OPTIONS"),
      "]\n",
      ".SH DESCRIPTION\n",
      line(description.text),
      ".SH OPTIONS\n",
  });
  for (const DescribedOption& option : description.options) page += optionEntry(option);
  page += footerSections(description.footer);
  page += ".SH SEE ALSO\n.BR egress\\-selfcheck (1)\n";
  return page;
}

}  // namespace egress::report
