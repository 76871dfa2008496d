#include "protocol/protocol_engine.h"

#include "protocol/channel.h"
#include "protocol/device_errors.h"
#include "protocol/device_lock.h"
#include "protocol/download_table.h"
#include "protocol/end_page.h"
#include "protocol/exchange.h"
#include "protocol/flush.h"
#include "protocol/packet_reader.h"
#include "protocol/scan_engine.h"

namespace scantk {

struct ProtocolEngine::Parts {
  TraceLog trace;
  Channel channel{trace};
  Exchange exchange{channel, trace};
  PacketReader reader{channel, trace};
  Flush flush{channel, exchange, reader, trace};
  DeviceErrors errors{exchange, flush};
  DeviceLock lock{channel, exchange, errors, trace};
  ScanEngine scan{exchange, errors, reader, trace};
};

ProtocolEngine::ProtocolEngine() : parts_(std::make_unique<Parts>()) {}

ProtocolEngine::~ProtocolEngine() {
  parts_->channel.Close();
  parts_->trace.Print(TRACE_INFO, "mxvwia_qrl::Destructor");
}

uint32_t ProtocolEngine::InitIO(const char* device_name, uint32_t dwDevIOType) {
  return parts_->channel.InitIO(device_name, dwDevIOType);
}
uint32_t ProtocolEngine::ConnectToIO() {
  return parts_->channel.ConnectToIO();
}
uint32_t ProtocolEngine::DisConnectFromIO() {
  return parts_->channel.DisConnectFromIO();
}
void ProtocolEngine::AttachTransport(std::unique_ptr<mxvio> transport) {
  parts_->channel.Attach(std::move(transport));
}
int ProtocolEngine::SetScannerTimeouts(uint32_t read, uint32_t write, uint32_t flush) {
  return parts_->channel.SetScannerTimeouts(read, write, flush);
}
int ProtocolEngine::GetScannerTimeouts(uint32_t* read, uint32_t* write, uint32_t* flush) {
  return parts_->channel.GetScannerTimeouts(read, write, flush);
}

QrlStatus ProtocolEngine::SendCommand(uint32_t id, int32_t value) {
  return parts_->exchange.SendCommand(id, value);
}
QrlStatus ProtocolEngine::InquireNumber(uint32_t id, char kind, int32_t* value) {
  return parts_->exchange.InquireNumber(id, kind, value);
}
QrlStatus ProtocolEngine::InquireString(uint32_t id, char* buffer, uint32_t capacity,
                                        int32_t* length) {
  return parts_->exchange.InquireString(id, buffer, capacity, length);
}
QrlStatus ProtocolEngine::InquireBytes(uint32_t id, uint8_t* buffer, uint32_t capacity,
                                       int32_t* length) {
  return parts_->exchange.InquireBytes(id, buffer, capacity, length);
}
QrlStatus ProtocolEngine::InquireOldestError() {
  return parts_->errors.InquireOldestError();
}
QrlStatus ProtocolEngine::InquireModel(int32_t* model) {
  return parts_->exchange.InquireModel(model);
}
QrlStatus ProtocolEngine::DownloadTable(uint32_t type, const uint8_t* data) {
  return scantk::DownloadTable(parts_->channel, parts_->exchange, parts_->trace, type, data);
}

QrlStatus ProtocolEngine::Scan(uint32_t phase, uint8_t* buffer, uint32_t size, uint32_t* written) {
  return parts_->scan.Scan(phase, buffer, size, written);
}
QrlStatus ProtocolEngine::GetEndPageInfo(uint32_t* abort_state, uint32_t* rows_k,
                                         uint32_t* rows_cmy) {
  return scantk::GetEndPageInfo(parts_->reader, parts_->exchange, parts_->trace, abort_state,
                                rows_k, rows_cmy);
}
int32_t ProtocolEngine::FlushTheScanner() {
  return parts_->flush.FlushTheScanner();
}

QrlStatus ProtocolEngine::LockScanner(int32_t timeout) {
  return parts_->lock.LockScanner(timeout);
}
QrlStatus ProtocolEngine::UnLockScanner() {
  return parts_->lock.UnLockScanner();
}
QrlStatus ProtocolEngine::SetDeviceTimeout(int32_t timeout) {
  return parts_->lock.SetDeviceTimeout(timeout);
}
bool ProtocolEngine::HasDeviceLock() const {
  return parts_->lock.IsHeld();
}

void ProtocolEngine::SetSwitchValues(uint32_t dwValue1) {
  parts_->scan.SetSwitchValues(dwValue1);
}

}  // namespace scantk
