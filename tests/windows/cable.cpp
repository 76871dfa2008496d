#include "tests/windows/cable.h"

// Before windows.h, which would bring the first version of sockets.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace scantk::test {
namespace {

constexpr uint16_t kScanPort = 9290;
constexpr DWORD kPipeBytes = 1 << 20;  // more than a block
constexpr size_t kHeaderBytes = 8;
constexpr char kEscape = '\x1B';

SOCKET ConnectTo(const std::string& address) {
  WSADATA facts;
  WSAStartup(MAKEWORD(2, 2), &facts);
  const SOCKET connection = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in to = {};
  to.sin_family = AF_INET;
  to.sin_port = htons(kScanPort);
  to.sin_addr.s_addr = inet_addr(address.c_str());
  char greeting[2];
  if (connect(connection, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0 ||
      recv(connection, greeting, sizeof greeting, MSG_WAITALL) != sizeof greeting)
    throw std::runtime_error("no device at " + address);
  return connection;
}

}  // namespace

Cable::Cable(const std::string& address) {
  static int count = 0;
  path_ = "\\\\.\\pipe\\scantk-cable-" + std::to_string(GetCurrentProcessId()) + "-" +
          std::to_string(++count);
  socket_ = ConnectTo(address);
  pipe_ = CreateNamedPipeA(path_.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                           PIPE_TYPE_MESSAGE, 1, kPipeBytes, kPipeBytes, 0, nullptr);
  if (pipe_ == INVALID_HANDLE_VALUE) throw std::runtime_error("no named pipe");
  to_device_ = std::thread([this] { ToDevice(); });
  to_host_ = std::thread([this] { ToHost(); });
}

Cable::~Cable() {
  Unplug();
  to_device_.join();
  to_host_.join();
  CloseHandle(pipe_);
  closesocket(socket_);
  WSACleanup();
}

void Cable::Unplug() {
  shutdown(socket_, SD_BOTH);
  DisconnectNamedPipe(pipe_);
  CancelIoEx(pipe_, nullptr);
}

unsigned Cable::Transfer(bool write, void* bytes, unsigned size) {
  OVERLAPPED record = {};
  record.hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  const BOOL done = write ? WriteFile(pipe_, bytes, size, nullptr, &record)
                          : ReadFile(pipe_, bytes, size, nullptr, &record);
  DWORD moved = 0;
  if (done || GetLastError() == ERROR_IO_PENDING)
    if (!GetOverlappedResult(pipe_, &record, &moved, TRUE)) moved = 0;
  CloseHandle(record.hEvent);
  return moved;
}

void Cable::ToDevice() {
  OVERLAPPED record = {};
  record.hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  DWORD none = 0;
  if (!ConnectNamedPipe(pipe_, &record) && GetLastError() == ERROR_IO_PENDING)
    GetOverlappedResult(pipe_, &record, &none, TRUE);
  CloseHandle(record.hEvent);
  char bytes[4096];
  while (const unsigned moved = Transfer(false, bytes, sizeof bytes))
    if (send(socket_, bytes, static_cast<int>(moved), 0) <= 0) break;
  shutdown(socket_, SD_BOTH);  // the host has closed its file
}

void Cable::ToHost() {
  std::vector<char> received;
  char bytes[65536];
  for (int got; (got = recv(socket_, bytes, sizeof bytes, 0)) > 0;) {
    received.insert(received.end(), bytes, bytes + got);
    if (!ForwardTransfers(&received)) break;
  }
  DisconnectNamedPipe(pipe_);
}

// An answer goes on as it comes, a block of a page whole. False: nobody takes them any more.
bool Cable::ForwardTransfers(std::vector<char>* received) {
  while (!received->empty()) {
    size_t size = received->size();
    if (received->front() != kEscape) {
      uint32_t block = 0;
      if (size < kHeaderBytes) return true;
      std::memcpy(&block, received->data(), sizeof block);
      if (size < block) return true;
      size = block;
    }
    if (Transfer(true, received->data(), static_cast<unsigned>(size)) != size) return false;
    received->erase(received->begin(), received->begin() + static_cast<std::ptrdiff_t>(size));
  }
  return true;
}

}  // namespace scantk::test
