#include "tests/simulator/raw_host.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace scantk::sim::test {
namespace {

uint32_t Little(const std::string& bytes, size_t at, int count) {
  uint32_t value = 0;
  for (int i = 0; i < count; ++i)
    value |= static_cast<uint32_t>(static_cast<uint8_t>(bytes[at + i])) << (8 * i);
  return value;
}

// Takes the records of one block's body apart; false when they do not fit it.
bool TakeRecords(const std::string& body, WirePage* page) {
  size_t at = 0;
  while (at < body.size()) {
    const int type = body[at];
    size_t size = 0;
    if (type == 0) size = 36;
    if (type == 2) size = 12;
    if (type == 1 && at + 4 <= body.size()) size = 4 + Little(body, at + 2, 2);
    if (size == 0 || at + size > body.size()) return false;
    if (type == 1) {
      page->image.insert(page->image.end(), body.begin() + at + 4, body.begin() + at + size);
      page->records.push_back(size - 4);
    }
    if (type == 2) {
      page->has_end = true;
      page->end_rows.assign(body.begin() + at + 4, body.begin() + at + 12);
    }
    at += size;
  }
  return true;
}

}  // namespace

RawHost::RawHost(const std::string& address, uint16_t port) {
  fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  sockaddr_in to = {};
  to.sin_family = AF_INET;
  to.sin_port = htons(port);
  inet_pton(AF_INET, address.c_str(), &to.sin_addr);
  EXPECT_EQ(0, connect(fd_, reinterpret_cast<sockaddr*>(&to), sizeof to)) << strerror(errno);
  greeting_ = Read(2, 500);
}

void RawHost::Send(std::string_view text) {
  std::string bytes(text);
  std::replace(bytes.begin(), bytes.end(), '~', '\x1b');
  ASSERT_EQ(static_cast<ssize_t>(bytes.size()),
            send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

void RawHost::SendBytes(const std::vector<uint8_t>& bytes) {
  ASSERT_EQ(static_cast<ssize_t>(bytes.size()),
            send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

std::string RawHost::Ask(const std::string& inquiry) {
  Send("~*s" + inquiry);
  std::string answer;
  while (answer.empty() || answer.back() < 'A' || answer.back() > 'Z') {
    const std::string next = Read(1, 300);
    if (next.empty()) break;
    if (next != "\x1b") answer += next;
  }
  if (answer.empty() || answer.back() != 'W') return answer;
  const size_t letter = answer.find_first_of("pkgd");
  return answer + Read(std::stoul(answer.substr(letter + 1)), 300);
}

void RawHost::Command(std::string_view commands) {
  Send(commands);
  Ask("257E");
}

std::string RawHost::Read(size_t size, int timeout_ms) {
  std::string bytes(size, '\0');
  size_t got = 0;
  while (got < size) {
    pollfd ready = {fd_, POLLIN, 0};
    if (poll(&ready, 1, timeout_ms) <= 0) break;
    const ssize_t count = recv(fd_, bytes.data() + got, size - got, 0);
    if (count <= 0) break;
    got += static_cast<size_t>(count);
  }
  bytes.resize(got);
  return bytes;
}

WirePage RawHost::ReadPage() {
  WirePage page;
  for (;;) {
    const std::string header = Read(8, 1000);
    if (header.size() != 8) break;
    const uint32_t length = Little(header, 0, 4);
    const uint8_t flags = static_cast<uint8_t>(header[7]);
    page.blocks.push_back(length);
    if (length < 8 || length > (64 << 20) || Little(header, 4, 2) != 8) break;
    const std::string body = Read(length - 8, 1000);
    if (body.size() != length - 8 || !TakeRecords(body, &page)) break;
    page.aborted = (flags & 0x20) != 0;
    if (flags & 0x3A) return page;
  }
  page.broken = true;
  return page;
}

bool RawHost::Closed(int timeout_ms) {
  char bytes[4096];
  for (;;) {
    pollfd ready = {fd_, POLLIN, 0};
    if (poll(&ready, 1, timeout_ms) <= 0) return false;
    if (recv(fd_, bytes, sizeof bytes, 0) <= 0) return true;
  }
}

void RawHost::Close() {
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
}

}  // namespace scantk::sim::test
