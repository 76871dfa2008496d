#include "platform/component.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/owner.h"
#include "platform/system.h"
#include "tests/platform/test_component.h"

namespace scantk {
namespace {

TEST(ComponentTest, GuidTextBothWays) {
  const GUID guid = {0x7A41C0D2, 0x5E3B, 0x4F19, {0x9C, 0x6A, 0x2B, 0x8D, 0x0E, 0x4F, 0x1A, 0x37}};
  const std::string text = "{7A41C0D2-5E3B-4F19-9C6A-2B8D0E4F1A37}";
  EXPECT_EQ(GuidText(guid), text);
  GUID back = {};
  EXPECT_TRUE(ParseGuid("{7a41c0d2-5e3b-4f19-9C6A-2B8d0E4F1A37}", &back));
  EXPECT_EQ(std::memcmp(&back, &guid, sizeof guid), 0);
  for (const std::string& wrong : {std::string(), text.substr(1), text + "}", "x" + text.substr(1),
                                   std::string("{7A41C0D25-E3B-4F19-9C6A-2B8D0E4F1A37}"),
                                   std::string("{7A41C0D2-5E3B-4F19-9C6A-2B8D0E4F1A3G}")}) {
    EXPECT_FALSE(ParseGuid(wrong, &back)) << wrong;
  }
}

TEST(ComponentTest, CreatesFromALibrary) {
  ComPtr<ITestNumber> number;
  ASSERT_EQ(CreateComponentFrom(TEST_COMPONENT, kTestClass, kTestInterface, number.OutVoid()),
            S_OK);
  EXPECT_EQ(number->Number(), 42u);
  ComPtr<IUnknown> none;
  EXPECT_EQ(CreateComponentFrom(TEST_COMPONENT, kTestInterface, kTestInterface, none.OutVoid()),
            CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(CreateComponentFrom(TEST_COMPONENT, kTestClass, kTestClass, none.OutVoid()),
            E_NOINTERFACE);
  EXPECT_EQ(CreateComponentFrom("/nowhere/at/all", kTestClass, kTestInterface, none.OutVoid()),
            static_cast<HRESULT>(0x8007007E));
  EXPECT_FALSE(none);
}

TEST(ComponentTest, UnknownClassIsNotRegistered) {
  ASSERT_EQ(InitializeComponents(), S_OK);
  void* object = &object;
  EXPECT_EQ(CreateComponent(kTestInterface, IID_IUnknown, &object), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(object, nullptr);
  UninitializeComponents();
}

TEST(ComponentTest, TaskMemoryAndSystemStrings) {
  void* memory = TaskAlloc(100);
  ASSERT_NE(memory, nullptr);
  std::memset(memory, 1, 100);
  TaskFree(memory);
  TaskFree(nullptr);

  WideChar* text = AllocSystemString("10.0.0.9");
  ASSERT_NE(text, nullptr);
  uint32_t bytes;
  std::memcpy(&bytes, reinterpret_cast<char*>(text) - sizeof bytes, sizeof bytes);
  EXPECT_EQ(bytes, 16u);
  EXPECT_EQ(text[8], 0);
  EXPECT_EQ(Narrow(text), "10.0.0.9");
  FreeSystemString(text);
  FreeSystemString(nullptr);
}

}  // namespace
}  // namespace scantk
