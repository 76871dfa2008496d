// An engine at the end of a scripted conversation.
#ifndef SCANTK_TESTS_PROTOCOL_ENGINE_FIXTURE_H_
#define SCANTK_TESTS_PROTOCOL_ENGINE_FIXTURE_H_

#include <gtest/gtest.h>

#include <memory>

#include "protocol/protocol_engine.h"
#include "tests/doubles/scripted_transport.h"

namespace scantk::test {

struct ScriptedEngine {
  ScriptedEngine() { engine.channel.Attach(std::make_unique<ScriptedTransport>(script)); }

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

}  // namespace scantk::test

#endif  // SCANTK_TESTS_PROTOCOL_ENGINE_FIXTURE_H_
