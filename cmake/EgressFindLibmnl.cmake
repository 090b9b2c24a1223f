# Finds libmnl, for the build of egress::live and for what links the static library.
set(egress_libmnl_version 1.0.4)
set(egress_libmnl_title "libmnl ${egress_libmnl_version} (Debian: pkg-config libmnl-dev)")
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(EGRESS_LIBMNL QUIET IMPORTED_TARGET libmnl>=${egress_libmnl_version})
endif()
