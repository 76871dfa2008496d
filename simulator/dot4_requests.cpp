#include <algorithm>

#include "simulator/dot4_device.h"
#include "simulator/dot4_stack.h"

namespace scantk::sim {
namespace {

constexpr size_t kHeadBytes = 12;       // of a request on the local socket
constexpr size_t kTransferHeader = 16;  // of what it carries
constexpr size_t kLargestInput = 1 << 20;
constexpr size_t kUnsent = 1 << 20;
constexpr size_t kPacketToHost = 32000;
constexpr size_t kLargestRead = 64 << 20;
constexpr size_t kPacketToDevice = 250;
constexpr size_t kSockets = 32;
constexpr size_t kLayoutFaults = 100;
constexpr size_t kTimeoutAt = 12;  // in the header

// The system's error numbers.
constexpr uint32_t kInvalidHandle = 6;
constexpr uint32_t kInvalidParameter = 87;
constexpr uint32_t kBusy = 170;

void PutNumber(std::vector<uint8_t>* bytes, uint32_t number) {
  for (int shift = 0; shift < 32; shift += 8)
    bytes->push_back(static_cast<uint8_t>(number >> shift));
}

uint32_t NumberAt(const std::vector<uint8_t>& bytes, size_t at) {
  uint32_t number = 0;
  for (size_t i = 4; i-- > 0;) number = number << 8 | bytes[at + i];
  return number;
}

}  // namespace

void Dot4Stack::File::AddAnswer(uint32_t error, uint32_t moved, const std::vector<uint8_t>& reply) {
  PutNumber(&unsent, error);
  PutNumber(&unsent, moved);
  PutNumber(&unsent, static_cast<uint32_t>(reply.size()));
  unsent.insert(unsent.end(), reply.begin(), reply.end());
}

void Dot4Stack::AnswerAll(File& file) {
  while (file.socket && file.received.size() >= kHeadBytes && file.unsent.size() < kUnsent) {
    Dot4Request request;
    request.code = NumberAt(file.received, 0);
    const size_t size = NumberAt(file.received, 4);
    request.reply_limit = NumberAt(file.received, 8);
    if (size > kLargestInput) return Close(file);
    if (file.received.size() - kHeadBytes < size) return;
    const auto input = file.received.begin() + kHeadBytes;
    const auto end = input + static_cast<std::ptrdiff_t>(size);
    request.input.assign(input, end);
    if (!Answer(file, request)) return;
    file.received.erase(file.received.begin(), end);
  }
}

// False: it is to be looked at again later, or the file is closed.
bool Dot4Stack::Answer(File& file, const Dot4Request& request) {
  uint32_t error = Failure(file, request);
  if (error == Dot4Device::kSilence) return true;
  if (error == Dot4Device::kHangUp) {
    Close(file);
    return false;
  }
  if (error == 0 && request.code == static_cast<uint32_t>(Dot4Code::kRead))
    return AnswerRead(file, request);
  if (error == 0) error = Perform(file, request);
  if (error != 0) file.AddAnswer(error, 0);
  return true;
}

// Why a request fails before it is looked at: its layout, or an owner who wants it so.
uint32_t Dot4Stack::Failure(File& file, const Dot4Request& request) {
  const std::string fault = Dot4Fault(request);
  if (!fault.empty()) {
    const std::string text = Dot4Name(request.code) + ": " + fault;
    ends_.log.Write("! " + text);
    if (layout_faults.size() < kLayoutFaults) layout_faults.push_back(text);
    return kInvalidParameter;
  }
  auto& planned = failures[request.code];
  if (planned.empty() || file.read_ends) return 0;
  const uint32_t error = planned.front();
  planned.pop_front();
  if (error != 0) ends_.log.Write("! " + Dot4Name(request.code) + " fails");
  return error;
}

// Answers all but reads, or returns why not.
uint32_t Dot4Stack::Perform(File& file, const Dot4Request& request) {
  switch (static_cast<Dot4Code>(request.code)) {
    case Dot4Code::kCreateSocket:
      return CreateSocket(file, request);
    case Dot4Code::kOpenChannel:
      return OpenChannel(file, request);
    case Dot4Code::kDestroySocket:
      return DestroySocket(file, request);
    default:
      return OnChannel(file, request);
  }
}

uint32_t Dot4Stack::CreateSocket(File& file, const Dot4Request& request) {
  if (sockets.size() == kSockets) sockets.pop_front();  // of a host that went without a word
  do {
    ++last_socket_;
  } while (last_socket_ == 0 || std::count(sockets.begin(), sockets.end(), last_socket_) > 0);
  sockets.push_back(last_socket_);
  const std::vector<uint8_t> record = Dot4Created(request, last_socket_);
  file.AddAnswer(0, static_cast<uint32_t>(record.size()), record);
  return 0;
}

uint32_t Dot4Stack::OpenChannel(File& file, const Dot4Request& request) {
  const uint8_t socket = Dot4Socket(request);
  if (std::count(sockets.begin(), sockets.end(), socket) == 0) return kInvalidParameter;
  if (channel_) return kBusy;
  channel_ = Channel{++last_channel_, socket, &file, Open()};
  ends_.device.Meet(*channel_->host);
  const std::vector<uint8_t> record = Dot4Opened(request, last_channel_);
  file.AddAnswer(0, static_cast<uint32_t>(record.size()), record);
  return 0;
}

uint32_t Dot4Stack::DestroySocket(File& file, const Dot4Request& request) {
  const auto known = std::find(sockets.begin(), sockets.end(), Dot4Socket(request));
  if (known == sockets.end()) return kInvalidParameter;
  if (channel_ && channel_->socket == *known) return kBusy;
  sockets.erase(known);
  file.AddAnswer(0, 0);
  return 0;
}

bool Dot4Stack::OwnsChannel(const File& file, const Dot4Request& request) const {
  return channel_ && channel_->handle == Dot4Channel(request) && channel_->file == &file;
}

uint32_t Dot4Stack::OnChannel(File& file, const Dot4Request& request) {
  if (!OwnsChannel(file, request)) return kInvalidHandle;
  uint32_t taken = 0;
  if (static_cast<Dot4Code>(request.code) == Dot4Code::kCloseChannel) {
    CloseChannel(RecordedKind::kGone);
  } else {
    auto left = std::span(request.input).subspan(kTransferHeader);
    while (!left.empty() && channel_->host->unheard.empty()) {  // as long as there is credit
      const auto packet = left.first(std::min(kPacketToDevice, left.size()));
      Hear(*channel_->host, packet);
      taken += static_cast<uint32_t>(packet.size() - channel_->host->unheard.size());
      left = left.subspan(packet.size());
    }
    channel_->host->unheard.clear();  // was not taken, and the host is told so
  }
  file.AddAnswer(0, taken);
  return 0;
}

// A read is filled from as many packets as it takes. It ends early when the device has no more to
// say, and when its host's time is up. False: not yet, or the file is closed.
bool Dot4Stack::AnswerRead(File& file, const Dot4Request& request) {
  if (!OwnsChannel(file, request)) {
    file.AddAnswer(kInvalidHandle, 0);
    return true;
  }
  Conversation& host = *channel_->host;
  const size_t wanted = std::min<size_t>(request.reply_limit, kLargestRead);
  std::vector<uint8_t>& bytes = file.read_so_far;
  if (!file.read_ends) file.read_ends = SteadyMilliseconds() + request.Number(kTimeoutAt);
  while (bytes.size() < wanted) {
    auto due = Due(host);
    if (due.empty()) break;
    due = due.first(std::min({due.size(), wanted - bytes.size(), kPacketToHost}));
    bytes.insert(bytes.end(), due.begin(), due.end());
    Sent(host, due.size());
  }
  if (bytes.empty() && Breaks(host)) {
    ends_.log.Write("the line breaks");
    Close(file);
    return false;
  }
  const bool more = bytes.empty() || (Delay(host) >= 0 && !Breaks(host));
  if (bytes.size() < wanted && more && SteadyMilliseconds() < *file.read_ends) return false;
  file.AddAnswer(0, static_cast<uint32_t>(bytes.size()), bytes);
  file.read_ends.reset();
  bytes.clear();
  return true;
}

}  // namespace scantk::sim
