#ifndef EGRESS_TESTS_EGRESS_C_OWNED_RESULT_H
#define EGRESS_TESTS_EGRESS_C_OWNED_RESULT_H

#include <memory>
#include <string_view>

#include "egress_c/egress.h"

namespace egress::c {

// Frees a result at its end.
class OwnedResult {
 public:
  explicit OwnedResult(const egress_result* result) : result_(result) {}

  [[nodiscard]] egress_status status() const { return egress_result_status(result_.get()); }
  [[nodiscard]] std::string_view text() const {
    return {egress_result_text(result_.get()), egress_result_length(result_.get())};
  }

 private:
  struct Free {
    void operator()(const egress_result* result) const { egress_result_free(result); }
  };
  std::unique_ptr<const egress_result, Free> result_;
};

}  // namespace egress::c

#endif
