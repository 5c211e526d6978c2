# Finds protobuf and holds it to the one series whose generated code and runtime the library is made
# of. The installed package includes this file too, so that a build and its consumers fail alike:
# with one line, at configure time.

set(OVIX_PROTOBUF_SERIES "3.21")

find_package(Protobuf ${ovix_protobuf_find_arguments})

# Sets <result> to an empty string where the found protobuf will do, else to a line that says why not.
function(ovix_check_protobuf result)
  set(${result} "" PARENT_SCOPE)
  if(NOT TARGET protobuf::libprotobuf)
    set(${result} "protobuf ${OVIX_PROTOBUF_SERIES} was not found; install it (Debian: apt-get install libprotobuf-dev protobuf-compiler) or set Protobuf_DIR" PARENT_SCOPE)
  elseif(NOT Protobuf_VERSION MATCHES "^3\\.21(\\.|$)")
    set(${result} "protobuf ${Protobuf_VERSION} was found, but ovix-telemetry-data-contracts needs the ${OVIX_PROTOBUF_SERIES} series; point Protobuf_DIR or CMAKE_PREFIX_PATH at protobuf ${OVIX_PROTOBUF_SERIES}" PARENT_SCOPE)
  endif()
endfunction()
