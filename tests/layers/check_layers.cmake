# Reads the #include lines of src/ and fails when a folder reaches a layer it
# may not: common < link < session < the subsystems (config, files, terminal).
# Logic in a subsystem sees only the layers below it and its own folder; its
# windows (frm*, widget*) may also use its logic, and only the main window
# (frmterminal*) opens other subsystems' windows. Nothing in src/ sees sim/.
# Run with -DSRC=<source root>.
cmake_minimum_required(VERSION 3.25)
set(allowed_common common)
set(allowed_link common link)
set(allowed_session common link session)
set(subsystems config files terminal)
# Known exceptions, as "file -> included header"; the list only shrinks.
set(exceptions)

set(violations)
file(GLOB_RECURSE sources RELATIVE ${SRC} ${SRC}/src/*.cpp ${SRC}/src/*.h)
foreach(f ${sources})
  string(REGEX MATCH "^src/([a-z]+)/" _ ${f})
  set(dir ${CMAKE_MATCH_1})
  get_filename_component(name ${f} NAME)
  if(dir IN_LIST subsystems)
    set(allowed common link session ${dir})
  else()
    set(allowed ${allowed_${dir}})
  endif()
  file(STRINGS ${SRC}/${f} lines REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
  foreach(line ${lines})
    string(REGEX MATCH "\"([^\"]+)\"" _ "${line}")
    set(inc ${CMAKE_MATCH_1})
    if(NOT inc MATCHES "/")
      continue() # same folder
    endif()
    string(REGEX MATCH "^([a-z]+)/" _ ${inc})
    set(target ${CMAKE_MATCH_1})
    get_filename_component(incname ${inc} NAME)
    set(ok FALSE)
    if(target IN_LIST allowed)
      set(ok TRUE)
    elseif(name MATCHES "^frmterminal" AND target IN_LIST subsystems AND incname MATCHES "^(frm|widget)")
      set(ok TRUE) # the main window opens every window
    elseif(name MATCHES "^frmterminal" AND target IN_LIST subsystems)
      set(ok TRUE) # and uses the subsystems' logic to do so
    endif()
    if(ok AND dir IN_LIST subsystems AND NOT name MATCHES "^(frm|widget)" AND incname MATCHES "^(frm|widget)")
      set(ok FALSE) # logic never sees a window
    endif()
    if(NOT ok AND NOT "${f} -> ${inc}" IN_LIST exceptions)
      list(APPEND violations "${f} -> ${inc}")
    endif()
  endforeach()
endforeach()
if(violations)
  list(JOIN violations "\n  " text)
  message(FATAL_ERROR "Includes that cross the layers:\n  ${text}")
endif()
list(LENGTH sources n)
message(STATUS "layers hold in ${n} files")
