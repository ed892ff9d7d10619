# Warnings, sanitizers and hardening, the same for every target of the project.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
# Times beyond 2038 and large inode numbers on 32-bit boards, too.
add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
# What is built does not tell in which folder it was, so that a compiler cache serves every checkout.
add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}=.)
if(QUORIN_POED_WERROR)
  add_compile_options(-Werror)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  add_compile_options(-Wno-sign-conversion)
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety>)
endif()

# On 32-bit ARM g++ would tell of every vector that its versions before 7 passed otherwise.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  add_compile_options(-Wno-psabi)
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
  include(CheckCXXCompilerFlag)
  include(CheckCXXSourceCompiles)
  add_compile_options(-fstack-protector-strong -fstack-clash-protection -Wformat -Wformat-security)
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
  # Control-flow protection, as the processor has it.
  foreach(flag -fcf-protection -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "QUORIN_HAS${flag}" has_flag)
    check_cxx_compiler_flag(${flag} ${has_flag})
    if(${has_flag})
      add_compile_options(${flag})
    endif()
  endforeach()
  # Level 3 needs a compiler and a C library that know it; others would take it for 2, or for none.
  set(CMAKE_REQUIRED_FLAGS "-O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
  check_cxx_source_compiles("
    #include <features.h>
    #if __USE_FORTIFY_LEVEL < 3
    #error
    #endif
    int main() {}" QUORIN_HAS_FORTIFY_3)
  unset(CMAKE_REQUIRED_FLAGS)
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=$<IF:$<BOOL:${QUORIN_HAS_FORTIFY_3}>,3,2>)
  add_link_options(-Wl,-z,relro -Wl,-z,now)
endif()
