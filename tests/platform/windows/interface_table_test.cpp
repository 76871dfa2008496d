// The system's table takes only objects that can be marshalled, so this one has the free-threaded
// marshaller within it.
#include "platform/component.h"

#include <gtest/gtest.h>
#include <objbase.h>
#include <objidl.h>

#include <thread>

#include "platform/owner.h"
#include "tests/platform/test_component.h"

namespace scantk {
namespace {

class FreeThreaded final : public ITestNumber {
 public:
  FreeThreaded() { CoCreateFreeThreadedMarshaler(this, marshaller_.Out()); }
  virtual ~FreeThreaded() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (iid == IID_IMarshal) return marshaller_->QueryInterface(iid, object);
    const bool known = iid == IID_IUnknown || iid == kTestInterface;
    *object = known ? this : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }
  uint32_t STDMETHODCALLTYPE Number() override { return 7; }

  ULONG references = 1;

 private:
  ComPtr<IUnknown> marshaller_;
};

TEST(InterfaceTableTest, AnotherThreadGetsTheObject) {
  ASSERT_EQ(InitializeComponents(), S_OK);
  ASSERT_TRUE(GlobalInterfaceTable::Available());
  {
    FreeThreaded object;
    const ULONG before = object.references;
    uint32_t cookie = 0;
    ASSERT_EQ(GlobalInterfaceTable::Register(&object, kTestInterface, &cookie), S_OK);
    EXPECT_NE(cookie, 0u);
    std::thread([&] {
      ComPtr<ITestNumber> number;
      EXPECT_EQ(GlobalInterfaceTable::Get(cookie, kTestInterface, number.OutVoid()), S_OK);
      EXPECT_EQ(number.Get(), &object);
    }).join();
    EXPECT_EQ(GlobalInterfaceTable::Revoke(cookie), S_OK);
    EXPECT_EQ(GlobalInterfaceTable::Revoke(cookie), E_INVALIDARG);
    EXPECT_EQ(object.references, before);
  }
  UninitializeComponents();
}

}  // namespace
}  // namespace scantk
