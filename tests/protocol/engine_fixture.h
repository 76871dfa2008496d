// An engine at the end of a scripted conversation, and blocks and records as a device frames them.
#ifndef SCANTK_TESTS_PROTOCOL_ENGINE_FIXTURE_H_
#define SCANTK_TESTS_PROTOCOL_ENGINE_FIXTURE_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "protocol/protocol_engine.h"
#include "tests/doubles/scripted_transport.h"

namespace scantk::test {

// Its end fails a test whose conversation did not go as written.
struct ScriptedEngine {
  ScriptedEngine() { engine.channel.Attach(std::make_unique<ScriptedTransport>(script)); }
  ~ScriptedEngine() { EXPECT_EQ("", script.TakeFaults()); }

  // An inquiry's status and value in one, for comparing.
  std::pair<QrlStatus, int32_t> Number(uint32_t id, char kind) {
    int32_t value = 12345;
    const QrlStatus status = engine.exchange.InquireNumber(id, kind, &value);
    return {status, value};
  }
  // Has the device identified as one that answers the alternative identification alone.
  void TurnCacheOn() {
    script.Ask("19E", "dN").AskText("18E", "whatever");
    int32_t model = 0;
    EXPECT_EQ(SL_OK, engine.exchange.InquireModel(&model));
    EXPECT_EQ(64, model);
  }

  Script script;
  ProtocolEngine engine;
};

using Answered = std::pair<QrlStatus, int32_t>;

inline std::string Number(uint32_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i));
  return text;
}

inline std::string Header(uint32_t length, int offset, uint8_t flags) {
  return Number(length, 4) + Number(static_cast<uint32_t>(offset), 2) + '\0' +
         static_cast<char>(flags);
}

inline std::string Block(const std::string& body, uint8_t flags = 0, int offset = 8) {
  return Header(static_cast<uint32_t>(body.size() + 8), offset, flags) + body;
}

inline std::string StartRecord() {
  return std::string(36, '\0');
}

inline std::string DataRecord(const std::string& bytes) {
  return std::string("\1\0", 2) + Number(static_cast<uint32_t>(bytes.size()), 2) + bytes;
}

inline std::string EndRecord(uint32_t rows_k, uint32_t rows_cmy) {
  return std::string("\2\0\0\0", 4) + Number(rows_k, 4) + Number(rows_cmy, 4);
}

// `size` bytes that differ from their neighbours; the same for the same `seed`.
inline std::string Pattern(size_t size, uint32_t seed = 1) {
  std::string bytes(size, '\0');
  for (char& byte : bytes) {
    seed = seed * 1664525u + 1013904223u;
    byte = static_cast<char>(seed >> 24);
  }
  return bytes;
}

// A page of image bytes in blocks of at most `block_bytes` of them, in records of at most
// `record_bytes`, with a start-of-page and an end-of-page record.
inline std::string Page(const std::string& image, uint32_t rows, size_t block_bytes = 40000,
                        size_t record_bytes = 20000) {
  std::string page, body = StartRecord();
  for (size_t at = 0; at < image.size();) {
    const size_t end = std::min(image.size(), at + block_bytes);
    while (at < end) {
      const size_t count = std::min(end - at, record_bytes);
      body += DataRecord(image.substr(at, count));
      at += count;
    }
    if (at < image.size()) {
      page += Block(body);
      body.clear();
    }
  }
  return page + Block(body + EndRecord(rows, rows), 0x02);
}

}  // namespace scantk::test

#endif  // SCANTK_TESTS_PROTOCOL_ENGINE_FIXTURE_H_
