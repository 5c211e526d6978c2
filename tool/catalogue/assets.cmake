# The files of the catalogue that are the same for all contracts, as C++: the source ${assets} of the room.

foreach(asset IN ITEMS style.css site.js search.js theme.js)
  string(REPLACE "." "_" variable "${asset}")
  set(path "${CMAKE_CURRENT_SOURCE_DIR}/catalogue/assets/${asset}")
  file(READ "${path}" ${variable})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${path}")
endforeach()
set(assets "${CMAKE_CURRENT_BINARY_DIR}/catalogue_assets.cc")
configure_file(catalogue/assets.cc.in "${assets}" @ONLY)
