# Finds protobuf and holds it to the one series whose generated code and runtime the library is made
# of. The installed package includes this file too, so that a build and its consumers fail alike:
# with one line, at configure time.

set(OVIX_PROTOBUF_SERIES "3.21")

# A protobuf that is part of the same build (add_subdirectory, FetchContent); else a package of CMake's own where
# there is one (vcpkg, a build of one's own), else the system's library.
if(NOT TARGET protobuf::libprotobuf)
  find_package(Protobuf QUIET CONFIG)
endif()
if(NOT TARGET protobuf::libprotobuf)
  find_package(Protobuf QUIET MODULE)
endif()

# Sets <result> to the folder in which google/protobuf/descriptor.proto lies, which the option schemas import, with
# the headers next to it; else to an empty string.
function(ovix_protobuf_imports result)
  get_target_property(folders protobuf::libprotobuf INTERFACE_INCLUDE_DIRECTORIES)
  # Within a build the folder is said for the build alone.
  string(REGEX REPLACE "\\$<BUILD_INTERFACE:([^>]*)>" "\\1" folders "${folders}")
  string(GENEX_STRIP "${folders}" folders)
  unset(ovix_found)
  find_path(ovix_found google/protobuf/descriptor.proto
    PATHS ${folders} ${Protobuf_INCLUDE_DIRS} ${Protobuf_IMPORT_DIRS}
    NO_CACHE NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  if(NOT ovix_found)
    set(ovix_found "")
  endif()
  string(REGEX REPLACE "(.)/$" "\\1" ovix_found "${ovix_found}")
  set(${result} "${ovix_found}" PARENT_SCOPE)
endfunction()

# Sets <result> to the version of the found protobuf, or to an empty string. A protobuf of the same build says
# it in its headers only.
function(ovix_protobuf_version result)
  set(version "${Protobuf_VERSION}")
  get_target_property(imported protobuf::libprotobuf IMPORTED)
  if(NOT imported OR version STREQUAL "")
    set(version "")
    ovix_protobuf_imports(folder)
    set(header "${folder}/google/protobuf/stubs/common.h")
    if(EXISTS "${header}")
      file(STRINGS "${header}" number REGEX "#define GOOGLE_PROTOBUF_VERSION [0-9]+" LIMIT_COUNT 1)
      if(number MATCHES " ([0-9]+)")
        math(EXPR major "${CMAKE_MATCH_1} / 1000000")
        math(EXPR minor "${CMAKE_MATCH_1} / 1000 % 1000")
        math(EXPR patch "${CMAKE_MATCH_1} % 1000")
        set(version "${major}.${minor}.${patch}")
      endif()
    endif()
  endif()
  set(${result} "${version}" PARENT_SCOPE)
endfunction()

# Sets <result> to an empty string where the found protobuf will do, else to a line that says why not.
function(ovix_check_protobuf result)
  set(${result} "" PARENT_SCOPE)
  if(NOT TARGET protobuf::libprotobuf AND CMAKE_CROSSCOMPILING AND NOT WIN32)
    set(${result} "protobuf ${OVIX_PROTOBUF_SERIES} for ${CMAKE_SYSTEM_NAME} on ${CMAKE_SYSTEM_PROCESSOR} was not found; set Protobuf_DIR, or CMAKE_SYSROOT to the system that has it" PARENT_SCOPE)
    return()
  elseif(NOT TARGET protobuf::libprotobuf AND CMAKE_CROSSCOMPILING)
    set(${result} "protobuf ${OVIX_PROTOBUF_SERIES} for ${CMAKE_SYSTEM_NAME} was not found; build it with scripts/windows-libraries and set Protobuf_DIR to lib/cmake/protobuf in the folder that it prints (with the preset windows set OVIX_WINDOWS_LIBRARIES to that folder)" PARENT_SCOPE)
    return()
  elseif(NOT TARGET protobuf::libprotobuf)
    set(${result} "protobuf ${OVIX_PROTOBUF_SERIES} was not found; install it (Debian: apt-get install libprotobuf-dev protobuf-compiler) or set Protobuf_DIR" PARENT_SCOPE)
    return()
  endif()
  ovix_protobuf_version(version)
  if(NOT version MATCHES "^3\\.21(\\.|$)")
    set(${result} "protobuf ${version} was found, but ovix-telemetry-data-contracts needs the ${OVIX_PROTOBUF_SERIES} series; point Protobuf_DIR or CMAKE_PREFIX_PATH at protobuf ${OVIX_PROTOBUF_SERIES}" PARENT_SCOPE)
  endif()
endfunction()

# Sets <result> as above for the compiler of schemas and what it imports, which only the library's own build needs.
# Where protobuf was built for another system it has none that runs here: the host's of the same series does.
function(ovix_check_protoc result)
  set(${result} "" PARENT_SCOPE)
  ovix_protobuf_imports(folder)
  if(NOT folder)
    set(${result} "google/protobuf/descriptor.proto was not found next to protobuf's headers; install protobuf with its schemas, or set Protobuf_IMPORT_DIRS to the folder that has them" PARENT_SCOPE)
    return()
  endif()
  if(NOT TARGET protobuf::protoc)
    find_program(Protobuf_PROTOC_EXECUTABLE protoc NO_CMAKE_FIND_ROOT_PATH)
    if(NOT Protobuf_PROTOC_EXECUTABLE)
      set(${result} "protoc ${OVIX_PROTOBUF_SERIES} was not found; install it (Debian: apt-get install protobuf-compiler) or set Protobuf_PROTOC_EXECUTABLE" PARENT_SCOPE)
      return()
    endif()
    add_executable(protobuf::protoc IMPORTED GLOBAL)
    set_target_properties(protobuf::protoc PROPERTIES
      IMPORTED_LOCATION "${Protobuf_PROTOC_EXECUTABLE}")
  endif()
  get_target_property(imported protobuf::protoc IMPORTED)
  if(NOT imported)
    return()  # It is still to be built, from the sources whose version was checked.
  endif()
  # Installed in whatever configuration: without a build type it is NOCONFIG.
  get_target_property(configurations protobuf::protoc IMPORTED_CONFIGURATIONS)
  list(TRANSFORM configurations PREPEND "IMPORTED_LOCATION_")
  set(protoc "${Protobuf_PROTOC_EXECUTABLE}")
  foreach(location IN ITEMS IMPORTED_LOCATION ${configurations})
    if(Protobuf_PROTOC_EXECUTABLE)
      set_target_properties(protobuf::protoc PROPERTIES ${location} "${Protobuf_PROTOC_EXECUTABLE}")
    elseif(NOT protoc)
      get_target_property(protoc protobuf::protoc ${location})
    endif()
  endforeach()
  if(NOT protoc)
    set(${result} "protobuf's package names no protoc; set Protobuf_PROTOC_EXECUTABLE to one of the ${OVIX_PROTOBUF_SERIES} series" PARENT_SCOPE)
    return()
  endif()
  execute_process(COMMAND "${protoc}" --version
    OUTPUT_VARIABLE version ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed)
  if(failed)
    set(${result} "${protoc} does not run (${failed}), but the library needs protoc ${OVIX_PROTOBUF_SERIES}; set Protobuf_PROTOC_EXECUTABLE to one" PARENT_SCOPE)
  elseif(NOT version MATCHES "^libprotoc 3\\.21\\.")
    set(${result} "${protoc} is '${version}', but the library needs protoc ${OVIX_PROTOBUF_SERIES}; set Protobuf_PROTOC_EXECUTABLE to one" PARENT_SCOPE)
  endif()
endfunction()
