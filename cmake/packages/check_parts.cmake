# Run by cpack before it does anything: stops where something is missing that only the packages need. The blank keeps
# each on its line.
if(CPACK_OVIX_MISSING)
  string(REPLACE "\n" "\n " lines " ${CPACK_OVIX_MISSING}")
  string(STRIP "${lines}" lines)
  message(FATAL_ERROR " ${lines}")
endif()
