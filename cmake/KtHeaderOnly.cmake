# kt_header_only(target folder...): a library of headers from Debian's packages, for every target
# system. A cross compiler must not see all of /usr/include, so the named folders of it are linked
# into a folder of the build tree, and that is put on the include path.

function(kt_header_only target)
  set(shelf ${CMAKE_BINARY_DIR}/header-only/${target})
  file(MAKE_DIRECTORY ${shelf})
  foreach(folder ${ARGN})
    if(NOT EXISTS /usr/include/${folder})
      message(FATAL_ERROR "${target}: /usr/include/${folder} is missing; packages.txt names its package")
    endif()
    file(CREATE_LINK /usr/include/${folder} ${shelf}/${folder} SYMBOLIC)
  endforeach()
  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE ${shelf})
endfunction()

kt_header_only(kt_cli11 CLI)
kt_header_only(kt_json nlohmann)

# The network library and HTTP, from headers alone.
kt_header_only(kt_boost boost)
target_compile_definitions(kt_boost INTERFACE
  BOOST_ALL_NO_LIB BOOST_ERROR_CODE_HEADER_ONLY BOOST_ASIO_NO_DEPRECATED)
if(WIN32)
  target_link_libraries(kt_boost INTERFACE ws2_32 mswsock)
endif()
if(KT_SANITIZE STREQUAL "thread")
  # The sanitizer does not see the fences that Asio uses beside its locks; g++ says so.
  target_compile_options(kt_boost INTERFACE -Wno-tsan)
endif()
