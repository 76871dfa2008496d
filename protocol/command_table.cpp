#include "protocol/command_table.h"

#include <charconv>
#include <cstring>

namespace scantk {
namespace {

constexpr char kEscape = 0x1B;

struct CommandEntry {
  char command[5];  // '#' is the place of the number; empty: cannot be set
  char inquiry[7];  // a final 'R' is the place of the kind; empty: cannot be asked
};

// clang-format off
constexpr CommandEntry CommandTable[] = {
    {"E", ""},  // 0 SL_RESET
    {"*oE", ""},  // 1 SL_CLEAR_ERRORS
    {"*f0S", ""},  // 2 SL_START_SCAN
    {"*u0S", ""},  // 3
    {"*s#U", "10902R"},  // 4
    {"*u0R", ""},  // 5
    {"*u0Y", ""},  // 6
    {"*u0D", ""},  // 7
    {"*m#A", ""},  // 8
    {"*a#R", "10323R"},  // 9 SL_X_RESOLUTION
    {"*a#S", "10324R"},  // 10 SL_Y_RESOLUTION
    {"*a#E", "10310R"},  // 11
    {"*a#F", "10311R"},  // 12
    {"*a#X", "10329R"},  // 13
    {"*a#Y", "10330R"},  // 14
    {"*a#P", "10321R"},  // 15
    {"*a#Q", "10322R"},  // 16
    {"*f#X", "10489R"},  // 17 SL_XPOS_PIXEL
    {"*f#Y", "10490R"},  // 18 SL_YPOS_PIXEL
    {"*f#P", "10481R"},  // 19 SL_XEXT_PIXEL
    {"*f#Q", "10482R"},  // 20 SL_YEXT_PIXEL
    {"*a#L", "10317R"},  // 21
    {"*a#K", "10316R"},  // 22
    {"*a#I", "10314R"},  // 23
    {"*a#M", "10318R"},  // 24
    {"*a#B", "10307R"},  // 25
    {"*a#T", "10325R"},  // 26 SL_DATA_TYPE
    {"*a#G", "10312R"},  // 27 SL_BITS_PER_PIXEL
    {"*a#J", "10315R"},  // 28
    {"*u#K", "10956R"},  // 29 SL_TONEMAP
    {"*a#D", "10309R"},  // 30 SL_DOWNLOAD_TYPE
    {"*a#W", "10328R"},  // 31 SL_DOWNLOAD_LENGTH
    {"*f#F", "10471R"},  // 32
    {"*f#L", "10477R"},  // 33 SL_LAMP
    {"*f#T", "10485R"},  // 34
    {"*u#F", "10951R"},  // 35
    {"*u#J", "10955R"},  // 36
    {"*u#T", "10965R"},  // 37
    {"*u#U", "10966R"},  // 38 SL_ADF_EJECT_PAGE
    {"*u#X", "10969R"},  // 39 SL_ADF_FEED_PAGE
    {"*u#A", "10946R"},  // 40
    {"*u#C", "10948R"},  // 41
    {"*u#H", "10953R"},  // 42
    {"*u#L", "10957R"},  // 43
    {"", "23E"},  // 44 SL_ADF_STATUS
    {"", "24E"},  // 45 SL_ADF_PRESENT
    {"", "25E"},  // 46
    {"", "26E"},  // 47
    {"", "27E"},  // 48
    {"", "256E"},  // 49
    {"", "257E"},  // 50 SL_ERROR_COUNT
    {"", "259E"},  // 51
    {"", "261E"},  // 52 SL_OLDEST_ERROR
    {"", "1024E"},  // 53 SL_PIXELS_PER_LINE
    {"", "1025E"},  // 54 SL_BYTES_PER_LINE
    {"", "1026E"},  // 55 SL_LINES_PER_SCAN
    {"", "1027E"},  // 56 SL_ADF_READY
    {"", "1028E"},  // 57
    {"", "1029E"},  // 58
    {"", "2050E"},  // 59
    {"", "2051E"},  // 60
    {"", "2052E"},  // 61
    {"", "2053E"},  // 62
    {"", "2054E"},  // 63
    {"", "28E"},  // 64
    {"", "30E"},  // 65
    {"", "1034E"},  // 66
    {"", "4E"},  // 67
    {"", "5E"},  // 68
    {"", "6E"},  // 69
    {"", "29E"},  // 70
    {"", "3E"},  // 71
    {"", "10E"},  // 72
    {"", "9E"},  // 73
    {"", "11E"},  // 74
    {"", "12E"},  // 75
    {"", "14E"},  // 76
    {"", "13E"},  // 77
    {"", "15E"},  // 78
    {"", "16E"},  // 79
    {"", "17E"},  // 80
    {"", "18E"},  // 81
    {"", "19E"},  // 82
    {"", ""},  // 83
    {"", "21E"},  // 84
    {"", ""},  // 85
    {"", "31E"},  // 86
    {"", "32E"},  // 87
    {"", ""},  // 88
    {"", ""},  // 89
    {"", ""},  // 90
    {"", "18E"},  // 91 SL_MODEL_ID_ALT
    {"", "19E"},  // 92 SL_MODEL_ID
    {"", "20E"},  // 93 SL_MODEL_RIX
    {"", "508E"},  // 94 SL_SPF_DATA
    {"", ""},  // 95
    {"", ""},  // 96
    {"", ""},  // 97
    {"", ""},  // 98
    {"", "503E"},  // 99 SL_SCANNER_VENDOR
    {"*u#B", "10947R"},  // 100
    {"*u#G", "10952R"},  // 101
    {"*u#E", "10950R"},  // 102
    {"*a#C", "10308R"},  // 103 SL_COMPRESSION
    {"*a#V", "10327R"},  // 104
    {"*a#Z", "10331R"},  // 105
    {"", "1037E"},  // 106
    {"", "1041E"},  // 107
    {"*f#H", ""},  // 108 SL_DEVLOCK
    {"*f#I", "10474R"},  // 109 SL_DEVLOCK_TIMEOUT
    {"", "505E"},  // 110 SL_DEVLOCK_ID
    {"", "506E"},  // 111
    {"", ""},  // 112
    {"*m#P", ""},  // 113
    {"*f#A", "10466R"},  // 114
    {"*f#B", "10462R"},  // 115
    {"", "1044E"},  // 116
    {"*a#A", ""},  // 117
    {"*f#C", "1045E"},  // 118
    {"*f#D", "10469R"},  // 119
    {"*f#E", "10470R"},  // 120
    {"", "1047E"},  // 121
    {"", "1046E"},  // 122
    {"*a#O", "10320R"},  // 123
    {"", "1052E"},  // 124
    {"*f#K", "10476R"},  // 125
    {"*j#C", "10596R"},  // 126
    {"", "1057E"},  // 127
    {"*m#O", ""},  // 128 SL_SET_ADF_PAGESIZE
    {"M#M", ""},  // 129
    {"*m#S", ""},  // 130 SL_SCAN_TRANSFER_TYPE
    {"*m#Q", ""},  // 131 SL_JPEG_COMPRESSION
    {"*m#U", "2100E"},  // 132 SL_URS_STATE
    {"*m#B", ""},  // 133 SL_SCANTYPE
    {"", "22E"},  // 134 SL_SCANTO_SETTINGS
    {"", "2101E"},  // 135 SL_URS_VARIABLE
    {"", ""},  // 136
    {"", ""},  // 137
    {"", ""},  // 138
    {"", "11323R"},  // 139 SL_X_RESOLUTION_FLAT
    {"", "11324R"},  // 140 SL_Y_RESOLUTION_FLAT
    {"", ""},  // 141
    {"", "11322R"},  // 142
    {"", ""},  // 143
    {"", "11482R"},  // 144 SL_YEXT_PIXEL_FLAT
    {"", "12323R"},  // 145 SL_X_RESOLUTION_ADF
    {"", "12324R"},  // 146 SL_Y_RESOLUTION_ADF
    {"", ""},  // 147
    {"", "12322R"},  // 148
    {"", ""},  // 149
    {"", "12482R"},  // 150 SL_YEXT_PIXEL_ADF
    {"", ""},  // 151
    {"", ""},  // 152
    {"", ""},  // 153
    {"", ""},  // 154
    {"", "1030E"},  // 155
    {"", ""},  // 156
    {"", "13323R"},  // 157
    {"", "13324R"},  // 158
    {"", "13481R"},  // 159
    {"", "13482R"},  // 160 SL_YEXT_PIXEL_DUPLEX
    {"", "13500E"},  // 161 SL_DUPLEX_SUPPORTED
    {"", "13501E"},  // 162
    {"", "13502E"},  // 163
    {"*d#D", "13505R"},  // 164 SL_DUPLEX
    {"*d#V", "13506R"},  // 165 SL_DUPLEX_VFLIP
    {"*d#H", "13507R"},  // 166 SL_DUPLEX_HFLIP
    {"", "13510R"},  // 167 SL_DUPLEX_FLIP
    {"", "507E"},  // 168 SL_SPF_SIZE
};
// clang-format on
static_assert(sizeof(CommandTable) / sizeof(CommandTable[0]) == kCommandCount);

}  // namespace

size_t BuildCommand(uint32_t id, int32_t value, char* buffer) {
  if (id >= kCommandCount || CommandTable[id].command[0] == '\0') return 0;
  char* out = buffer;
  *out++ = kEscape;
  for (const char* in = CommandTable[id].command; *in; ++in) {
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
  if (id >= kCommandCount || CommandTable[id].inquiry[0] == '\0') return 0;
  char* out = buffer;
  *out++ = kEscape;
  *out++ = '*';
  *out++ = 's';
  for (const char* in = CommandTable[id].inquiry; *in; ++in) *out++ = *in == 'R' ? kind : *in;
  *out = '\0';
  return static_cast<size_t>(out - buffer);
}

}  // namespace scantk
