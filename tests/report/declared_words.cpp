// Prints every word that a report may contain as "KEY WORD" lines, in the declared order.

#include <iostream>

#include "egress/selfcheck/totality_audit.h"

namespace {

void print(const egress::ExportedKey& exported) {
  for (const std::string& word : exported.declaredWords()) {
    std::cout << exported.key << ' ' << word << '\n';
  }
}

}  // namespace

int main() {
  for (const egress::ExportedKey& exported : egress::exportedKeys()) print(exported);
}
