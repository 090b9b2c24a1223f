// The entry point for libFuzzer.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "fuzz/fuzz_target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto complaint = egress::fuzz::judge({reinterpret_cast<const char*>(data), size});
  if (complaint.empty()) return 0;
  std::fprintf(stderr, "broken law: %s\n", complaint.c_str());
  std::abort();
}
