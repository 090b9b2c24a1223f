#ifndef EGRESS_REPORT_SNAPSHOT_FILES_H
#define EGRESS_REPORT_SNAPSHOT_FILES_H

#include <string>
#include <string_view>
#include <vector>

namespace egress::report {

// The files of many snapshots, in the order in which they are diagnosed.
struct SnapshotFiles {
  std::vector<std::string> paths;
  std::vector<std::string> errors;  // of folders that could not be listed
};

// The paths themselves, and in place of a folder all files in it and below whose names end in
// ".json", sorted bytewise by path. Follows no symbolic link to a folder, except a path that is
// one. Opens no file. Throws only when memory runs out.
[[nodiscard]] SnapshotFiles filesAt(const std::vector<std::string>& paths);

// The lines of a list that are not empty; "-" is a file of that name. Throws CannotRun if there is
// a NUL byte.
[[nodiscard]] std::vector<std::string> linesOf(std::string_view list);

}  // namespace egress::report

#endif
