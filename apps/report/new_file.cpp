#include "apps/report/new_file.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "apps/report/files.h"

namespace egress::report {
namespace {

[[noreturn]] void fail(const OutputFile& file, const std::string& reason) {
  throw CannotRun(file.option + ": cannot write '" + file.path + "': " + reason);
}

[[noreturn]] void fail(const OutputFile& file, int error) {
  fail(file, std::generic_category().message(error));
}

const char* kindOf(mode_t mode) {
  if (S_ISLNK(mode)) return "a symbolic link";
  if (S_ISFIFO(mode)) return "a FIFO";
  if (S_ISSOCK(mode)) return "a socket";
  return "a device";
}

void checkTarget(int folder, const std::string& name, const OutputFile& file) {
  struct stat status {};
  if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return;
    fail(file, errno);
  }
  if (S_ISDIR(status.st_mode)) fail(file, "Is a directory; name a file in it");
  if (S_ISREG(status.st_mode)) return;
  fail(file, std::string("it is ") + kindOf(status.st_mode) + ", not a regular file" + file.remedy);
}

// Nobody can guess the name and take it first.
std::string randomName(const OutputFile& file) {
  std::uint64_t number = 0;
  if (getrandom(&number, sizeof(number), 0) != sizeof(number)) fail(file, errno);
  return ".egress-report-" + std::to_string(number);
}

// Returns 0 or errno.
int renameAndFlush(int folder, const char* from, const char* to) {
  if (renameat(folder, from, folder, to) != 0) return errno;
  const int readable = openat(folder, ".", O_RDONLY | O_DIRECTORY);
  if (readable < 0) return 0;  // a directory may be writable without being readable
  return fsync(readable) == 0 || errno == EINVAL ? 0 : errno;  // EINVAL: cannot be flushed
}

// Sends a byte when it is ready. Waits for a byte of the program, renames, and answers with errno
// in a byte. The end of the connection means that the program ends without a complete file.
[[noreturn]] void runCommitter(int program, int folder, const char* from, const char* to) {
  setsid();  // the signals of a terminal and its process group do not concern it
  dup2(program, 0);
  dup2(folder, 1);
  close_range(2, ~0U, 0);  // whoever waits for the end of the program's output must get it
  std::uint8_t byte = 0;
  send(0, &byte, sizeof(byte), MSG_NOSIGNAL);  // from now on it outlives a killed program
  const bool isComplete = recv(0, &byte, sizeof(byte), 0) == sizeof(byte);
  const int error = isComplete ? renameAndFlush(1, from, to) : ECANCELED;
  if (error != 0) unlinkat(1, from, 0);
  byte = static_cast<std::uint8_t>(error);
  send(0, &byte, sizeof(byte), MSG_NOSIGNAL);
  _exit(0);
}

// Returns 0 or errno, when the process is ready.
int startCommitter(Committer& committer, int folder, const char* from, const char* to) {
  std::array<int, 2> ends{-1, -1};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) return errno;
  committer.socket = ends[0];
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  sigprocmask(SIG_BLOCK, &all, &before);
  committer.process = fork();
  const int error = errno;
  if (committer.process == 0) {
    close(ends[0]);  // or it would never see the end, where close_range() does not work
    runCommitter(ends[1], folder, from, to);
  }
  sigprocmask(SIG_SETMASK, &before, nullptr);
  close(ends[1]);
  if (committer.process < 0) return error;
  std::uint8_t byte = 0;
  return recv(committer.socket, &byte, sizeof(byte), 0) == sizeof(byte) ? 0 : ECHILD;
}

}  // namespace

Committer::~Committer() {
  if (socket >= 0) close(socket);
  if (process > 0) waitpid(process, nullptr, 0);
}

NewFile::NewFile(OutputFile target) : target_(std::move(target)) {
  const std::string& path = target_.path;
  const std::size_t start = path.rfind('/') + 1;  // 0 without a slash
  const std::string name = path.substr(start);
  if (name.empty()) fail(target_, path.empty() ? ENOENT : EISDIR);
  const std::string folderPath = start == 0 ? "." : path.substr(0, start);
  const Closed folder(open(folderPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (folder.descriptor() < 0) fail(target_, errno);
  checkTarget(folder.descriptor(), name, target_);
  const std::string newName = randomName(target_);
  // Before the file exists, so that a process is always there to remove it.
  const int error = startCommitter(committer_, folder.descriptor(), newName.c_str(), name.c_str());
  if (error != 0) fail(target_, error);
  file_ = openat(folder.descriptor(), newName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                 target_.mode);
  const bool hasMode =
      file_ >= 0 && fchmod(file_, target_.mode) == 0;  // umask may have removed some
  if (!hasMode) fail(target_, errno);
}

NewFile::~NewFile() {
  if (file_ >= 0) close(file_);
}

void NewFile::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(file_, text.data(), text.size());
    if (count < 0) fail(target_, errno);
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

void NewFile::commit() {
  if (fsync(file_) != 0 || close(std::exchange(file_, -1)) != 0) fail(target_, errno);
  std::uint8_t byte = 0;
  send(committer_.socket, &byte, sizeof(byte), MSG_NOSIGNAL);
  if (recv(committer_.socket, &byte, sizeof(byte), 0) != sizeof(byte)) {
    fail(target_, "the process that renames it was killed");
  }
  if (byte != 0) fail(target_, byte);
}

}  // namespace egress::report
