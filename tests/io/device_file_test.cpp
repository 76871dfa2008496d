// Device files as the transports use them: what is pending, what times out, and stacks that do not
// keep to the form.
#include "platform/device_file.h"

#include <gtest/gtest.h>

#include <future>
#include <string>

#include "platform/error_codes.h"
#include "platform/system.h"
#include "tests/diag/test_place.h"
#include "tests/io/dot4_stack.h"
#include "tests/io/pseudo_terminal.h"

namespace scantk {
namespace {

using Data = DeviceRequest::Data;

TEST(DeviceFile, TransfersThatTakeTheirTime) {
  PseudoTerminal device;
  DeviceFile file;
  ASSERT_TRUE(file.Open(device.Path().c_str()));
  Overlapped record;
  uint32_t count = 9;
  char buffer[64] = {};
  EXPECT_FALSE(file.Read(buffer, sizeof buffer, &count, &record));
  EXPECT_EQ(error::kIoPending, LastError());
  EXPECT_EQ(WaitResult::kTimeout, file.Wait(&record, 20));
  EXPECT_FALSE(file.Result(&record, &count, false));
  EXPECT_EQ(error::kIoIncomplete, LastError());
  device.Send("now");
  EXPECT_EQ(WaitResult::kSignalled, file.Wait(&record, 2000));
  EXPECT_TRUE(file.Result(&record, &count, false));
  EXPECT_EQ("now", std::string(buffer, count));
  DeviceFile::ResetEvent(&record);

  EXPECT_FALSE(file.Read(buffer, sizeof buffer, &count, &record));
  file.Cancel(&record);
  EXPECT_FALSE(file.Result(&record, &count, false));
  EXPECT_EQ(error::kOperationAborted, LastError());
  device.Send("later");
  EXPECT_TRUE(file.Read(buffer, sizeof buffer, &count, &record) ||
              file.Result(&record, &count, true));
  EXPECT_EQ("later", std::string(buffer, count));

  // A device that reads nothing.
  const std::string much(1 << 20, 'm');
  EXPECT_FALSE(file.Write(much.data(), static_cast<uint32_t>(much.size()), &count, &record));
  EXPECT_EQ(error::kIoPending, LastError());
  EXPECT_EQ(WaitResult::kTimeout, file.Wait(&record, 20));
  file.Cancel(&record);
}

// The kernel hands a long transfer out in pieces; a read is filled from them. A part of it is not
// lost to a time-out or to the device's going.
TEST(DeviceFile, OneTransferFromManyPieces) {
  auto device = std::make_unique<PseudoTerminal>();
  DeviceFile file;
  ASSERT_TRUE(file.Open(device->Path().c_str()));
  Overlapped record;
  uint32_t count = 0;
  std::string sent(200000, '\0'), got(sent.size(), '\0');
  for (size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i * i >> 3);
  std::thread sender([&] {
    device->Send(sent.substr(0, 70001));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    device->Send(sent.substr(70001) + "tail");
  });
  if (!file.Read(got.data(), static_cast<uint32_t>(got.size()), &count, &record)) {
    EXPECT_EQ(WaitResult::kSignalled, file.Wait(&record, 10000));
    EXPECT_TRUE(file.Result(&record, &count, false));
    DeviceFile::ResetEvent(&record);
  }
  sender.join();
  EXPECT_EQ(sent.size(), count);
  EXPECT_TRUE(got == sent);

  EXPECT_FALSE(file.Read(got.data(), 64, &count, &record));
  EXPECT_EQ(WaitResult::kSignalled, file.Wait(&record, 100)) << "with a part of it";
  EXPECT_TRUE(file.Result(&record, &count, false));
  EXPECT_EQ("tail", got.substr(0, count));
  DeviceFile::ResetEvent(&record);

  device->Send("last words");
  EXPECT_FALSE(file.Read(got.data(), 64, &count, &record));
  device.reset();
  EXPECT_TRUE(file.Result(&record, &count, true));
  EXPECT_EQ("last words", got.substr(0, count));
  EXPECT_FALSE(file.Read(got.data(), 64, &count, &record));
  EXPECT_NE(error::kIoPending, LastError());
}

TEST(DeviceFile, HandlesThatAreNotOpen) {
  DeviceFile file;
  Overlapped record;
  uint32_t count = 9;
  char byte = 0;
  EXPECT_TRUE(file.IsNull());
  EXPECT_EQ(0u, file.Number());
  EXPECT_FALSE(file.Open("/nowhere/at/all"));
  EXPECT_EQ(error::kFileNotFound, LastError());
  EXPECT_TRUE(file.IsInvalid());
  EXPECT_EQ(~uintptr_t{0}, file.Number());
  EXPECT_FALSE(file.Read(&byte, 1, &count, &record));
  EXPECT_EQ(error::kInvalidHandle, LastError());
  EXPECT_EQ(0u, count);
  EXPECT_FALSE(file.Flush());
  file.Close();
  EXPECT_TRUE(file.IsNull());
  EXPECT_FALSE(file.Open(nullptr));
}

// A stack that answers with given bytes, in pieces of a given size, and then closes.
class ScriptedStack {
 public:
  ScriptedStack(const std::string& path, const std::string& answers, size_t piece)
      : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    unlink(path.c_str());
    sockaddr_un own = {};
    own.sun_family = AF_UNIX;
    std::strncpy(own.sun_path, path.c_str(), sizeof own.sun_path - 1);
    EXPECT_EQ(0, bind(listener_.Get(), reinterpret_cast<sockaddr*>(&own), sizeof own));
    EXPECT_EQ(0, listen(listener_.Get(), 1));
    thread_ = std::thread([this, answers, piece] {
      OwnedSocket connection(accept(listener_.Get(), nullptr, nullptr));
      go_.get_future().wait();
      for (size_t at = 0; at < answers.size(); at += piece) {
        const std::string part = answers.substr(at, piece);
        send(connection.Get(), part.data(), part.size(), MSG_NOSIGNAL);
        if (piece < 8) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    });
  }
  void Go() { go_.set_value(); }
  ~ScriptedStack() { thread_.join(); }

