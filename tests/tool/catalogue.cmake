# Tests of the catalogue: as files on every platform, in a browser on Linux.

ovix_test_executable(catalogue-tests tool/catalogue_test.cc tool/catalogue_texts_test.cc)
target_link_libraries(catalogue-tests PRIVATE GTest::gtest_main ovix-tool-catalogue)
add_test(NAME catalogue-tests COMMAND catalogue-tests --gtest_brief=1)

if(WIN32)
  set_tests_properties(catalogue-tests PROPERTIES ENVIRONMENT "${wine_environment}" TIMEOUT 300)
elseif(NOT CMAKE_CROSSCOMPILING AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  add_test(NAME catalogue-in-a-browser COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/tool/catalogue_test.sh"
    $<TARGET_FILE:ovix-contracts>)
  set_tests_properties(catalogue-in-a-browser PROPERTIES TIMEOUT 600)
endif()
