# Run by CPack (CPACK_PRE_BUILD_SCRIPTS) on its staging folder before the
# package is made: strips the programs and the shared library as Debian's
# dh_strip does, without the .comment and .note sections, and a shared
# library down to the symbols needed for linking.
cmake_policy(VERSION 3.25)
find_program(STRIP_PROGRAM strip REQUIRED)
set(staging "${CPACK_TEMPORARY_DIRECTORY}")
file(GLOB_RECURSE programs "${staging}/*/bin/*")
file(GLOB_RECURSE libraries "${staging}/*.so")
foreach(file IN LISTS programs libraries)
  set(options --remove-section=.comment --remove-section=.note)
  if(file IN_LIST libraries)
    list(APPEND options --strip-unneeded)
  endif()
  execute_process(COMMAND ${STRIP_PROGRAM} ${options} ${file} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
list(LENGTH programs program_count)
list(LENGTH libraries library_count)
if(program_count EQUAL 0 OR library_count EQUAL 0)
  message(FATAL_ERROR "No programs or libraries to strip in ${staging}")
endif()
