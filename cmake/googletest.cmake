# GoogleTest: the distribution's library for the native build; built from the distribution's source
# for a cross build, whose tests run elsewhere, and for a sanitizer build.
if(CMAKE_CROSSCOMPILING)
  set(INSTALL_GTEST OFF)
  find_path(SCANTK_GOOGLETEST googletest/include/gtest/gtest.h NO_CMAKE_FIND_ROOT_PATH
            PATHS /usr/src/googletest /usr/local/src/googletest)
  if(NOT SCANTK_GOOGLETEST)
    message(FATAL_ERROR "The sources of GoogleTest are missing: install googletest, or name their "
                        "folder with -DSCANTK_GOOGLETEST=")
  endif()
  add_subdirectory(${SCANTK_GOOGLETEST} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  if(NOT TARGET GTest::gmock)
    add_library(GTest::gtest ALIAS gtest)
    add_library(GTest::gtest_main ALIAS gtest_main)
    add_library(GTest::gmock ALIAS gmock)
  endif()
else()
  find_package(GTest QUIET)
  if(NOT GTest_FOUND)
    message(FATAL_ERROR "GoogleTest is missing: install libgtest-dev and libgmock-dev")
  endif()
endif()
