# What `cmake --install` lays out and `cpack` packs, in three parts: the library (runtime), what a
# host's own build needs (development), and the programs (tools). Nobody links the library: the
# header contract/client.h creates its objects by class identifier, on Linux from the library that
# the loader finds by the name libscantk1.so. That is its SONAME, too: the 1 in it is the number of
# the interfaces, which stay as they are for good.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(CPACK_PACKAGE_CONTACT "scantk developers <scantk@example.org>") # an address is the owner's to choose
set(config ${CMAKE_INSTALL_LIBDIR}/cmake/scantk)

add_library(scantk_client INTERFACE)
set_target_properties(scantk_client PROPERTIES EXPORT_NAME client)
target_compile_features(scantk_client INTERFACE cxx_std_17)
target_include_directories(scantk_client INTERFACE $<INSTALL_INTERFACE:include/scantk>)
if(WIN32)
  set(client_libraries ole32 uuid)
else()
  set(client_libraries ${CMAKE_DL_LIBS})
endif()
target_link_libraries(scantk_client INTERFACE ${client_libraries})

install(TARGETS scantk1 EXPORT scantk
        RUNTIME DESTINATION bin COMPONENT runtime
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(TARGETS scantk_client EXPORT scantk)
install(EXPORT scantk NAMESPACE scantk:: FILE scantk-config.cmake DESTINATION ${config}
        COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/scantk-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/scantk-config-version.cmake DESTINATION ${config}
        COMPONENT development)
list(TRANSFORM client_libraries PREPEND -l OUTPUT_VARIABLE client_flags)
list(JOIN client_flags " " client_flags)
file(RELATIVE_PATH up /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/scantk.pc.in scantk.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/scantk.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)
install(DIRECTORY contract/ DESTINATION include/scantk/contract COMPONENT development
        FILES_MATCHING PATTERN "*.h")
include(cmake/c_header.cmake)
install(FILES ${PROJECT_BINARY_DIR}/contract/scantk.h DESTINATION include/scantk/contract
        COMPONENT development)
install(DIRECTORY examples/ DESTINATION share/doc/scantk/examples COMPONENT development)
install(DIRECTORY docs/ DESTINATION share/doc/scantk COMPONENT development
        FILES_MATCHING PATTERN "*.md" PATTERN "*.png")
install(FILES README.md CHANGELOG.md DESTINATION share/doc/scantk COMPONENT development)
if(WIN32)
  # For hosts in other languages. The library carries the type library as a resource, too.
  install(FILES ${PROJECT_BINARY_DIR}/server/scantk1.idl server/base.idl
                ${PROJECT_BINARY_DIR}/server/scantk1.tlb
          DESTINATION share/scantk COMPONENT development)
  # The same files as in the zip, in an installer.
  set(installer ${PROJECT_BINARY_DIR}/scantk-${PROJECT_VERSION}-windows-x86_64.exe)
  find_program(SCANTK_MAKENSIS makensis)
  if(NOT SCANTK_MAKENSIS)
    message(STATUS "No installer: it is made with makensis, of the package nsis")
  else()
    add_custom_target(installer
      COMMAND ${CMAKE_COMMAND} -E rm -rf ${PROJECT_BINARY_DIR}/stage
      COMMAND ${CMAKE_COMMAND} --install ${PROJECT_BINARY_DIR} --prefix ${PROJECT_BINARY_DIR}/stage --strip
      COMMAND ${SCANTK_MAKENSIS} -V2 -DVERSION=${PROJECT_VERSION} -DSTAGE=${PROJECT_BINARY_DIR}/stage
              -DOUTPUT=${installer} ${PROJECT_SOURCE_DIR}/cmake/installer.nsi
      DEPENDS scantk1 scanhost scantk-sim VERBATIM)
  endif()
else()
  install(FILES cmake/60-scantk.rules DESTINATION lib/udev/rules.d COMPONENT tools)
endif()
if(NOT CMAKE_CROSSCOMPILING AND NOT SCANTK_SANITIZE)
  set(manual ${PROJECT_BINARY_DIR}/manual)
  file(MAKE_DIRECTORY ${manual})
  add_custom_command(OUTPUT ${manual}/scanhost.1.gz
    COMMAND ${CMAKE_COMMAND} -DSCANHOST=$<TARGET_FILE:scanhost> -DSIMULATOR=$<TARGET_FILE:scantk-sim>
            -DFOLDER=${manual} -DVERSION=${PROJECT_VERSION} "-DCONTACT=${CPACK_PACKAGE_CONTACT}"
            -P ${PROJECT_SOURCE_DIR}/cmake/manual.cmake VERBATIM
    DEPENDS scanhost scantk-sim cmake/manual.cmake)
  add_custom_target(manual ALL DEPENDS ${manual}/scanhost.1.gz)
  install(FILES ${manual}/scanhost.1.gz ${manual}/scantk-sim.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
          COMPONENT tools)
  install(FILES ${manual}/scanhost DESTINATION share/bash-completion/completions COMPONENT tools)
  add_executable(register_system server/register_system.cpp)
  target_link_libraries(register_system PRIVATE scantk_options ${CMAKE_DL_LIBS})
  set_target_properties(register_system PROPERTIES OUTPUT_NAME register)
  install(TARGETS register_system DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/scantk COMPONENT runtime)
  foreach(package runtime:libscantk1 development:libscantk-dev tools:scantk-tools)
    string(REGEX MATCH "(.*):(.*)" package ${package})
    install(FILES cmake/copyright ${manual}/changelog.gz DESTINATION share/doc/${CMAKE_MATCH_2}
            COMPONENT ${CMAKE_MATCH_1})
  endforeach()
  install(FILES cmake/debian/lintian-overrides DESTINATION share/lintian/overrides RENAME libscantk1
          COMPONENT runtime)
endif()

string(TOLOWER "${CMAKE_SYSTEM_NAME}" system)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR DEB TGZ)
endif()
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_PACKAGE_FILE_NAME scantk-${PROJECT_VERSION}-${system}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "The library: hosts create its objects by class identifier. It scans over the\nnetwork, USB and IEEE 1284.4.")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "Headers for hosts in C and C++, for CMake and pkg-config, examples and\ndocumentation.")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
    "scanhost configures devices, scans and finds out what is wrong; scantk-sim is a\nsimulated device.")
# dpkg-shlibdeps finds what programs and library depend on.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libscantk1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(debian ${PROJECT_SOURCE_DIR}/cmake/debian)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${debian}/triggers ${debian}/postinst ${debian}/prerm
                                               ${debian}/postrm)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libscantk-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libscantk1 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME scantk-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libscantk1 (= ${PROJECT_VERSION})")
include(CPack)
