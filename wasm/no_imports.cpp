// The C library prints through these calls of WASI when the program ends in an error. The module
// needs no host for that: nothing is printed.

#include <cstdint>

extern "C" {

constexpr std::int32_t kBadFileDescriptor = 8;  // WASI's EBADF

std::int32_t __imported_wasi_snapshot_preview1_fd_write(std::int32_t, std::int32_t, std::int32_t,
                                                        std::int32_t) {
  return kBadFileDescriptor;
}

std::int32_t __imported_wasi_snapshot_preview1_fd_close(std::int32_t) {
  return kBadFileDescriptor;
}

std::int32_t __imported_wasi_snapshot_preview1_fd_seek(std::int32_t, std::int64_t, std::int32_t,
                                                       std::int32_t) {
  return kBadFileDescriptor;
}
}
