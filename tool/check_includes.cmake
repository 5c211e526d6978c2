# Holds the includes of a room's files against the rooms that CMakeLists.txt says it uses: none more, none fewer.
#
# Called by the build as: cmake -D ROOM= -D USES= -D CHECKED= -P check_includes.cmake

cmake_minimum_required(VERSION 3.25)

cmake_path(GET ROOM PARENT_PATH tool)
cmake_path(GET ROOM FILENAME name)
set(unused ${USES})
file(GLOB_RECURSE files "${ROOM}/*.cc" "${ROOM}/*.h")
foreach(file IN LISTS files)
  file(STRINGS "${file}" includes REGEX "^#include \"[^/\"]+/")
  foreach(include IN LISTS includes)
    string(REGEX REPLACE "^#include \"([^/\"]+)/.*" "\\1" included "${include}")
    list(REMOVE_ITEM unused "${included}")
    if(NOT included STREQUAL name AND NOT included IN_LIST USES AND IS_DIRECTORY "${tool}/${included}")
      message(FATAL_ERROR "${file}: includes the room ${included}, which ${name} does not use (tool/CMakeLists.txt)")
    endif()
  endforeach()
endforeach()
if(unused)
  message(FATAL_ERROR "${ROOM}: no file includes ${unused}; remove it from what ${name} uses (tool/CMakeLists.txt)")
endif()
file(TOUCH "${CHECKED}")
