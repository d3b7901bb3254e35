# Installs runtime and kit into a folder, builds a provider with nothing but that, and runs it with
# the service of that folder.

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output
                  ERROR_VARIABLE errors)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what}: ${status}\n${output}\n${errors}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

function(expect text what)
  if(NOT output MATCHES "${text}")
    message(FATAL_ERROR "${what}: no \"${text}\" in\n${output}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK}/prefix ${WORK}/mine)
file(MAKE_DIRECTORY ${WORK})
foreach(component runtime dev)
  run("install ${component}" ${CMAKE_COMMAND} --install ${BUILD} --component ${component}
      --prefix ${WORK}/prefix)
endforeach()

run("ask the installed client its version" ${EMULATOR} ${WORK}/prefix/bin/ktctl${SUFFIX} --version)
expect("^ktctl [0-9]" "ask the installed client its version")

run("ask the installed checker its version" ${EMULATOR}
    ${WORK}/prefix/bin/ktcheck${SUFFIX} --version)
expect("^ktcheck [0-9]" "ask the installed checker its version")

# A copy, so that nothing of the source tree is found by its place.
file(COPY ${SOURCE}/examples/hello/ DESTINATION ${WORK}/mine)
set(toolchain)
if(TOOLCHAIN)
  # A cross compiler looks for packages nowhere but in its own folders, unless it is told.
  set(toolchain -D CMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}
      -D hostkit_DIR=${WORK}/prefix/lib/cmake/hostkit)
endif()
run("configure" ${CMAKE_COMMAND} -G Ninja -S ${WORK}/mine -B ${WORK}/mine/build
    -D CMAKE_CXX_COMPILER=${COMPILER} -D CMAKE_BUILD_TYPE=Debug
    -D CMAKE_PREFIX_PATH=${WORK}/prefix ${toolchain})
run("build" ${CMAKE_COMMAND} --build ${WORK}/mine/build)

# By its path, and by its name once it stands among the installed modules.
set(service ${EMULATOR} ${WORK}/prefix/bin/ktsvc${SUFFIX} run --quiet --once)
set(module ${WORK}/mine/build/hello${MODULE_SUFFIX})
set(path ${module})
if(EMULATOR)
  # Wine shows this machine's root folder as drive Z; a word that begins with "/" is an option.
  string(PREPEND path "Z:")
endif()
run("run by path" ${service} ${path})
expect("hello +running" "run by path")
expect("greeter" "run by path")
file(COPY ${module} DESTINATION ${WORK}/prefix/lib/ktsvc/modules)
run("run by name" ${service} hello)
expect("hello +running" "run by name")

# The checker tries what the kit has built.
run("check" ${EMULATOR} ${WORK}/prefix/bin/ktcheck${SUFFIX} --quiet --lives 16 --rounds 8
    --failures 20 hello)
expect("\npassed\n$" "check")
