// Any bytes as a selector's answer: read as by a plain transcription of the rules.

#include "fuzz/fuzz_target.h"
#include "tests/laws/config_laws.h"

namespace egress::fuzz {

test::Complaint judge(std::string_view bytes) {
  return test::judgeSelectorAnswerText(bytes);
}

}  // namespace egress::fuzz
