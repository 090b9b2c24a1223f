# Finds libmnl and libpcap, for the build of egress::live and for what links the static library.
set(egress_libmnl_version 1.0.4)
set(egress_libpcap_version 1.10) # the first that captures with cooked headers of version 2
set(egress_live_libraries_title "libmnl ${egress_libmnl_version} and libpcap ${egress_libpcap_version}")
string(APPEND egress_live_libraries_title " (Debian: pkg-config libmnl-dev libpcap-dev)")
set(egress_live_libraries_found FALSE)
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(EGRESS_LIBMNL QUIET IMPORTED_TARGET libmnl>=${egress_libmnl_version})
  pkg_check_modules(EGRESS_LIBPCAP QUIET IMPORTED_TARGET libpcap>=${egress_libpcap_version})
  if(EGRESS_LIBMNL_FOUND AND EGRESS_LIBPCAP_FOUND)
    set(egress_live_libraries_found TRUE)
  endif()
endif()
