# contract/scantk.h, the contract for hosts in C: one header, made from those for C++. A derived
# interface's table begins with its base's.
set(contract ${PROJECT_SOURCE_DIR}/contract)
foreach(part codes interfaces records values)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${contract}/${part}.h)
  file(READ ${contract}/${part}.h ${part})
endforeach()

string(REGEX MATCH "#define SCANTK_TOOLKIT_ERRORS.*// clang-format on" SCANTK_C_CODES "${codes}")
string(REPLACE "// clang-format on" "" SCANTK_C_CODES "${SCANTK_C_CODES}")

foreach(part values records)
  string(REGEX REPLACE ".*#include [^\n]*\n" "" ${part} "${${part}}")
  string(REGEX REPLACE "\n#endif.*" "" ${part} "${${part}}")
endforeach()
string(REPLACE "inline constexpr" "static const" records "${values}\n${records}")
string(REGEX REPLACE "\n(struct|enum) ([A-Z0-9_]+)( : uint32_t)? {"
                     "\ntypedef \\1 \\2 \\2;\n\\1 \\2 {" records "${records}")
string(REGEX REPLACE "static_assert\\(([^;]*)\\);" "_Static_assert(\\1, \"size\");"
                     SCANTK_C_RECORDS "${records}")

string(REGEX REPLACE "//[^\n]*" "" interfaces "${interfaces}")
string(REPLACE ";" "@" interfaces "${interfaces}") # it would part lists
string(REGEX MATCHALL "inline constexpr GUID [^@]*@" identifiers "${interfaces}")
list(JOIN identifiers "\n" SCANTK_C_INTERFACES)
string(REPLACE "inline constexpr" "static const" SCANTK_C_INTERFACES "${SCANTK_C_INTERFACES}\n\n")
string(REGEX MATCHALL "struct I[A-Za-z0-9]+ : I[^}]*}" interfaces "${interfaces}")
foreach(interface ${interfaces})
  string(REGEX MATCH "struct ([A-Za-z0-9]+) : ([A-Za-z0-9]+) {(.*)}" interface "${interface}")
  set(name ${CMAKE_MATCH_1})
  set(methods_of_${name} "${methods_of_${CMAKE_MATCH_2}}${CMAKE_MATCH_3}")
  string(REGEX REPLACE "[ \n]+" " " methods "${methods_of_${name}}")
  string(REGEX REPLACE " virtual HRESULT STDMETHODCALLTYPE ([A-Za-z0-9]+)\\( ?"
                       "  HRESULT(STDMETHODCALLTYPE* \\1)(${name}* self, " methods "${methods}")
  string(REPLACE " = 0@" "@\n" methods "${methods}")
  string(APPEND SCANTK_C_INTERFACES "typedef struct ${name} ${name}@
typedef struct ${name}Vtbl {
  HRESULT(STDMETHODCALLTYPE* QueryInterface)(${name}* self, const GUID* iid, void** object)@
  ULONG(STDMETHODCALLTYPE* AddRef)(${name}* self)@
  ULONG(STDMETHODCALLTYPE* Release)(${name}* self)@
${methods}} ${name}Vtbl@
struct ${name} {
  const ${name}Vtbl* lpVtbl@
}@\n\n")
endforeach()
string(REPLACE "@" ";" SCANTK_C_INTERFACES "${SCANTK_C_INTERFACES}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/scantk.h.in ${PROJECT_BINARY_DIR}/contract/scantk.h @ONLY)
