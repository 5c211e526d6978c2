# Run by cpack on what it is about to pack: takes debug information out of what cpack leaves it in, opens every folder
# for everybody, and gives every file one time.

# Static libraries: nobody reads a crash by their debug information, the program that links them has its own.
if(CPACK_GENERATOR STREQUAL "DEB" AND CPACK_OVIX_DEBUG_FILES)
  file(GLOB_RECURSE archives "${CPACK_TEMPORARY_DIRECTORY}/*.a")
  foreach(archive IN LISTS archives)
    execute_process(COMMAND "${CPACK_OVIX_STRIP}" --strip-debug --enable-deterministic-archives "${archive}"
      COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endif()

# What is shipped gives its debug information to a component of its own, is stripped, and names the debug file and its
# checksum: ELF by build id, as Debian lays them out, anything else X.debug next to X.
foreach(entry IN LISTS CPACK_OVIX_DEBUG_FILES)
  string(REGEX MATCH "^(.*)\\|(.*)$" entry "${entry}")
  set(name "${CMAKE_MATCH_1}")
  set(component "${CMAKE_MATCH_2}")
  file(GLOB shipped "${CPACK_TEMPORARY_DIRECTORY}/${name}")
  list(LENGTH shipped count)
  if(NOT count EQUAL 1)
    message(FATAL_ERROR "${name} is to be packed ${count} times, not once; pack in a new build folder")
  endif()
  if(CPACK_GENERATOR STREQUAL "DEB")
    execute_process(COMMAND "${CPACK_OVIX_READELF}" --notes "${shipped}" OUTPUT_VARIABLE notes COMMAND_ERROR_IS_FATAL ANY)
    if(NOT notes MATCHES "Build ID: ([0-9a-f][0-9a-f])([0-9a-f]+)")
      message(FATAL_ERROR "${name} has no build id, by which its debug information is found; link it with -Wl,--build-id")
    endif()
    set(debug_file "${component}/usr/lib/debug/.build-id/${CMAKE_MATCH_1}/${CMAKE_MATCH_2}.debug")
  else()
    cmake_path(RELATIVE_PATH shipped BASE_DIRECTORY "${CPACK_TEMPORARY_DIRECTORY}" OUTPUT_VARIABLE place)
    string(REGEX REPLACE "^[^/]+" "${component}" debug_file "${place}.debug")
  endif()
  set(debug_file "${CPACK_TEMPORARY_DIRECTORY}/${debug_file}")
  cmake_path(GET debug_file PARENT_PATH folder)
  file(MAKE_DIRECTORY "${folder}")
  execute_process(COMMAND "${CPACK_OVIX_OBJCOPY}" --only-keep-debug "${shipped}" "${debug_file}" COMMAND_ERROR_IS_FATAL ANY)
  file(CHMOD "${debug_file}" PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  execute_process(COMMAND "${CPACK_OVIX_OBJCOPY}" --strip-all "${shipped}" COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND "${CPACK_OVIX_OBJCOPY}" "--add-gnu-debuglink=${debug_file}" "${shipped}"
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# The documentation of a package of debug information is that of the package that it belongs to.
foreach(entry IN LISTS CPACK_OVIX_DEBUG_PACKAGES)
  string(REGEX MATCH "^(.*)\\|(.*)$" entry "${entry}")
  set(folder "${CPACK_TEMPORARY_DIRECTORY}/${CMAKE_MATCH_1}/usr/share/doc")
  file(MAKE_DIRECTORY "${folder}")
  file(CREATE_LINK "${CMAKE_MATCH_2}" "${folder}/${CMAKE_MATCH_2}-dbgsym" SYMBOLIC)
endforeach()

# Everybody may read what is installed, whatever the umask of who packs.
if(CMAKE_HOST_UNIX)
  execute_process(COMMAND find "${CPACK_TEMPORARY_DIRECTORY}" -type d -exec chmod 755 {} + COMMAND_ERROR_IS_FATAL ANY)
endif()

# With SOURCE_DATE_EPOCH set, every file is of that time, so that two builds make the same package.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(
    COMMAND find "${CPACK_TEMPORARY_DIRECTORY}" -exec touch --no-dereference "--date=@$ENV{SOURCE_DATE_EPOCH}" {} +
    COMMAND_ERROR_IS_FATAL ANY)
endif()
