# Finds libmnl, libpcap, libcurl and threads, for the build of egress::live and for what links the static
# library.
set(egress_libmnl_version 1.0.4)
set(egress_libpcap_version 1.10) # the first that captures with cooked headers of version 2
set(egress_libcurl_version 7.87) # the first that does not wait for a resolver after the time limit
string(CONCAT egress_live_libraries_title
              "libmnl ${egress_libmnl_version}, libpcap ${egress_libpcap_version} and "
              "libcurl ${egress_libcurl_version} "
              "(Debian: pkg-config libmnl-dev libpcap-dev libcurl4-openssl-dev)")
set(egress_live_libraries_found FALSE)
find_package(PkgConfig QUIET)
find_package(Threads QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(EGRESS_LIBMNL QUIET IMPORTED_TARGET libmnl>=${egress_libmnl_version})
  pkg_check_modules(EGRESS_LIBPCAP QUIET IMPORTED_TARGET libpcap>=${egress_libpcap_version})
  pkg_check_modules(EGRESS_LIBCURL QUIET IMPORTED_TARGET libcurl>=${egress_libcurl_version})
  if(EGRESS_LIBMNL_FOUND AND EGRESS_LIBPCAP_FOUND AND EGRESS_LIBCURL_FOUND AND Threads_FOUND)
    set(egress_live_libraries_found TRUE)
  endif()
endif()
