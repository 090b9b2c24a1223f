// Hands any bytes to the functions of the C interface: as a snapshot, as a configuration and
// answers with a zero byte between them, or as a word and JSON. The first byte selects.

#include <algorithm>
#include <cstddef>

#include "fuzz/fuzz_target.h"
#include "tests/laws/c_laws.h"

namespace egress::fuzz {

test::Violation check(std::string_view bytes) {
  if (bytes.empty()) return {};
  const std::string_view text = bytes.substr(1);
  switch (bytes.front()) {
    case 'S': return test::checkCSnapshot(text);
    case 'C': {
      const std::size_t end = std::min(text.find('\0'), text.size());
      const std::size_t next = std::min(end + 1, text.size());
      return test::checkCConfig(text.substr(0, end), text.substr(next));
    }
    default: return test::checkCText(text);
  }
}

}  // namespace egress::fuzz
