// Writes the manual page or a completion of egress-report, at build time.

#include <array>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <utility>

#include "apps/report/pages/description.h"

namespace egress::report {
namespace {

using MakePage = std::string (*)(const Description& description);

constexpr auto kPages = std::to_array<std::pair<std::string_view, MakePage>>({
    {"man", manualPage},
    {"bash", bashCompletion},
    {"zsh", zshCompletion},
    {"fish", fishCompletion},
});

MakePage pageIn(std::string_view format) {
  for (const auto& [name, makePage] : kPages) {
    if (name == format) return makePage;
  }
  return nullptr;
}

int writePage(MakePage makePage, const std::string& path) {
  std::ofstream file;
  if (!path.empty()) file.open(path);
  std::ostream& out = path.empty() ? std::cout : file;
  out << makePage(describeProgram()) << std::flush;
  if (out) return 0;
  std::cerr << "egress_report_pages: cannot write to "
            << (path.empty() ? "standard output" : "'" + path + "'") << '\n';
  return 1;
}

}  // namespace
}  // namespace egress::report

int main(int argc, char** argv) {
  const auto makePage = argc == 2 || argc == 3 ? egress::report::pageIn(argv[1]) : nullptr;
  if (makePage != nullptr) return egress::report::writePage(makePage, argc == 3 ? argv[2] : "");
  std::cerr << "Usage: egress_report_pages man|bash|zsh|fish [FILE]\n";
  return 2;
}
