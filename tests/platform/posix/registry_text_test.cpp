#include "platform/stand_ins/registry_text.h"

#include <gtest/gtest.h>

#include "platform/posix/unicode.h"

namespace scantk {
namespace {

constexpr char kHead[] = "Windows Registry Editor Version 5.00\r\n\r\n";
constexpr char kKey[] = "HKEY_LOCAL_MACHINE\\Software\\Orvane";

const std::string kSample = std::string(kHead) +
                            "; a remark\r\n"
                            "[HKEY_LOCAL_MACHINE\\Software\\Orvane]\r\n"
                            "@=\"default\"\r\n"
                            "\"Text\"=\"C:\\\\path \\\"q\\\"\"\r\n"
                            "  \"Number\" = dword:0000002A\r\n"
                            "\"Bytes\"=hex:01,02,\\\r\n"
                            "  ff\r\n"
                            "\"Wide\"=hex(2):25,00,41,00,e4,00,00,00\r\n"
                            "\"Other\"=hex(b):01,00\r\n"
                            "\"Beyond\"=\"\xF0\x9F\x96\xA8\"\r\n"  // two units in UTF-16
                            "\r\n"
                            "[HKEY_LOCAL_MACHINE\\Software\\Orvane\\Deep\\er]\r\n"
                            "\"x\"=\"\"\r\n";

std::string Data(const RegistryText& text, std::string_view path, std::string_view name) {
  const RegistryValue* value = text.FindValue(path, name);
  return value ? value->data : "(none)";
}

std::string Nul(const std::string& text) {
  return text + '\0';
}

std::string AsUtf16(const std::string& text, bool big) {
  std::string bytes = big ? "\xFE\xFF" : "\xFF\xFE";
  for (char16_t unit : Utf16FromUtf8(text)) {
    const char low = static_cast<char>(unit), high = static_cast<char>(unit >> 8);
    bytes += big ? high : low;
    bytes += big ? low : high;
  }
  return bytes;
}

TEST(RegistryTextTest, ReadsEveryKindOfValueInEveryEncoding) {
  for (const std::string& bytes :
       {kSample, "\xEF\xBB\xBF" + kSample, AsUtf16(kSample, false), AsUtf16(kSample, true)}) {
    const RegistryText text(bytes);
    ASSERT_TRUE(text.IsRegistry());
    EXPECT_TRUE(text.Reports().empty());
    EXPECT_EQ(text.Bytes(), bytes);
    EXPECT_EQ(Data(text, kKey, ""), Nul("default"));
    EXPECT_EQ(Data(text, "hkey_local_machine\\SOFTWARE\\orvane", "TEXT"), Nul("C:\\path \"q\""));
    EXPECT_EQ(Data(text, kKey, "Number"), std::string("\x2A\0\0\0", 4));
    EXPECT_EQ(Data(text, kKey, "Bytes"), "\x01\x02\xFF");
    EXPECT_EQ(Data(text, kKey, "Wide"), Nul("%A\xC3\xA4"));
    EXPECT_EQ(Data(text, kKey, "Beyond"), Nul("\xF0\x9F\x96\xA8"));
    EXPECT_EQ(text.FindValue(kKey, "Wide")->type, kRegExpandString);
    EXPECT_EQ(text.FindValue(kKey, "Other")->type, 11u);
    EXPECT_EQ(text.Subkeys(kKey), std::vector<std::string>{"Deep"});
    EXPECT_TRUE(text.HasKey("HKEY_LOCAL_MACHINE\\Software\\Orvane\\Deep"));
    EXPECT_FALSE(text.HasKey("HKEY_LOCAL_MACHINE\\Software\\Orvane\\Dee"));
    EXPECT_FALSE(text.HasKey(""));
  }
}

TEST(RegistryTextTest, ChangesOneLineAndKeepsTheRest) {
  const std::string before =
      std::string(kHead) + "[HKEY_LOCAL_MACHINE\\Software\\Orvane]\r\n\"A\"=\"1\"\r\n; remark\r\n" +
      "what is this\r\n\"B\"=dword:00000001\r\n\r\n[HKEY_CURRENT_USER\\X]\r\n\"A\"=\"2\"";
  RegistryText text(before);
  ASSERT_EQ(text.Reports().size(), 1u);
  EXPECT_EQ(text.Reports()[0].line, 6u);

  text.SetValue(kKey, "a", {kRegString, "new \"q\" \\"});
  text.SetValue(kKey, "C", {kRegDword, std::string("\x01\x02\x03\x04", 4)});
  text.SetValue("HKEY_CURRENT_USER\\X", "B", {kRegString, Nul("end")});
  text.SetValue("HKEY_CURRENT_USER\\Y\\Z", "", {kRegString, std::string("a\nb")});
  text.CreateKey("HKEY_CURRENT_USER\\Empty");
  const std::string after =
      std::string(kHead) + "[HKEY_LOCAL_MACHINE\\Software\\Orvane]\r\n" +
      "\"a\"=\"new \\\"q\\\" \\\\\"\r\n; remark\r\nwhat is this\r\n\"B\"=dword:00000001\r\n" +
      "\"C\"=dword:04030201\r\n\r\n[HKEY_CURRENT_USER\\X]\r\n\"A\"=\"2\"\r\n\"B\"=\"end\"\r\n" +
      "\r\n[HKEY_CURRENT_USER\\Y\\Z]\r\n@=hex(1):61,00,0a,00,62,00,00,00\r\n" +
      "\r\n[HKEY_CURRENT_USER\\Empty]\r\n";
  EXPECT_EQ(text.Bytes(), after);
  EXPECT_EQ(Data(text, "HKEY_CURRENT_USER\\Y\\Z", ""), Nul("a\nb"));
  EXPECT_EQ(Data(RegistryText(after), kKey, "A"), Nul("new \"q\" \\"));
}

TEST(RegistryTextTest, DeletesAKeyWithAllBelowIt) {
  RegistryText text(kSample + "[HKEY_LOCAL_MACHINE\\Software\\OrvaneTwo]\r\n\"x\"=\"y\"\r\n" +
                    "[HKEY_LOCAL_MACHINE\\software\\ORVANE\\deep]\r\n\"x\"=\"z\"\r\n");
  EXPECT_TRUE(text.DeleteKey("HKEY_LOCAL_MACHINE\\Software\\Orvane"));
  EXPECT_EQ(text.Bytes(), std::string(kHead) + "; a remark\r\n" +
                              "[HKEY_LOCAL_MACHINE\\Software\\OrvaneTwo]\r\n\"x\"=\"y\"\r\n");
  EXPECT_FALSE(text.DeleteKey("HKEY_LOCAL_MACHINE\\Software\\Orvane"));
}

TEST(RegistryTextTest, ReportsDamageWithItsLineAndReadsOn) {
  // The line that ends in a backslash must not swallow the next value.
  const char* const lines[] = {R"("A"="open)",
                               R"("A"="x" y)",
                               R"("A="1")",
                               R"("A")",
                               R"("A"=dword:123456789)",
                               R"("A"=dword:xyz)",
                               R"("A"=hex:1,2,zz)",
                               R"("A"=hex:01,\)",
                               R"("A"=hex(:01)",
                               R"("A"=-)",
                               "\"A\"=\"\xFF\"",
                               "[",
                               "[HKEY_NOWHERE\\X]",
                               "[-HKEY_CURRENT_USER\\X]",
                               "[HKEY_CURRENT_USER\\\\X]"};
  for (const std::string line : lines) {
    RegistryText text(std::string(kHead) + "[" + kKey + "]\r\n\"Before\"=\"1\"\r\n" + line +
                      "\r\n\"Behind\"=\"2\"\r\n");
    EXPECT_TRUE(text.IsRegistry()) << line;
    ASSERT_EQ(text.Reports().size(), 1u) << line;
    EXPECT_EQ(text.Reports()[0].line, 5u) << line;
    EXPECT_EQ(Data(text, kKey, "Before"), Nul("1")) << line;
    EXPECT_EQ(Data(text, kKey, "Behind"), line[0] == '[' ? "(none)" : Nul("2")) << line;
    text.SetValue(kKey, "New", {kRegString, "3"});
    EXPECT_NE(text.Bytes().find(line), std::string::npos) << line;
  }
}

