# Warnings, sanitizers and hardening, the same for every target of the project.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
# Times beyond 2038 and large inode numbers on 32-bit boards, too.
add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
if(QUORIN_POED_WERROR)
  add_compile_options(-Werror)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  add_compile_options(-Wno-sign-conversion)
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety>)
endif()

if(QUORIN_POED_SANITIZE)
  add_compile_options(-fsanitize=${QUORIN_POED_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${QUORIN_POED_SANITIZE})
  # Instrumented, the standard library's <regex> makes g++ suspect what is initialised.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
endif()

if(QUORIN_POED_HARDEN)
  include(CheckPIESupported)
  check_pie_supported()
  add_compile_options(-fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  add_link_options(-Wl,-z,relro -Wl,-z,now)
endif()
