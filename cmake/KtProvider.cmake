# kt_add_provider(name SOURCES ... [LIBRARIES ...]): a provider module made with the toolkit, here
# and for whoever builds one with the installed kit.
#
# The module exports DllInit and ProviderEntry and nothing else. On Windows DllInit is the entry
# point of the PE file.

# The files that a module is built with stand beside this one once they are installed.
set(KT_PROVIDER_FILES ${CMAKE_CURRENT_LIST_DIR})
set(KT_RUN_TIME_FILES ${CMAKE_CURRENT_LIST_DIR})
if(EXISTS ${CMAKE_CURRENT_LIST_DIR}/../hostkit/provider)
  set(KT_RUN_TIME_FILES ${CMAKE_CURRENT_LIST_DIR}/../hostkit/provider)
endif()

function(kt_add_provider name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_library(${name} MODULE ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES KT_FRAMEWORK hostkit::ktbus3 PREFIX "")
  if(KT_MODULE_DIRECTORY)
    set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${KT_MODULE_DIRECTORY}
      RUNTIME_OUTPUT_DIRECTORY ${KT_MODULE_DIRECTORY})
  endif()
  target_link_libraries(${name} PRIVATE hostkit::kttoolkit ${arg_LIBRARIES} hostkit::ktbus3)
  if(COMMAND kt_compile)
    kt_compile(${name})
  endif()
  target_link_options(${name} PRIVATE -Wl,-u,ProviderEntry -Wl,-u,DllInit)
  if(WIN32)
    target_link_options(${name} PRIVATE -Wl,--entry,DllInit -Wl,--exclude-all-symbols)
    # The run-time library's side belongs to modules alone, never to a program with the toolkit in it.
    set(run_time mingw)
    if(MSVC)
      set(run_time msvc)
    endif()
    target_sources(${name} PRIVATE ${KT_PROVIDER_FILES}/provider.def
      ${KT_RUN_TIME_FILES}/run_time_${run_time}.cpp)
  else()
    target_link_options(${name} PRIVATE
      -Wl,--version-script=${KT_PROVIDER_FILES}/provider.map -Wl,-z,defs)
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${KT_PROVIDER_FILES}/provider.map)
    if(KT_SANITIZE)
      # The sanitizers' own symbols are resolved by the program that loads the module.
      target_link_options(${name} PRIVATE -Wl,-z,undefs)
    endif()
  endif()
endfunction()
