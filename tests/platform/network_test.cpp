#include "platform/network.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "tests/platform/raw_listener.h"

namespace scantk {
namespace {

using std::chrono::milliseconds;
using Now = std::chrono::steady_clock;

class NetworkTest : public testing::Test {
 protected:
  void SetUp() override {
    SocketLibraryInfo info;
    ASSERT_EQ(TheNetwork().StartUp(&info), 0u);
    EXPECT_EQ(info.version, 0x0202);
    EXPECT_EQ(info.systemStatus, "Running");
  }
  void TearDown() override { TheNetwork().CleanUp(); }

  SocketAddress Address(uint16_t port) {
    SocketAddress address = {};
    address.family = kFamilyInet;
    address.port = port;
    address.address = TheNetwork().ParseDotted("127.0.0.1");
    return address;
  }

  void Connect() {
    listener_ = std::make_unique<RawListener>();
    socket_ = TheNetwork().CreateStreamSocket();
    ASSERT_TRUE(socket_);
    EXPECT_NE(socket_->Handle(), 0u);
    const uint32_t started = socket_->Connect(Address(listener_->Port()));
    EXPECT_TRUE(started == 0 || started == error::kSocketWouldBlock) << started;
    ASSERT_GT(socket_->WaitWritable(5000), 0);
    peer_ = listener_->Accept();
    uint32_t pending = 1;
    EXPECT_EQ(socket_->PendingError(&pending), 0);
    EXPECT_EQ(pending, 0u);
    ASSERT_TRUE(socket_->BeginTransfer());
  }

  // Waits for a posted receive or send. The answer is the error, *bytes what it moved.
  uint32_t Finish(uint32_t posted, uint32_t* bytes) {
    *bytes = 0;
    if (posted != 0 && posted != error::kIoPending) return posted;
    const WaitResult waited = socket_->WaitTransfer(5000);
    if (waited != WaitResult::kSignalled) return static_cast<uint32_t>(waited);
    const uint32_t result = socket_->TransferResult(bytes);
    socket_->ResetTransfer();
    return result;
  }

  std::string Receive(uint32_t size) {
    std::string got(size, '\0');
    uint32_t bytes = 0;
    const uint32_t result = Finish(socket_->PostReceive(got.data(), size), &bytes);
    got.resize(bytes);
    return result == 0 ? got : "error " + std::to_string(result);
  }

