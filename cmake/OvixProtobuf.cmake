# Finds protobuf and holds it to the one series whose generated code and runtime the library is made
# of. The installed package includes this file too, so that a build and its consumers fail alike:
# with one line, at configure time.

set(OVIX_PROTOBUF_SERIES "3.21")

# A package of CMake's own where there is one (vcpkg, a build of one's own), else the system's library.
find_package(Protobuf QUIET CONFIG)
if(NOT TARGET protobuf::libprotobuf)
  find_package(Protobuf QUIET MODULE)
endif()

# Sets <result> to an empty string where the found protobuf will do, else to a line that says why not.
function(ovix_check_protobuf result)
  set(${result} "" PARENT_SCOPE)
  if(NOT TARGET protobuf::libprotobuf AND CMAKE_CROSSCOMPILING)
    set(${result} "protobuf ${OVIX_PROTOBUF_SERIES} for ${CMAKE_SYSTEM_NAME} was not found; build it with scripts/windows-libraries and set OVIX_WINDOWS_LIBRARIES to the folder that it prints" PARENT_SCOPE)
  elseif(NOT TARGET protobuf::libprotobuf)
    set(${result} "protobuf ${OVIX_PROTOBUF_SERIES} was not found; install it (Debian: apt-get install libprotobuf-dev protobuf-compiler) or set Protobuf_DIR" PARENT_SCOPE)
  elseif(NOT Protobuf_VERSION MATCHES "^3\\.21(\\.|$)")
    set(${result} "protobuf ${Protobuf_VERSION} was found, but ovix-telemetry-data-contracts needs the ${OVIX_PROTOBUF_SERIES} series; point Protobuf_DIR or CMAKE_PREFIX_PATH at protobuf ${OVIX_PROTOBUF_SERIES}" PARENT_SCOPE)
  endif()
endfunction()

# Sets <result> as above for the compiler of schemas, which only the library's own build needs. Where
# protobuf was built for another system it has none that runs here: the host's of the same series does.
function(ovix_check_protoc result)
  set(${result} "" PARENT_SCOPE)
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
  get_target_property(protoc protobuf::protoc IMPORTED_LOCATION)
  if(NOT protoc)
    get_target_property(protoc protobuf::protoc IMPORTED_LOCATION_RELEASE)
  endif()
  execute_process(COMMAND "${protoc}" --version OUTPUT_VARIABLE version ERROR_QUIET)
  if(NOT version MATCHES "^libprotoc 3\\.21\\.")
    string(STRIP "${version}" version)
    set(${result} "${protoc} is '${version}', but the library needs protoc ${OVIX_PROTOBUF_SERIES}; set Protobuf_PROTOC_EXECUTABLE to one" PARENT_SCOPE)
  endif()
endfunction()
