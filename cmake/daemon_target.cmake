# The daemon's paths are compiled in (daemon/paths.cpp). Whatever needs a root of its own compiles that one file with it.

# add_daemon_paths(TARGET ROOT): TARGET uses the daemon's paths below ROOT. Below a root other than "" the folders that a
# switch always has are made here, so that the daemon finds what it would find there.
function(add_daemon_paths target root)
  target_sources(${target} PRIVATE ${CMAKE_SOURCE_DIR}/daemon/paths.cpp)
  target_compile_definitions(${target} PRIVATE QUORIN_POED_ROOT="${root}")
  target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR})
  if(NOT root STREQUAL "")
    file(MAKE_DIRECTORY ${root}/tmp ${root}/var/run ${root}/mnt/fastpath)
  endif()
endfunction()

# add_daemon(TARGET ROOT): the daemon as an executable whose paths are below ROOT.
function(add_daemon target root)
  add_executable(${target} ${CMAKE_SOURCE_DIR}/daemon/main.cpp)
  target_link_libraries(${target} PRIVATE poed)
  if(QUORIN_HAVE_DEFAULT_STACK)
    target_compile_definitions(${target} PRIVATE QUORIN_HAVE_DEFAULT_STACK)
  endif()
  add_daemon_paths(${target} "${root}")
endfunction()
