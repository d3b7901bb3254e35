# Where things go when they are installed, and the functions that put them there.
#
# Components: runtime (programs, framework library, modules, manual pages, completions), system (what
# belongs to the machine: unit, access file) and dev (what a provider is built with). The program
# finds the library in a private folder beside its own, lib/ktsvc, and modules in one below.

include(GNUInstallDirs)
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(KT_PRIVATE_DIR lib/ktsvc)
set(KT_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/hostkit)

# All that is installed, and nothing else: what a package is made of. Installing builds nothing by
# itself, so that packing does not build the tests.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
add_custom_target(package_contents)

# kt_install_program(target): a program; everywhere but on Windows with its manual page and its
# completions, which it prints itself by "man" and "completion SHELL".
function(kt_install_program target)
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/../${KT_PRIVATE_DIR}")
  add_dependencies(package_contents ${target})
  install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
  if(WIN32)
    return()
  endif()
  set(folder ${CMAKE_BINARY_DIR}/texts)
  file(MAKE_DIRECTORY ${folder})
  add_custom_command(
    OUTPUT ${folder}/${target}.1.gz ${folder}/${target} ${folder}/_${target} ${folder}/${target}.fish
    COMMAND ${target} man > ${folder}/${target}.1
    COMMAND gzip -9nf ${folder}/${target}.1
    COMMAND ${target} completion bash > ${folder}/${target}
    COMMAND ${target} completion zsh > ${folder}/_${target}
    COMMAND ${target} completion fish > ${folder}/${target}.fish
    DEPENDS ${target} COMMENT "Manual page and completions of ${target}" VERBATIM)
  add_custom_target(${target}_texts ALL DEPENDS ${folder}/${target}.1.gz)
  add_dependencies(package_contents ${target}_texts)
  install(FILES ${folder}/${target}.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
  install(FILES ${folder}/${target} COMPONENT runtime
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES ${folder}/_${target} COMPONENT runtime
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
  install(FILES ${folder}/${target}.fish COMPONENT runtime
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endfunction()

# kt_install_provider(target): a module where the service looks for it by name.
function(kt_install_provider target)
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/..")
  add_dependencies(package_contents ${target})
  install(TARGETS ${target} COMPONENT runtime
    LIBRARY DESTINATION ${KT_PRIVATE_DIR}/modules RUNTIME DESTINATION ${KT_PRIVATE_DIR}/modules)
endfunction()
