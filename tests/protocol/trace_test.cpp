// The lines that engineers in the field read: their texts, their order and their levels.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/diag/trace_fixture.h"
#include "tests/protocol/engine_fixture.h"
#include "tests/protocol/framing_bytes.h"

namespace scantk::test {
namespace {

using Lines = std::vector<std::string>;

class TraceTest : public TraceFixture {};

}  // namespace
}  // namespace scantk::test
