// Reads a configuration from standard input and prints why it has no endpoint, if it has none.

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <iterator>
#include <string>

#include "egress/egress.h"

int main() {
  const std::string text(std::istreambuf_iterator<char>(std::cin), {});
  if (const auto fault = egress::findJsonFault(text)) {
    const auto at = text.begin() + static_cast<std::ptrdiff_t>(fault->offset);
    const auto line = std::count(text.begin(), at, '\n') + 1;
    std::cout << "line " << line << ", byte " << at - text.begin()
              << " of the text: " << egress::toString(fault->kind) << "\n";
  } else {
    for (const egress::ConfigDefect& defect : egress::findConfigDefects(text, {}, "")) {
      std::cout << egress::toString(defect.kind);
      if (defect.position) std::cout << ", outbound " << *defect.position;
      if (!defect.tag.empty()) std::cout << " '" << defect.tag << "'";
      if (!defect.key.empty()) std::cout << ", " << defect.key;
      if (!defect.value.empty()) std::cout << " = " << defect.value;
      std::cout << "\n";
    }
  }
  egress::DiagnosisInput input;
  egress::setProxyConfig(input, egress::readProxyConfig(text, /*hasText=*/true));
  const egress::Diagnosis diagnosis = egress::diagnose(input);
  std::cout << egress::toString(diagnosis.endpoint.status);
  if (!diagnosis.resolution.soughtTag.empty()) {
    std::cout << " '" << diagnosis.resolution.soughtTag << "'";
  }
  std::cout << "\n";
}
