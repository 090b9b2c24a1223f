#ifndef EGRESS_TESTS_SUPPORT_CAPTURED_OUTPUT_H
#define EGRESS_TESTS_SUPPORT_CAPTURED_OUTPUT_H

#include <cstdio>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace egress::test {

// The path of a file that does not exist.
inline std::string temporaryPath() {
  return testing::TempDir() + "egress_test_" + std::to_string(std::random_device()());
}

// An empty file that is removed when it is closed, or null.
inline std::FILE* openTemporaryFile() {
#ifdef __wasi__  // lacks tmpfile()
  const std::string path = temporaryPath();
  std::FILE* const file = std::fopen(path.c_str(), "w+");
  std::remove(path.c_str());
  return file;
#else
  return std::tmpfile();
#endif
}

// A temporary file as an output stream, and the text written to it so far.
class CapturedOutput {
 public:
  CapturedOutput() : file_(openTemporaryFile(), &std::fclose) { EXPECT_NE(file_, nullptr); }

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
