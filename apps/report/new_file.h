#ifndef EGRESS_REPORT_NEW_FILE_H
#define EGRESS_REPORT_NEW_FILE_H

#include <string>
#include <string_view>
#include <sys/types.h>

namespace egress::report {

// A process that renames a file, or removes it if this process ends or fails before.
struct Committer {
  int socket = -1;
  pid_t process = -1;

  Committer() = default;
  Committer(const Committer&) = delete;
  Committer& operator=(const Committer&) = delete;
  ~Committer();  // waits until the process has ended
};

// A file that an option names.
struct OutputFile {
  std::string option;
  std::string path;
  mode_t mode = 0;     // permissions
  std::string remedy;  // what a message adds about a path of another kind
};

// A file that is written beside its path and renamed when it is complete, so that an old file stays
// as it is if this program fails or is killed, or if the disk is full. The process that renames has
// the rights that this program had when it made the NewFile, and no data.
//
// Every function throws CannotRun.
class NewFile {
 public:
  // Refuses a path of another kind than a regular file: a new file would replace a link or a device
  // instead of writing to it.
  explicit NewFile(OutputFile target);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  void write(std::string_view text);

  // Flushes the file to the disk and renames it. To be called once, after the last write().
  void commit();

 private:
  OutputFile target_;
  Committer committer_;
  int file_ = -1;
};

}  // namespace egress::report

#endif
