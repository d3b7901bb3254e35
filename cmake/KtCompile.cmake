# kt_compile(target): the options that every target of the project is compiled with.
#
# Warnings are errors in every preset. The sanitizers come from the presets (KT_SANITIZE).

set(KT_SANITIZE "" CACHE STRING "Sanitizers to build with: empty, address;undefined or thread")

find_package(Threads REQUIRED)

add_library(kt_options INTERFACE)
target_compile_options(kt_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wformat=2
  -Wnon-virtual-dtor -Wundef -Werror)
# The plain form objects to the overload families that the toolkit declares on purpose; level 1 does
# not, but not every compiler has levels.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-Woverloaded-virtual=1 KT_HAS_OVERLOADED_VIRTUAL_LEVELS)
if(KT_HAS_OVERLOADED_VIRTUAL_LEVELS AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(kt_options INTERFACE -Woverloaded-virtual=1)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # clang checks the lock annotations; it has no levels for overloaded-virtual, and its plain form
  # objects to the overload families that the toolkit declares on purpose.
  target_compile_options(kt_options INTERFACE
    -Wthread-safety -Wthread-safety-beta -Wno-overloaded-virtual -Wno-unknown-warning-option)
endif()
if(KT_SANITIZE)
  string(REPLACE ";" "," kt_sanitize "${KT_SANITIZE}")
  target_compile_options(kt_options INTERFACE
    -fsanitize=${kt_sanitize} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(kt_options INTERFACE -fsanitize=${kt_sanitize})
  # The sanitizers' instrumentation confuses the flow analysis behind these two.
  target_compile_options(kt_options INTERFACE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized -Wno-stringop-overflow>)
endif()
option(KT_COVERAGE "Count which lines and branches run (clang)" OFF)
if(KT_COVERAGE)
  # The counters live in a file that is mapped into the process: one that is killed keeps them too.
  target_compile_options(kt_options INTERFACE
    -fprofile-instr-generate -fcoverage-mapping "SHELL:-mllvm -runtime-counter-relocation")
  target_link_options(kt_options INTERFACE -fprofile-instr-generate)
endif()
if(WIN32)
  target_compile_definitions(kt_options INTERFACE
    UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
  target_link_options(kt_options INTERFACE -static)
endif()

function(kt_compile target)
  target_link_libraries(${target} PRIVATE kt_options)
endfunction()