 private:
  OwnedSocket listener_;
  std::promise<void> go_;
  std::thread thread_;
};

std::string Numbers(std::initializer_list<uint32_t> numbers) {
  std::string bytes;
  for (const uint32_t number : numbers)
    for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<char>(number >> (8 * i)));
  return bytes;
}

TEST(DeviceFile, AnswersOfAStack) {
  TestPlace place;
  const struct {
    const char* name;
    std::string answer;
    Data direction;
    uint32_t error;
    uint32_t count;
    const char* data;
  } cases[] = {
      {"a reply", Numbers({0, 3, 3}) + "abc", Data::kFilled, 0, 3, "abc....."},
      {"a whole reply", Numbers({0, 8, 8}) + "abcdefgh", Data::kSentAndFilled, 0, 8, "abcdefgh"},
      {"nothing", Numbers({0, 0, 0}), Data::kFilled, 0, 0, "........"},
      {"a write", Numbers({0, 8, 0}), Data::kSent, 0, 8, "........"},
      {"an error", Numbers({1609, 0, 0}), Data::kFilled, 1609, 0, ""},
      {"more than fits", Numbers({0, 9, 9}) + "abcdefghi", Data::kFilled, 31, 0, ""},
      {"very much more", Numbers({0, 0xFFFFFFFF, 0xFFFFFFFF}), Data::kFilled, 31, 0, ""},
      {"more than came", Numbers({0, 8, 3}) + "abc", Data::kFilled, 31, 0, ""},
      {"more written than sent", Numbers({0, 9, 0}), Data::kSent, 31, 0, ""},
      {"a reply to a write", Numbers({0, 1, 1}) + "a", Data::kSent, 31, 0, ""},
      {"cut off in its head", Numbers({0, 3}), Data::kFilled, 31, 0, ""},
      {"cut off in the reply", Numbers({0, 3, 3}) + "ab", Data::kFilled, 31, 0, ""},
      {"closed", "", Data::kFilled, 31, 0, ""},
  };
  for (const auto& c : cases) {
    for (const size_t piece : {size_t{1}, size_t{64}}) {
      SCOPED_TRACE(c.name);
      ScriptedStack stack(place.File("stack"), c.answer, piece);
      DeviceFile file;
      ASSERT_TRUE(file.Open(place.File("stack").c_str()));
      char data[] = "........|";  // with a fence behind its eight bytes
      const DeviceRequest request = {0x3A200E, "head", 4, c.direction, data, 8};
      Overlapped record;
      uint32_t count = 77;
      EXPECT_FALSE(file.Control(request, &count, &record));
      EXPECT_EQ(error::kIoPending, LastError());
      stack.Go();
      EXPECT_EQ(WaitResult::kSignalled, file.Wait(&record, 5000));
      EXPECT_EQ(c.error == 0, file.Result(&record, &count, false));
      if (c.error != 0) {
        EXPECT_EQ(c.error, LastError());
      } else {
        EXPECT_EQ(c.data, std::string(data, 8));
      }
      EXPECT_EQ(c.count, count);
      EXPECT_EQ('|', data[8]);
    }
  }
}

// The answer to a request that was given up is not taken for that of the next one.
TEST(DeviceFile, LateAnswersAreDropped) {
  TestPlace place;
  ScriptedStack stack(place.File("stack"),
                      Numbers({0, 3, 3}) + "old" + Numbers({5, 0, 0}) + Numbers({0, 3, 3}) + "new",
                      64);
  DeviceFile file;
  ASSERT_TRUE(file.Open(place.File("stack").c_str()));
  char first[3], second[3], data[3];
  Overlapped record;
  uint32_t count = 0;
  for (char* buffer : {first, second}) {
    EXPECT_FALSE(file.Control({1, nullptr, 0, Data::kFilled, buffer, 3}, &count, &record));
    EXPECT_EQ(WaitResult::kTimeout, file.Wait(&record, 10));
    file.Cancel(&record);
  }
  EXPECT_FALSE(file.Control({2, nullptr, 0, Data::kFilled, data, 3}, &count, &record));
  stack.Go();
  EXPECT_TRUE(file.Result(&record, &count, true));
  EXPECT_EQ("new", std::string(data, count));
}

// A request that could not be sent whole leaves nothing that a stack could make sense of.
TEST(DeviceFile, HalfARequestEndsTheConnection) {
  TestPlace place;
  ScriptedStack stack(place.File("stack"), "", 64);
  DeviceFile file;
  ASSERT_TRUE(file.Open(place.File("stack").c_str()));
  std::string much(8 << 20, 'm');
  Overlapped record;
  uint32_t count = 0;
  EXPECT_FALSE(
      file.Control({1, nullptr, 0, Data::kSent, much.data(), static_cast<uint32_t>(much.size())},
                   &count, &record));
  EXPECT_EQ(WaitResult::kTimeout, file.Wait(&record, 10));
  file.Cancel(&record);
  EXPECT_FALSE(file.Control({2, nullptr, 0, Data::kNone, nullptr, 0}, &count, nullptr));
  EXPECT_EQ(error::kGenFailure, LastError());
  stack.Go();
}

}  // namespace
}  // namespace scantk
