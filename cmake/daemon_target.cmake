# The daemon's paths are compiled in (daemon/paths.cpp). Whatever needs a root of its own compiles that one file with it.

# add_daemon_paths(TARGET ROOT): TARGET uses the daemon's paths below ROOT. Below a root other than "" the folders that a
# switch always has are made here, so that the daemon finds what it would find there. (A relative root is for whoever
# starts the daemon in some folder.)
function(add_daemon_paths target root)
  # In a source of its own, so that nothing else of the target depends on the folder that it is built in.
  set(paths ${CMAKE_BINARY_DIR}/paths/${target}.cpp)
  file(CONFIGURE OUTPUT ${paths} CONTENT
"#define QUORIN_POED_ROOT \"${root}\"
#include \"daemon/paths.cpp\"
")
  target_sources(${target} PRIVATE ${paths})
  target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR})
  if(IS_ABSOLUTE "${root}")
    file(MAKE_DIRECTORY ${root}/tmp ${root}/var/run ${root}/mnt/fastpath)
  endif()
endfunction()

# add_daemon(TARGET ROOT [CLOCK]): the daemon as an executable whose paths are below ROOT, and which has the clock of the
# library CLOCK instead of the system's.
function(add_daemon target root)
  set(clock system_clock ${ARGN})
  list(GET clock -1 clock)
  add_executable(${target} ${CMAKE_SOURCE_DIR}/poed/main.cpp)
  target_link_libraries(${target} PRIVATE poed ${clock})
  if(QUORIN_HAVE_DEFAULT_STACK)
    target_compile_definitions(${target} PRIVATE QUORIN_HAVE_DEFAULT_STACK)
  endif()
  add_daemon_paths(${target} "${root}")
  if(root STREQUAL "")
    # The product finds its libraries where the switch has them: a RUNPATH of the build machine would only let others
    # bring theirs.
    set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "")
  endif()
endfunction()
