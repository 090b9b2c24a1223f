#ifndef EGRESS_TESTS_SUPPORT_CAPTURED_OUTPUT_H
#define EGRESS_TESTS_SUPPORT_CAPTURED_OUTPUT_H

#include <cstdio>
#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace egress::test {

// A temporary file as an output stream, and the text written to it so far.
class CapturedOutput {
 public:
  CapturedOutput() : file_(std::tmpfile(), &std::fclose) { EXPECT_NE(file_, nullptr); }

  [[nodiscard]] std::FILE* stream() const { return file_.get(); }

  [[nodiscard]] std::string text() const {
    std::string text;
    std::rewind(file_.get());
    for (int byte = std::fgetc(file_.get()); byte != EOF; byte = std::fgetc(file_.get())) {
      text.push_back(static_cast<char>(byte));
    }
    std::fseek(file_.get(), 0, SEEK_END);
    return text;
  }

 private:
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
};

}  // namespace egress::test

#endif
