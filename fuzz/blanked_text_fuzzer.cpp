// Blanks what is not JSON in any bytes. The bytes also choose a document and what is inserted into
// it.

#include "fuzz/fuzz_target.h"
#include "tests/laws/blank_laws.h"

namespace egress::fuzz {

test::Violation check(std::string_view bytes) {
  test::Violation violation = test::checkBlankedText(bytes).violation;
  if (!violation.empty()) return violation;
  test::InsertedParts inserted;
  test::Choices choices(bytes);
  return test::checkBlankedDocument(choices, inserted);
}

}  // namespace egress::fuzz
