# What `cmake --install` lays out and `cpack` packs: the library, scanhost, and what a host's own
# build needs: headers (-I include/scantk; the folders below are those of the sources) and the small
# library by which a host written like ours creates objects. The component itself is not linked to:
# its objects are created by class identifier.
install(TARGETS scantk1 RUNTIME DESTINATION bin LIBRARY DESTINATION lib)
install(TARGETS scantk_platform ARCHIVE DESTINATION lib)
install(DIRECTORY server/contract/ DESTINATION include/scantk/server/contract
        FILES_MATCHING PATTERN "*.h")
install(FILES platform/component.h platform/component_types.h platform/owner.h platform/system.h
        DESTINATION include/scantk/platform)
install(FILES README.md DESTINATION share/doc/scantk)
if(WIN32)
  # For hosts in other languages. The library carries the type library as a resource, too.
  install(FILES server/scantk1.idl server/base.idl ${PROJECT_BINARY_DIR}/server/scantk1.tlb
          DESTINATION share/scantk)
endif()

if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR TGZ)
endif()
string(TOLOWER "${CMAKE_SYSTEM_NAME}" system)
set(CPACK_PACKAGE_FILE_NAME scantk-${PROJECT_VERSION}-${system}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
