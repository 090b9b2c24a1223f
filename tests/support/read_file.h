#ifndef EGRESS_TESTS_SUPPORT_READ_FILE_H
#define EGRESS_TESTS_SUPPORT_READ_FILE_H

#include <cstdio>
#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace egress::test {

// The bytes of a file. Not by a file stream, which libc++ lacks for WASI.
inline std::string readFile(const std::string& path) {
  std::string bytes;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                             &std::fclose);
  EXPECT_NE(file, nullptr) << path;
  if (file == nullptr) return bytes;
  for (int byte = std::fgetc(file.get()); byte != EOF; byte = std::fgetc(file.get())) {
    bytes.push_back(static_cast<char>(byte));
  }
  return bytes;
}

}  // namespace egress::test

#endif
