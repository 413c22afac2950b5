# ZoltArchiver.cmake: makes zolt the archiver of a project's static
# libraries (C, C++ and ASM), with no change to the project:
#
#   cmake -DCMAKE_PROJECT_INCLUDE=/usr/share/zolt/ZoltArchiver.cmake ...
#
# or, from a toolchain file, include(/usr/share/zolt/ZoltArchiver.cmake).
# zolt is taken from the installation this file belongs to, else from PATH;
# -DZOLT_EXECUTABLE=PATH names another.
#
# zolt's letters are not ar's: "rq" creates (quietly), "aq" appends the
# later chunks of a long object list (two objects of one name from two
# directories must both become members, so the append never replaces), and
# there is no ranlib step, since every write rebuilds the index. Only the
# static-library rules change; CMAKE_AR and CMAKE_RANLIB keep their tools.
# The rules pass the objects on the command line: zolt takes a command file
# only as its whole command line, never as "@file" among the objects.

find_program(ZOLT_EXECUTABLE zolt HINTS "${CMAKE_CURRENT_LIST_DIR}/../../bin"
             DOC "zolt, the archiver of static libraries")
if(NOT ZOLT_EXECUTABLE)
  message(FATAL_ERROR "ZoltArchiver: zolt not found; name it with -DZOLT_EXECUTABLE=PATH")
endif()

# From a toolchain file no language is enabled yet, and enabling one sets
# CMake's own rules: come back after every project() call.
if(NOT CMAKE_PROJECT_INCLUDE)
  set(CMAKE_PROJECT_INCLUDE "${CMAKE_CURRENT_LIST_FILE}")
endif()

foreach(zolt_lang C CXX)
  # A single create rule would win over the create and append pair.
  unset(CMAKE_${zolt_lang}_CREATE_STATIC_LIBRARY)
  set(CMAKE_${zolt_lang}_ARCHIVE_CREATE "\"${ZOLT_EXECUTABLE}\" rq <TARGET> <LINK_FLAGS> <OBJECTS>")
  set(CMAKE_${zolt_lang}_ARCHIVE_APPEND "\"${ZOLT_EXECUTABLE}\" aq <TARGET> <LINK_FLAGS> <OBJECTS>")
  set(CMAKE_${zolt_lang}_ARCHIVE_FINISH "")
endforeach()
unset(zolt_lang)
# ASM has only the single rule, and keeps one that is set before it is
# enabled (often after project()). Its objects go in one call, into a new
# archive, as with the pair.
set(CMAKE_ASM_CREATE_STATIC_LIBRARY "\"${CMAKE_COMMAND}\" -E rm -f <TARGET>"
    "\"${ZOLT_EXECUTABLE}\" rq <TARGET> <LINK_FLAGS> <OBJECTS>")
