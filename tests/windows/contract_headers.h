// The declarations of the contract's C++ headers, read from their text.
#ifndef SCANTK_TESTS_WINDOWS_CONTRACT_HEADERS_H_
#define SCANTK_TESTS_WINDOWS_CONTRACT_HEADERS_H_

#include <string>
#include <vector>

namespace scantk::test {

struct Declared {
  std::string type;  // without const: "uint32_t", "WideChar**", "uint8_t[16]"
  std::string name;
  bool operator==(const Declared& other) const = default;
};

struct DeclaredMethod {
  std::string name;
  std::vector<Declared> parameters;
};

// An interface has methods, a record has fields.
struct DeclaredStruct {
  std::string name;
  std::string base;
  std::vector<DeclaredMethod> methods;
  std::vector<Declared> fields;
};

// Every struct with a body in the header at `path`, in order. Throws std::runtime_error for what it
// does not understand.
std::vector<DeclaredStruct> ReadHeader(const std::string& path);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_WINDOWS_CONTRACT_HEADERS_H_
