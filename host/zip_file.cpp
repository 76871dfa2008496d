#include "host/zip_file.h"

#include "host/crc32.h"
#include "host/pictures/picture_file.h"

namespace scanhost {
namespace {

void Add(std::string* bytes, uint32_t value, int count) {
  for (; count > 0; --count, value >>= 8) *bytes += static_cast<char>(value);
}

// What the local header and the table's entry have in common.
std::string Common(const std::string& name, const std::string& text) {
  const auto size = static_cast<uint32_t>(text.size());
  std::string bytes;
  Add(&bytes, 20, 2);      // version needed
  Add(&bytes, 0x0800, 2);  // names are UTF-8
  Add(&bytes, 0, 2);       // stored
  Add(&bytes, 0x00210000, 4);
  Add(&bytes, Crc32(0, text.data(), text.size()), 4);
  Add(&bytes, size, 4);
  Add(&bytes, size, 4);
  Add(&bytes, static_cast<uint32_t>(name.size()), 2);
  Add(&bytes, 0, 2);
  return bytes;
}

}  // namespace

void WriteZip(const std::string& path,
              const std::vector<std::pair<std::string, std::string>>& parts) {
  std::string file, table;
  for (const auto& [name, text] : parts) {
    const auto offset = static_cast<uint32_t>(file.size());
    file += "PK\3\4" + Common(name, text) + name + text;
    table += "PK\1\2";
    Add(&table, 20, 2);
    table += Common(name, text);
    Add(&table, 0, 10);  // no comment, first disk, no attributes
    Add(&table, offset, 4);
    table += name;
  }
  const auto start = static_cast<uint32_t>(file.size());
  file += table + "PK\5\6";
  Add(&file, 0, 4);
  Add(&file, static_cast<uint32_t>(parts.size()), 2);
  Add(&file, static_cast<uint32_t>(parts.size()), 2);
  Add(&file, static_cast<uint32_t>(table.size()), 4);
  Add(&file, start, 4);
  Add(&file, 0, 2);
  Stream out = OpenStream(path, "wb");
  WriteAll(out.get(), file.data(), file.size(), path);
  CloseStream(std::move(out), path);
}

}  // namespace scanhost
