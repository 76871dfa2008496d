#include "tests/windows/contract_headers.h"

#include <cctype>
#include <fstream>
#include <stdexcept>

namespace scantk::test {
namespace {

// Words and single marks, without comments and preprocessor lines.
std::vector<std::string> Tokens(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  std::vector<std::string> tokens;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('#')) continue;
    line.resize(std::min(line.size(), line.find("//")));
    bool in_word = false;
    for (char c : line) {
      const bool word = std::isalnum(static_cast<unsigned char>(c)) || c == '_';
      if (word && in_word)
        tokens.back() += c;
      else if (!std::isspace(static_cast<unsigned char>(c)))
        tokens.emplace_back(1, c);
      in_word = word;
    }
  }
  return tokens;
}

class Reader {
 public:
  explicit Reader(const std::string& path) : tokens_(Tokens(path)) {}

  std::vector<DeclaredStruct> Structs() {
    std::vector<DeclaredStruct> found;
    while (at_ < tokens_.size())
      if (Next() == "struct") found.push_back(Struct());
    return found;
  }

 private:
  const std::string& Peek() const {
    if (at_ >= tokens_.size()) throw std::runtime_error("the header ends too early");
    return tokens_[at_];
  }
  std::string Next() {
    const std::string token = Peek();
    ++at_;
    return token;
  }
  bool Take(const std::string& token) {
    if (Peek() != token) return false;
    ++at_;
    return true;
  }
  void Expect(const std::string& token) {
    const std::string found = Next();
    if (found != token) throw std::runtime_error(found + " where " + token + " should be");
  }

  DeclaredStruct Struct() {
    DeclaredStruct result;
    result.name = Next();
    if (Take(":")) result.base = Next();
    Expect("{");
    while (!Take("}")) {
      if (Take("virtual"))
        result.methods.push_back(Method());
      else
        result.fields.push_back(Field());
    }
    return result;
  }

  DeclaredMethod Method() {
    Expect("HRESULT");
    Expect("STDMETHODCALLTYPE");
    DeclaredMethod method;
    method.name = Next();
    Expect("(");
    do {
      method.parameters.push_back(Variable());
    } while (Take(","));
    for (const char* token : {")", "=", "0", ";"}) Expect(token);
    return method;
  }

  Declared Field() {
    Declared field = Variable();
    if (Take("[")) {
      field.type += "[" + Next() + "]";
      Expect("]");
    }
    Expect(";");
    return field;
  }

  Declared Variable() {
    Declared variable;
    Take("const");
    variable.type = Next();
    while (Take("*")) variable.type += '*';
    variable.name = Next();
    return variable;
  }

  std::vector<std::string> tokens_;
  size_t at_ = 0;
};

}  // namespace

std::vector<DeclaredStruct> ReadHeader(const std::string& path) {
  return Reader(path).Structs();
}

}  // namespace scantk::test
