# What every target is built with. Link `scantk_options` to get it.
add_library(scantk_options INTERFACE)
target_include_directories(scantk_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(scantk_options INTERFACE -Wall -Wextra -Wshadow -Werror
                       $<$<CXX_COMPILER_ID:Clang>:-Wconversion>)
if(SCANTK_NO_TRACE)
  target_compile_definitions(scantk_options INTERFACE SCANTK_NO_TRACE)
endif()
if(SCANTK_SANITIZE)
  add_compile_options(-fsanitize=${SCANTK_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  # The leak checker guesses where a loaded library's thread-local storage lies, and can guess wrong
  # and crash: have it laid out at the start.
  add_compile_options(-ftls-model=initial-exec)
  # The sanitizers' own code makes GCC see uninitialised values in the standard library, and forget
  # which values a number can have.
  add_compile_options("$<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized;-Wno-format-truncation>")
  add_link_options(-fsanitize=${SCANTK_SANITIZE})
endif()

# scantk_test(NAME name SOURCES files [POSIX_SOURCES files] LIBS libraries [MACHINE_REGISTRY]): one
# GoogleTest program, one ctest entry. POSIX_SOURCES: left out on Windows. MACHINE_REGISTRY: on
# Windows it writes keys that other tests read, too; such tests run one after the other.
function(scantk_test)
  cmake_parse_arguments(T "MACHINE_REGISTRY" "NAME" "SOURCES;POSIX_SOURCES;LIBS" ${ARGN})
  if(NOT WIN32)
    list(APPEND T_SOURCES ${T_POSIX_SOURCES})
  endif()
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE scantk_options ${T_LIBS}
                                           $<TARGET_NAME_IF_EXISTS:scanhost_console> GTest::gtest_main
                                           GTest::gmock)
  add_test(NAME ${T_NAME} COMMAND ${T_NAME})
  set_tests_properties(${T_NAME} PROPERTIES TIMEOUT 300)
  if(WIN32)
    set_tests_properties(${T_NAME} PROPERTIES FIXTURES_REQUIRED wine)
  endif()
  if(WIN32 AND T_MACHINE_REGISTRY)
    set_tests_properties(${T_NAME} PROPERTIES RESOURCE_LOCK machine_registry)
  endif()
endfunction()
