# Every function of ktbus3.h passes the gate.
#   cmake -DINCLUDE=... -DBUS=... -P gate.cmake
include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/KtDeclared.cmake)
kt_declared(declared ${INCLUDE}/ktbus3/ktbus3.h)
list(REMOVE_ITEM declared KtTrace)  # it has a passage of its own, and a test of that

file(GLOB sources ${BUS}/*.cpp)
foreach(source ${sources})
  file(READ ${source} text)
  string(REGEX MATCHALL "KT_GATE\\([A-Za-z_0-9]+," gates "${text}")
  foreach(gate ${gates})
    string(REGEX REPLACE "KT_GATE\\((.*),$" "\\1" name "${gate}")
    list(APPEND gated ${name})
  endforeach()
endforeach()

list(SORT declared)
list(SORT gated)
list(LENGTH declared count)
if(count LESS 50 OR NOT "${declared}" STREQUAL "${gated}")
  message(FATAL_ERROR "declared: ${declared}\npass the gate: ${gated}")
endif()
message(STATUS "${count} functions pass the gate, and KtTrace")
