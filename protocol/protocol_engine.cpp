#include "protocol/protocol_engine.h"

namespace scantk {

ProtocolEngine::~ProtocolEngine() {
  channel.Close();
  trace.Print(TRACE_INFO, "mxvwia_qrl::Destructor");
}

}  // namespace scantk
