# ovix-debug-info: the debug information of everything that is shipped, as OVIX_DEBUG_INFO asks for it. Part of
# ovix-hardening, which all of that is linked with. ovix-debug-types: what the libraries have in addition.
set(OVIX_DEBUG_INFO OFF CACHE STRING
  "Debug information: OFF; LINES, functions and source lines, by which a crash is read; FULL, types and variables of the libraries too")
set_property(CACHE OVIX_DEBUG_INFO PROPERTY STRINGS OFF LINES FULL)
if(NOT OVIX_DEBUG_INFO MATCHES "^(OFF|LINES|FULL)$")
  message(FATAL_ERROR "OVIX_DEBUG_INFO is '${OVIX_DEBUG_INFO}'; set it to OFF, LINES or FULL")
endif()

add_library(ovix-debug-info INTERFACE)
target_link_libraries(ovix-hardening INTERFACE ovix-debug-info)
add_library(ovix-debug-types INTERFACE)
if(NOT OVIX_DEBUG_INFO STREQUAL "OFF")
  # Paths from the root of the source or of the build: packages do not have the folders of the machine that builds, and a compiler
  # cache serves every build folder.
  set(maps "${PROJECT_SOURCE_DIR}=." "${CMAKE_BINARY_DIR}=.")
  foreach(target IN ITEMS protobuf::libprotobuf CLI11::CLI11)
    if(TARGET ${target})
      get_target_property(folders ${target} INTERFACE_INCLUDE_DIRECTORIES)
      foreach(folder IN LISTS folders)
        if(IS_ABSOLUTE "${folder}" AND NOT folder MATCHES "^/usr/")
          list(APPEND maps "${folder}=./include")
        endif()
      endforeach()
    endif()
  endforeach()
  list(TRANSFORM maps PREPEND "-ffile-prefix-map=")
  target_compile_options(ovix-debug-info INTERFACE
    "$<$<COMPILE_LANG_AND_ID:CXX,GNU,Clang,AppleClang>:-g1;${maps}>")
endif()
if(OVIX_DEBUG_INFO STREQUAL "FULL")
  # The tool's types would take up to a third of the time of compiling a file of it, and nothing reads them.
  target_compile_options(ovix-debug-types INTERFACE $<$<COMPILE_LANG_AND_ID:CXX,GNU,Clang,AppleClang>:-g>)
endif()
