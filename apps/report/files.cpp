#include "apps/report/files.h"

#include <array>
#include <cerrno>
#include <fstream>
#include <iostream>
#include <sys/stat.h>
#include <system_error>

namespace egress::report {
namespace {

std::string readAll(std::istream& stream, const std::string& what) {
  std::string text;
  std::array<char, 65536> part{};
  do {
    stream.read(part.data(), part.size());
    text.append(part.data(), static_cast<std::size_t>(stream.gcount()));
  } while (stream);
  if (!stream.eof()) throw CannotRun(withSystemError(what));
  return text;
}

}  // namespace

std::string withSystemError(const std::string& what) {
  return what + ": " + std::generic_category().message(errno);
}

std::string readFile(const std::string& option, const std::string& path) {
  if (path == kStandardStream) return readAll(std::cin, option + ": cannot read standard input");
  std::ifstream file(path, std::ios::binary);
  return readAll(file, option + ": cannot read '" + path + "'");
}

void writeFile(const std::string& option, const std::string& path, const std::string& text) {
  umask(S_IRWXG | S_IRWXO);
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) throw CannotRun(withSystemError(option + ": cannot write '" + path + "'"));
}

}  // namespace egress::report
