#ifndef EGRESS_C_RESULT_OF_H
#define EGRESS_C_RESULT_OF_H

#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

#include "egress_c/egress.h"

namespace egress::c {

// What becomes a result.
struct Outcome {
  egress_status status = EGRESS_OK;
  std::string text;
};

inline std::string_view textOf(const char* bytes, size_t length) noexcept {
  return bytes == nullptr ? std::string_view() : std::string_view(bytes, length);
}

inline const egress_result* newResult(egress_status status, std::string_view text) noexcept {
  return egress_result_new(status, text.data(), text.size());
}

// The result of a call. Its exceptions become a status.
inline const egress_result* resultOfCall(Outcome (*call)(const void*), const void* work) noexcept {
#ifdef __cpp_exceptions
  try {
    const Outcome outcome = call(work);
    return newResult(outcome.status, outcome.text);
  } catch (const std::bad_alloc&) {
    return newResult(EGRESS_NO_MEMORY, {});
  } catch (const std::length_error&) {  // larger than any memory
    return newResult(EGRESS_NO_MEMORY, {});
  } catch (...) {
    return newResult(EGRESS_FAILED, "internal error");
  }
#else
  const Outcome outcome = call(work);
  return newResult(outcome.status, outcome.text);
#endif
}

// The result of a function object that returns an Outcome.
template <typename Work>
const egress_result* resultOf(const Work& work) noexcept {
  const auto call = [](const void* object) { return (*static_cast<const Work*>(object))(); };
  return resultOfCall(call, &work);
}

}  // namespace egress::c

#endif