  std::unique_ptr<RawListener> listener_;
  std::unique_ptr<StreamSocket> socket_;
  std::unique_ptr<RawPeer> peer_;
};

TEST_F(NetworkTest, ReceivesWhatIsThereAndWaitsForTheRest) {
  Connect();
  ASSERT_TRUE(peer_->Send("ready"));
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_EQ(Receive(100), "ready");

  char buffer[8] = {};
  ASSERT_EQ(socket_->PostReceive(buffer, sizeof buffer), error::kIoPending);
  uint32_t bytes = 0;
  EXPECT_EQ(socket_->TransferResult(&bytes), error::kIoIncomplete);
  const auto start = Now::now();
  EXPECT_EQ(socket_->WaitTransfer(100), WaitResult::kTimeout);
  EXPECT_GE(Now::now() - start, milliseconds(90));
  std::thread sender([&] {
    std::this_thread::sleep_for(milliseconds(50));
    peer_->Send("late");
  });
  EXPECT_EQ(socket_->WaitTransfer(5000), WaitResult::kSignalled);
  EXPECT_EQ(socket_->TransferResult(&bytes), 0u);
  EXPECT_EQ(std::string(buffer, bytes), "late");
  sender.join();

  socket_->ResetTransfer();
  peer_->Close();
  EXPECT_EQ(Receive(10), "") << "an orderly close is a receive of nothing";
}

TEST_F(NetworkTest, DataAfterACancelledReceiveLeavesItsBufferAlone) {
  Connect();
  std::string buffer(64, '.');
  ASSERT_EQ(socket_->PostReceive(buffer.data(), 64), error::kIoPending);
  EXPECT_EQ(socket_->WaitTransfer(30), WaitResult::kTimeout);
  uint32_t late = 99;
  socket_->EndTransfer(&late);
  EXPECT_EQ(late, 0u);
  ASSERT_TRUE(peer_->Send("after the cancel"));
  std::this_thread::sleep_for(milliseconds(80));
  EXPECT_EQ(buffer, std::string(64, '.'));
  ASSERT_TRUE(socket_->BeginTransfer());
  EXPECT_EQ(Receive(64), "after the cancel") << "nothing was lost to the old buffer";
}

TEST_F(NetworkTest, SendsEverythingToASlowReader) {
  Connect();
  std::string sent(8 << 20, '\0');
  for (size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i * 31 >> 8);
  std::string received;
  std::thread reader([&] {
    std::this_thread::sleep_for(milliseconds(100));
    received = peer_->Receive(sent.size());
  });
  uint32_t bytes = 0;
  const auto size = static_cast<uint32_t>(sent.size());
  EXPECT_EQ(Finish(socket_->PostSend(sent.data(), size), &bytes), 0u);
  EXPECT_EQ(bytes, size);
  reader.join();
  EXPECT_TRUE(received == sent);
}

TEST_F(NetworkTest, FinishSendingDeliversTheLastBytesBeforeAnAbortiveClose) {
  Connect();
  ASSERT_EQ(socket_->SetLinger(true, 0), 0u);
  const std::string last(300000, 'x');
  std::string received;
  std::thread reader([&] {
    peer_->Send("what nobody reads any more");
    std::this_thread::sleep_for(milliseconds(100));
    received = peer_->Receive(last.size() + 1);
    peer_->Close();
  });
  uint32_t bytes = 0;
  EXPECT_EQ(Finish(socket_->PostSend(last.data(), static_cast<uint32_t>(last.size())), &bytes), 0u);
  socket_->EndTransfer(&bytes);
  const auto start = Now::now();
  socket_->FinishSending(5000);
  EXPECT_LT(Now::now() - start, milliseconds(3000)) << "the peer closed long before the limit";
  socket_.reset();
  reader.join();
  EXPECT_EQ(received.size(), last.size());
}

TEST_F(NetworkTest, FinishSendingEndsAtItsLimit) {
  Connect();
  const auto start = Now::now();
  socket_->FinishSending(120);
  EXPECT_GE(Now::now() - start, milliseconds(100));
  EXPECT_LT(Now::now() - start, milliseconds(1500));
}

TEST_F(NetworkTest, ResetByThePeer) {
  Connect();
  char buffer[8];
  ASSERT_EQ(socket_->PostReceive(buffer, sizeof buffer), error::kIoPending);
  peer_->Reset();
  EXPECT_EQ(socket_->WaitTransfer(5000), WaitResult::kSignalled);
  uint32_t bytes = 1;
  EXPECT_EQ(socket_->TransferResult(&bytes), error::kSocketConnectionReset);
  EXPECT_EQ(bytes, 0u);
  socket_->ResetTransfer();
  // And no signal ends the process when more is sent.
  EXPECT_NE(Finish(socket_->PostSend("more", 4), &bytes), 0u);
}

TEST_F(NetworkTest, RefusedConnectIsFoundAsThePendingError) {
  RawListener gone;
  const uint16_t port = gone.Port();
  gone.Close();
  socket_ = TheNetwork().CreateStreamSocket();
  const uint32_t started = socket_->Connect(Address(port));
  if (started == error::kSocketRefused) return;
  ASSERT_EQ(started, error::kSocketWouldBlock);
  EXPECT_EQ(socket_->WaitWritable(300), 0) << "never writable";
  for (int i = 0; i < 2; ++i) {
    uint32_t pending = 0;
    EXPECT_EQ(socket_->PendingError(&pending), 0);
    EXPECT_EQ(pending, error::kSocketRefused);
  }
}

TEST_F(NetworkTest, TakesItsOptions) {
  Connect();
  EXPECT_EQ(socket_->SetLinger(true, 0), 0u);
  EXPECT_EQ(socket_->SetReceiveTimeout(30000), 0u);
  EXPECT_EQ(socket_->SetSendTimeout(30000), 0u);
  EXPECT_EQ(socket_->WaitException(20), 0);
  uint32_t returned = 7;
  EXPECT_EQ(socket_->Control(0x222400, nullptr, 0, nullptr, 0, &returned), error::kNotSupported);
}

TEST_F(NetworkTest, NamesAndAddresses) {
  Network& network = TheNetwork();
  const uint32_t loopback = network.ParseDotted("127.0.0.1");
  EXPECT_EQ(reinterpret_cast<const uint8_t*>(&loopback)[0], 127);
  EXPECT_EQ(network.LookUpHost("localhost"), loopback);
  EXPECT_EQ(network.LookUpHost("name.invalid"), kNoAddress);
  EXPECT_NE(network.LastSocketError(), 0u);
  for (const char* wrong : {"300.1.1.1", "", "scanner", "fe80::1"}) {
    EXPECT_EQ(network.ParseDotted(wrong), kNoAddress) << wrong;
  }
  EXPECT_NE(network.ParseDotted("1.2.3"), kNoAddress);
}

}  // namespace
}  // namespace scantk
