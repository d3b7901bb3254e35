# kt_add_provider(name SOURCES ... [LIBRARIES ...]): a provider module made with the toolkit.
#
# The module exports DllInit and ProviderEntry and nothing else. On Windows DllInit is the entry
# point of the PE file.

function(kt_add_provider name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_library(${name} MODULE ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES
    KT_FRAMEWORK ktbus3 PREFIX "" LIBRARY_OUTPUT_DIRECTORY ${KT_MODULE_DIRECTORY}
    RUNTIME_OUTPUT_DIRECTORY ${KT_MODULE_DIRECTORY})
  target_link_libraries(${name} PRIVATE kttoolkit ${arg_LIBRARIES} ktbus3)
  kt_compile(${name})
  target_link_options(${name} PRIVATE -Wl,-u,ProviderEntry -Wl,-u,DllInit)
  if(WIN32)
    target_link_options(${name} PRIVATE -Wl,--entry,DllInit -Wl,--exclude-all-symbols)
    # The run-time library's side belongs to modules alone, never to a program with the toolkit in it.
    set(run_time mingw)
    if(MSVC)
      set(run_time msvc)
    endif()
    target_sources(${name} PRIVATE ${CMAKE_SOURCE_DIR}/cmake/provider.def
      ${CMAKE_SOURCE_DIR}/hostkit/provider/run_time_${run_time}.cpp)
  else()
    target_link_options(${name} PRIVATE
      -Wl,--version-script=${CMAKE_SOURCE_DIR}/cmake/provider.map -Wl,-z,defs)
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${CMAKE_SOURCE_DIR}/cmake/provider.map)
    if(KT_SANITIZE)
      # The sanitizers' own symbols are resolved by the program that loads the module.
      target_link_options(${name} PRIVATE -Wl,-z,undefs)
    endif()
  endif()
endfunction()
