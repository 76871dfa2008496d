// The contract's records and constants by name, as the public header declares them.
#ifndef SCANTK_TESTS_JOBS_RECORDS_H_
#define SCANTK_TESTS_JOBS_RECORDS_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace scantk::test {

struct RecordField {
  size_t offset = 0, bytes = 0, count = 1;
};

struct RecordType {
  size_t size = 0, alignment = 1;
  std::map<std::string, RecordField> fields;  // those of a record inside one are "tonemap.wGamma"
};

// Throws std::runtime_error when there is no such record.
const RecordType& RecordNamed(const std::string& name);

// What a number, a constant's name or several of these joined by | stand for. Throws
// std::runtime_error when there is no such constant.
uint32_t Constant(const std::string& words);

// A field as text: a number, a model as its text, an array as its numbers up to the last that is
// not 0. Throws when the record has no such field.
std::string FieldText(const RecordType& type, const void* record, const std::string& field);
void SetField(const RecordType& type, void* record, const std::string& field, uint32_t value);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_JOBS_RECORDS_H_
