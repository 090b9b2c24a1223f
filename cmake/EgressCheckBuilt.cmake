# Runs before anything is installed. Variables: egress_built_files, egress_build_command.
foreach(file IN LISTS egress_built_files)
  if(NOT EXISTS "${file}")
    message(FATAL_ERROR "'${file}' was not built, so nothing was installed. First run\n"
                        "  ${egress_build_command}")
  endif()
endforeach()
