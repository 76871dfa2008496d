// Every method of the interfaces by its name, called with words from a text.
#ifndef SCANTK_TESTS_JOBS_METHODS_H_
#define SCANTK_TESTS_JOBS_METHODS_H_

#include <string>
#include <vector>

#include "tests/contract/toolkit.h"
#include "tests/jobs/records.h"

namespace scantk::test {

// What a call is given and what it gives back. Pointers that it does not need are not looked at.
struct MethodCall {
  uint32_t session = 0;
  std::vector<std::string> words;           // arguments in their order; texts and numbers only
  bool any_words = false;                   // those that are missing are made up
  SCANNER_PARAMETERS* page = nullptr;       // where the method takes scan parameters
  uint8_t* bytes = nullptr;                 // where it takes or fills bytes
  bool null_pointers = false;               // every pointer but that of the error code is null
  bool null_code = false;                   // that of the error code is
  Outcome outcome = {S_OK, 0xDEADBEEF};     // the error code as it stood before: not written
  std::string value;                        // the number or text that came out first
  std::vector<uint8_t> record;              // the record that came out,
  const RecordType* record_type = nullptr;  // and what it is
  bool has_pointers = false;                // besides the error code's
};

// In the order of the interfaces' tables.
const std::vector<std::string>& MethodNames();
bool IsMethod(const std::string& name);
// Throws std::runtime_error when `call.words` do not fit the method.
void CallMethod(const Toolkit& toolkit, const std::string& name, MethodCall* call);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_JOBS_METHODS_H_
