// Any bytes as a configuration: read as by a plain transcription of the rules.

#include "fuzz/fuzz_target.h"
#include "tests/laws/config_laws.h"

namespace egress::fuzz {

test::Complaint judge(std::string_view bytes) {
  return test::judgeConfigText(bytes);
}

}  // namespace egress::fuzz
