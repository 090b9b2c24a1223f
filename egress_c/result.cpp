#include <algorithm>
#include <new>
#include <string_view>

#include "egress_c/egress.h"
#include "egress_c/result_of.h"

// The text of an allocated result follows it in the same allocation.
struct egress_result {
  egress_status status;
  const char* text;
  size_t length;
};

namespace {

constexpr std::string_view kOutOfMemory = "out of memory";
constexpr egress_result kNoMemory = {EGRESS_NO_MEMORY, kOutOfMemory.data(), kOutOfMemory.size()};

}  // namespace

egress_status egress_result_status(const egress_result* result) {
  return result->status;
}

const char* egress_result_text(const egress_result* result) {
  return result->text;
}

size_t egress_result_length(const egress_result* result) {
  return result->length;
}

void egress_result_free(const egress_result* result) {
  if (result != &kNoMemory) ::operator delete(const_cast<egress_result*>(result));
}

const egress_result* egress_result_new(egress_status status, const char* text, size_t length) {
  if (status == EGRESS_NO_MEMORY) return &kNoMemory;
  const std::string_view source = egress::c::textOf(text, length);
  void* const memory =
      ::operator new(sizeof(egress_result) + source.size() + sizeof('\0'), std::nothrow);
  if (memory == nullptr) return &kNoMemory;
  char* const copy = static_cast<char*>(memory) + sizeof(egress_result);
  *std::ranges::copy(source, copy).out = '\0';
  return new (memory) egress_result{status, copy, source.size()};
}
