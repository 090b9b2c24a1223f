// The entry point of libFuzzer.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "fuzz/fuzz_target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto violation = egress::fuzz::check({reinterpret_cast<const char*>(data), size});
  if (violation.empty()) return 0;
  std::fprintf(stderr, "law violated: %s\n", violation.c_str());
  std::abort();
}
