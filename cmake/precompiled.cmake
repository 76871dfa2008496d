# Headers that half of the sources read are compiled once for all: the standard library's for the
# products, the test framework's and these for the tests. No source may count on them: the preset
# `fuzz` builds without, and -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON any other.
set(SCANTK_STANDARD_HEADERS <algorithm> <array> <cstdint> <cstring> <functional> <memory> <mutex>
                            <optional> <span> <stdexcept> <string> <string_view> <vector>)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT CMAKE_DISABLE_PRECOMPILE_HEADERS)
  # What GCC 12 wrongly fears of joined std::strings it keeps quiet about in system headers, not in
  # precompiled ones.
  target_compile_options(scantk_options INTERFACE -Wno-array-bounds -Wno-restrict
                                                  -Wno-stringop-overflow -Wno-stringop-overread)
endif()

# scantk_precompiled(name library...): a target to hold precompiled headers.
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/nothing.cpp CONTENT "")
function(scantk_precompiled name)
  add_library(${name} OBJECT ${CMAKE_BINARY_DIR}/nothing.cpp)
  target_link_libraries(${name} PRIVATE ${ARGN})
endfunction()

# scantk_reuse(name folder type...): the targets of these types in the folder and below it read the
# headers of the target `name`. They must be compiled with the same options.
function(scantk_reuse name folder)
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target ${targets})
    get_target_property(type ${target} TYPE)
    if(type IN_LIST ARGN AND NOT target STREQUAL name)
      target_precompile_headers(${target} REUSE_FROM ${name})
    endif()
  endforeach()
  get_property(rooms DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
  foreach(room ${rooms})
    scantk_reuse(${name} ${room} ${ARGN})
  endforeach()
endfunction()
