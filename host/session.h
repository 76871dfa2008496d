// The toolkit's object and a session on one device, each given back by its destructor.
#ifndef SCANTK_HOST_SESSION_H_
#define SCANTK_HOST_SESSION_H_

#include <cstdint>
#include <functional>
#include <string>

#include "contract/client.h"
#include "host/error_advice.h"
#include "host/setup/device_registry.h"

namespace scanhost {

// Where the toolkit comes from.
struct FoundLibrary {
  std::string path;  // empty: the loader's business, or none
  std::string how;   // "registered", "named by --library", "beside scanhost", "the loader's"
};
FoundLibrary FindToolkit(const std::string& library);

// The `scanner` object. One thread.
class Toolkit {
 public:
  // Creates it from the library at `library`; without one through the component runtime, and where
  // the class is not registered from the library beside this program. Throws ToolkitFailure or
  // HostFailure.
  explicit Toolkit(const std::string& library);
  Toolkit(const Toolkit&) = delete;
  Toolkit& operator=(const Toolkit&) = delete;

  IScanner* scanner() const { return scanner_.Get(); }

  // Another interface of the object. Throws ToolkitFailure (E_NOINTERFACE) when it has none.
  template <class Interface>
  scantk::client::Ref<Interface> Ask(const GUID& iid) const {
    scantk::client::Ref<Interface> other;
    AskFor(iid, other.Out());
    return other;
  }

 private:
  void AskFor(const GUID& iid, void** object) const;

  scantk::client::ComponentUse use_;
  scantk::client::Ref<IScanner> scanner_;
};

// An open session. The destructor stops a scan, unlocks and closes, whatever happened before, and
// throws nothing.
class Session {
 public:
  Session(const Toolkit& toolkit, const Device& device);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  IScanner* scanner() const { return scanner_; }
  uint32_t handle() const { return handle_; }

  // Takes the device for this process and connects to it. While another program or another computer
  // has it, tries again for at most `milliseconds`; `waiting` is called with the reason before each
  // further attempt and ends the wait by answering false. Throws ToolkitFailure.
  void Lock(uint32_t milliseconds, const std::function<bool(const Outcome&)>& waiting);

  // StartScan, and StopScan for whatever came of it. Start throws when it failed.
  void StartScan();
  Outcome StopScan();

  // A method of IScanner that takes the session handle first; anything but clean success throws.
  template <class Method, class... Parameters>
  void Do(const char* name, Method method, Parameters... parameters) {
    Call(name, scanner_, method, handle_, parameters...);
  }

 private:
  IScanner* scanner_;
  uint32_t handle_ = 0;
  bool locked_ = false;
  bool started_ = false;
};

}  // namespace scanhost

#endif  // SCANTK_HOST_SESSION_H_
