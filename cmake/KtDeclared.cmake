# kt_declared(out header...): the names of the framework's functions that the headers declare, for
# checks that run as scripts.

function(kt_declared out)
  set(names)
  foreach(header ${ARGN})
    file(READ ${header} text)
    string(REGEX MATCHALL "\nKT_BUS_API [^;(]*[ *][A-Za-z_0-9]+\\(" lines "${text}")
    foreach(line ${lines})
      string(REGEX REPLACE ".*[ *]([A-Za-z_0-9]+)\\($" "\\1" name "${line}")
      list(APPEND names ${name})
    endforeach()
  endforeach()
  set(${out} ${names} PARENT_SCOPE)
endfunction()