TEST(RegistryTextTest, RefusesWhatIsNoRegistry) {
  const std::string too_large = kHead + std::string(kMaxRegistryBytes, '\n');
  for (const std::string& bytes :
       {std::string("REGEDIT4\r\n"), std::string("\r\n"), std::string("\0", 1),
        AsUtf16(kSample, false) + "x", too_large}) {
    const RegistryText text(bytes);
    EXPECT_FALSE(text.IsRegistry());
    ASSERT_EQ(text.Reports().size(), 1u);
    EXPECT_EQ(text.Reports()[0].line, 1u);
    EXPECT_TRUE(text.Subkeys("HKEY_LOCAL_MACHINE").empty());
  }
  EXPECT_TRUE(RegistryText("").IsRegistry());
}

TEST(RegistryTextTest, NamesThatTheTextCannotCarry) {
  EXPECT_TRUE(RegistryText::IsValidPath("HKEY_CURRENT_USER\\a]b\\\xC3\xA4"));
  std::string deep = "HKEY_CURRENT_USER";
  for (int i = 0; i < 600; ++i) deep += "\\x";
  for (const std::string& path :
       {std::string(), std::string("HKEY_CURRENT_USER\\"), std::string("HKEY_CURRENT_USER\\a\nb"),
        "HKEY_CURRENT_USER\\" + std::string(256, 'x'), deep, std::string("HKCU\\x")})
    EXPECT_FALSE(RegistryText::IsValidPath(path)) << path;
}

}  // namespace
}  // namespace scantk
