#ifndef EGRESS_LIVE_LINUX_DESCRIPTOR_TABLES_H
#define EGRESS_LIVE_LINUX_DESCRIPTOR_TABLES_H

#include <cstdint>
#include <vector>

namespace egress::live {

// Tells which threads share a table of file descriptors: usually all of a process, and processes
// made by clone(2) with CLONE_FILES. Each table needs to be read only once.
class DescriptorTables {
 public:
  // Adds the table of a thread of this PID namespace. Returns false if it was added before. A table
  // that cannot be compared, as without kcmp(2), counts as new.
  [[nodiscard]] bool add(std::uint32_t thread);

 private:
  std::vector<std::uint32_t> threads_;  // one for each table, in the order of kcmp
};

}  // namespace egress::live

#endif
