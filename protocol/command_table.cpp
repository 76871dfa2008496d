#include "protocol/command_table.h"

#include <array>
#include <charconv>

namespace scantk {
namespace {

constexpr char kEscape = 0x1B;

struct CommandRow {
  uint32_t id;
  char command[5];
  char inquiry[7];
  uint32_t traits;
};

constexpr CommandRow kRows[] = {
#define SCANTK_COMMAND(id, name, command, inquiry, traits) {id, command, inquiry, traits},
#define SCANTK_COMMAND_WITHOUT_NAME(id, command, inquiry, traits) {id, command, inquiry, traits},
#include "protocol/commands.inc"
#undef SCANTK_COMMAND
#undef SCANTK_COMMAND_WITHOUT_NAME
};

constexpr auto kCommands = [] {
  std::array<CommandRow, kCommandCount> by_id{};
  for (const CommandRow& row : kRows) by_id[row.id] = row;
  return by_id;
}();

}  // namespace

bool HasTrait(uint32_t id, uint32_t traits) {
  return id < kCommandCount && (kCommands[id].traits & traits) != 0;
}

size_t BuildCommand(uint32_t id, int32_t value, char* buffer) {
  if (id >= kCommandCount || kCommands[id].command[0] == '\0') return 0;
  char* out = buffer;
  *out++ = kEscape;
  for (const char* in = kCommands[id].command; *in; ++in) {
    if (*in == '#') {
      out = std::to_chars(out, buffer + kCommandBufferSize, value).ptr;
    } else {
      *out++ = *in;
    }
  }
  *out = '\0';
  return static_cast<size_t>(out - buffer);
}

size_t BuildInquire(uint32_t id, char kind, char* buffer) {
  if (id >= kCommandCount || kCommands[id].inquiry[0] == '\0') return 0;
  char* out = buffer;
  *out++ = kEscape;
  *out++ = '*';
  *out++ = 's';
  for (const char* in = kCommands[id].inquiry; *in; ++in) *out++ = *in == kCurrent ? kind : *in;
  *out = '\0';
  return static_cast<size_t>(out - buffer);
}

}  // namespace scantk
