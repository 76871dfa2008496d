#include "tests/jobs/records.h"

#include <cctype>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace scantk::test {
namespace {

struct Header {
  std::map<std::string, RecordType> records;
  std::map<std::string, uint32_t> constants;
};

size_t Bytes(const std::string& type) {
  const std::map<std::string, size_t> bytes = {{"uint8_t", 1}, {"uint16_t", 2}, {"uint32_t", 4}};
  const auto found = bytes.find(type);
  return found == bytes.end() ? 0 : found->second;
}

size_t Aligned(size_t offset, size_t alignment) {
  return (offset + alignment - 1) / alignment * alignment;
}

void AddField(const Header& header, RecordType* record, const std::string& type,
              std::string declared) {
  RecordField field;
  if (const size_t bracket = declared.find('['); bracket != std::string::npos) {
    field.count = std::stoul(declared.substr(bracket + 1));
    declared.resize(bracket);
  }
  const size_t bytes = Bytes(type);
  const RecordType* inner = bytes ? nullptr : &header.records.at(type);
  const size_t alignment = inner ? inner->alignment : bytes;
  field.offset = Aligned(record->size, alignment);
  field.bytes = inner ? inner->size : bytes;
  record->size = field.offset + field.bytes * field.count;
  record->alignment = std::max(record->alignment, alignment);
  if (!inner) record->fields[declared] = field;
  for (const auto& [name, part] : inner ? inner->fields : std::map<std::string, RecordField>())
    record->fields[declared + "." + name] = {field.offset + part.offset, part.bytes, part.count};
}

// Line by line, which the formatter sees to: "struct NAME {", "TYPE NAME;", "NAME = VALUE[,;]".
Header ReadHeader() {
  Header header;
  RecordType* record = nullptr;
  std::stringstream file;
  file << std::ifstream(SCANTK_CONTRACT_FOLDER "/records.h").rdbuf()
       << std::ifstream(SCANTK_CONTRACT_FOLDER "/values.h").rdbuf();
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line.substr(0, line.find("//")));
    std::vector<std::string> word{std::istream_iterator<std::string>(words), {}};
    if (word.size() < 2) {
      if (!word.empty() && word[0] == "};" && record) {
        record->size = Aligned(record->size, record->alignment);
        record = nullptr;
      }
    } else if (word[0] == "struct") {
      record = &header.records[word[1]];
    } else if (const size_t n = word.size(); n > 2 && word[n - 2] == "=") {
      header.constants[word[n - 3]] = static_cast<uint32_t>(std::stoul(word[n - 1], nullptr, 0));
    } else if (record && word[1].ends_with(';')) {
      word[1].pop_back();
      AddField(header, record, word[0], word[1]);
    }
  }
  if (header.records.empty()) throw std::runtime_error("no records in " SCANTK_CONTRACT_FOLDER);
  return header;
}

const Header& TheHeader() {
  static const Header header = ReadHeader();
  return header;
}

const RecordField& Field(const RecordType& type, const std::string& name) {
  const auto found = type.fields.find(name);
  if (found == type.fields.end()) throw std::runtime_error("no field is called " + name);
  return found->second;
}

}  // namespace

const RecordType& RecordNamed(const std::string& name) {
  const auto found = TheHeader().records.find(name);
  if (found == TheHeader().records.end()) throw std::runtime_error("no record is called " + name);
  return found->second;
}

uint32_t Constant(const std::string& words) {
  uint32_t value = 0;
  std::istringstream parts(words);
  for (std::string part; std::getline(parts, part, '|');) {
    const auto found = TheHeader().constants.find(part);
    if (found == TheHeader().constants.end() && !std::isdigit(static_cast<unsigned char>(part[0])))
      throw std::runtime_error("neither a number nor a constant: " + part);
    value |= found != TheHeader().constants.end()
                 ? found->second
                 : static_cast<uint32_t>(std::stoull(part, nullptr, 0));
  }
  return value;
}

std::string FieldText(const RecordType& type, const void* record, const std::string& field) {
  const RecordField& where = Field(type, field);
  const auto* bytes = static_cast<const uint8_t*>(record) + where.offset;
  if (field == "byModelNumber") return std::string(reinterpret_cast<const char*>(bytes));
  std::string text, all;
  for (size_t i = 0; i < where.count; ++i) {
    uint32_t value = 0;
    std::memcpy(&value, bytes + i * where.bytes, where.bytes);
    all += (i ? " " : "") + std::to_string(value);
    if (value != 0 || i == 0) text = all;
  }
  return text;
}

void SetField(const RecordType& type, void* record, const std::string& field, uint32_t value) {
  const RecordField& where = Field(type, field);
  std::memcpy(static_cast<uint8_t*>(record) + where.offset, &value, where.bytes);
}

}  // namespace scantk::test
