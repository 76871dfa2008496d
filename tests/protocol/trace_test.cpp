// The lines that engineers in the field read: their texts, their order and their levels.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/diag/trace_fixture.h"
#include "tests/protocol/engine_fixture.h"
#include "tests/protocol/framing_bytes.h"

namespace scantk::test {
namespace {

using Lines = std::vector<std::string>;

class ProtocolTrace : public TraceFixture {
 protected:
  // The lines of one conversation with an engine that is there already.
  template <class Talk>
  Lines During(Talk talk) {
    ScriptedEngine e;
    NewLines();
    talk(e);
    EXPECT_EQ("", e.script.Faults());
    return NewLines();
  }
};

// The lines of one inquiry that goes well.
Lines Asked(const std::string& inquiry, const std::string& answer) {
  const std::string sent = "\x1b*s" + inquiry;
  const std::string shown = "\x1b*s" + inquiry.substr(0, inquiry.size() - 1) + answer;
  const auto count = [](size_t n) {
    const std::string text = std::to_string(n);
    return std::string(5 - text.size(), ' ') + text;
  };
  return {"QRL-->SendToScanner  " + count(sent.size()) + ", Buf: " + sent,
          "Sent: " + count(sent.size()) + " Buf: " + sent,
          "RecFromScanner: Length 1199,TermChar 86",
          "Rec : " + count(shown.size()) + " Buf: " + shown.substr(0, 15)};
}

Lines operator+(Lines a, const Lines& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST_F(ProtocolTrace, Commands) {
  EXPECT_EQ((Lines{"SendCommand: UPSCALING !!!!!  Value > gDevMaxXRes Value 1200 gDevMaxXRes 600",
                   "QRL-->SendToScanner      7, Buf: \x1b*a600R", "Sent:     7 Buf: \x1b*a600R",
                   "SendCommand: UPSCALING !!!!! Value > gDevMaxYRes Value 4800 gDevMaxYRes 2400",
                   "QRL-->SendToScanner      8, Buf: \x1b*a2400S", "Sent:    -1 Buf: \x1b*a2400S"}),
            During([](ScriptedEngine& e) {
              e.script.Command("*a600R").FailWrite("\x1b*a2400S", kTransportFailure);
              e.engine.SendCommand(SL_X_RESOLUTION, 1200);
              e.engine.SendCommand(SL_Y_RESOLUTION, 4800);
            }));
}

TEST_F(ProtocolTrace, CacheLines) {
  EXPECT_EQ((Lines{"QRL-->SendToScanner      5, Buf: \x1b*d1D", "Sent:     5 Buf: \x1b*d1D",
                   "Cache_Qrl_Val_Update:Inquire 164 Kind 82 cached 0 *pValue 1",
                   "Cache_Qrl_Val_Update SL_NOM:Inquire 164 Kind 82 current 1 "
                   "QRL_CACHE[Inquire].sl_nom 1",
                   "SendCommand: SL_NOM (cached == Value) Command 164 cached 1"}),
            During([this](ScriptedEngine& e) {
              e.TurnCacheOn();
              NewLines();
              e.script.Command("*d1D");
              e.engine.SendCommand(SL_DUPLEX, 1);
              e.engine.SendCommand(SL_DUPLEX, 1);
            }));
}

TEST_F(ProtocolTrace, Inquiries) {
  EXPECT_EQ((Asked("1024E", "d2550V") + Asked("11323H", "g1200V") +
             Lines{"InquireNumber SL_X_RESOLUTION_FLAT HI gDevMaxXRes 1200 *pValue 1200 "} +
             Asked("10323H", "g600V") +
             Lines{"InquireNumber SL_X_RESOLUTION HI gDevMaxXRes 1200 *pValue 600 "}),
            During([](ScriptedEngine& e) {
              e.script.Ask("1024E", "d2550V").Ask("11323H", "g1200V").Ask("10323H", "g600V");
              e.Number(SL_PIXELS_PER_LINE, 'R');
              e.Number(SL_X_RESOLUTION_FLAT, 'H');
              e.Number(SL_X_RESOLUTION, 'H');
            }));
}

TEST_F(ProtocolTrace, AnswersThatDoNotFit) {
  EXPECT_EQ(
      (Asked("1024E", "dN") +
       Lines{" InqNumber ReceiveResponse null but OK: 5: (5 = null response) "} +
       Asked("1024E", "q7V") +
       Lines{"ReceiveResponse() ERROR SL_BADRESPONSE (len >0): IString *s1024E EString *s1024q7V",
             " InqNumber ReceiveResponse problem: 4: (2 = bad access) ",
             "InquireNumber scan problem: status 4 Inquire 53 Kind 82"} +
       Asked("1024E", "d7W") +
       Lines{"ReceiveResponse() ERROR TermChar Problem status 4 IString *s1024E EString *s1024d7W "
             "*pValue 7",
             " InqNumber ReceiveResponse problem: 4: (2 = bad access) ",
             "InquireNumber scan problem: status 4 Inquire 53 Kind 82"}),
      During([](ScriptedEngine& e) {
        e.script.Ask("1024E", "dN").Ask("1024E", "q7V").Ask("1024E", "d7W");
        for (int i = 0; i < 3; ++i) e.Number(SL_PIXELS_PER_LINE, 'R');
      }));
}

TEST_F(ProtocolTrace, NoAnswer) {
  const Lines sent = {"QRL-->SendToScanner      8, Buf: \x1b*s1024E",
                      "Sent:     8 Buf: \x1b*s1024E", "RecFromScanner: Length 1199,TermChar 86"};
  const Lines end = {" InqNumber ReceiveResponse problem: 2: (2 = bad access) ",
                     "InquireNumber scan problem: status 2 Inquire 53 Kind 82"};
  EXPECT_EQ((sent +
             Lines{"ERROR: RecFromScanner: WAIT_TIMEOUT: breaking loop retry 6",
                   "<-RecFrmScanner (READ PROBLEM): -60",
                   "!ReceiveResponse ERROR: status 2 IString *s1024E *pValue 0"} +
             end + sent +
             Lines{"ERROR: RecFromScanner: : breaking loop hRes -2147467259",
                   "<-RecFrmScanner (READ PROBLEM): -60",
                   "!ReceiveResponse ERROR: status 2 IString *s1024E *pValue 0"} +
             end),
            During([](ScriptedEngine& e) {
              e.script.Write("\x1b*s1024E");
              for (int i = 0; i < 6; ++i) e.script.EndRead(kIoTimeout);
              e.script.Write("\x1b*s1024E").EndRead(kTransportFailure);
              e.Number(SL_PIXELS_PER_LINE, 'R');
              e.Number(SL_PIXELS_PER_LINE, 'R');
            }));
}

TEST_F(ProtocolTrace, Strings) {
  EXPECT_EQ(
      (Lines{"InquireString Inquire 92 Length 255",
             "InquireString: BuildInquireGood Inquire 92 count 6 String is *s19E",
             "QRL-->SendToScanner      6, Buf: \x1b*s19E", "Sent:     6 Buf: \x1b*s19E",
             "InquireString: SendToScanner Sucess ", "RecFromScanner: Length 1199,TermChar 87",
             "Rec :     8 Buf: \x1b*s19d5W", "RecFromScanner: Length 5,TermChar -1",
             "Rec :     5 Buf: ZM-14", "InquireString Inquire 0 Length 9",
             "InquireString: BuildInquire not valid string: Inquire 0 count 0"}),
      During([](ScriptedEngine& e) {
        char text[256];
        int32_t length;
        e.script.AskText("19E", "ZM-14");
        e.engine.InquireString(SL_MODEL_ID, text, 255, &length);
        e.engine.InquireString(SL_RESET, text, 9, &length);
      }));
}

TEST_F(ProtocolTrace, Drain) {
  EXPECT_EQ((Lines{"GetScannerTimeouts: Read 30000, Write 30000, Flush 30000",
                   "SetScannerTimeouts: Read 30000, Write 30000, Flush 30000",
                   "RecFromScanner: Length 8,TermChar -1",
                   "Rec :     8 Buf: \v",
                   "RecFromScanner: Length 3,TermChar -1",
                   "Rec :     3 Buf: abc",
                   "RecFromScanner: Length 8,TermChar -1",
                   "RecFromScanner: WAIT_TIMEOUT == hRes, but nothing returned 0",
                   "Rec :     0 ",
                   "FlushTheScanner Gimme a header already!!  n     0  count 1",
                   "FlushTheScanner header 0 >= rcvflush  n     0  count 1",
                   "RecFromScanner: Length 62000,TermChar -1",
                   "Rec :     2 Buf: xy",
                   "FlushTheScanner Rec : length     2 iCount: 0",
                   "FlushTheScanner Rec : Got a reads - rcvflush 2 iCount 0",
                   "RecFromScanner: Length 62000,TermChar -1",
                   "RecFromScanner: Read Problem, error is  10058",
                   "<-RecFrmScanner (READ PROBLEM): -60",
                   "FlushTheScanner RecFromScanner problem (old style flush): rcvflush -60",
                   "SetScannerTimeouts: Read 30000, Write 30000, Flush 30000"}),
            During([](ScriptedEngine& e) {
              e.script.Read(Block("abc")).EndRead(kIoTimeout).Read("xy").EndRead(0);
              e.script.EndRead(10058);
              e.engine.FlushTheScanner();
            }));
}

TEST_F(ProtocolTrace, LockOfAnotherHost) {
  Configure(1, 0x9000004A, 1);
  GlobalTrace().ReloadSettings();
  EXPECT_EQ(
      (Lines{
          "MXVWIA_QRL::LockScanner entered: desired timeout: 30",
          "QRL-->SendToScanner      7, Buf: \x1b*s257E", "RecFromScanner: Length 1199,TermChar 86",
          "QRL-->SendToScanner      5, Buf: \x1b*f1H", "InquireString Inquire 110 Length 255",
          "InquireString: BuildInquireGood Inquire 110 count 7 String is *s505E",
          "QRL-->SendToScanner      7, Buf: \x1b*s505E", "InquireString: SendToScanner Sucess ",
          "RecFromScanner: Length 1199,TermChar 87", "RecFromScanner: Length 1,TermChar -1",
          "MXVWIA_QRL::AcquireScanEngine Returned LockID = 0",
          "QRL-->SendToScanner      5, Buf: \x1b*f0I", "QRL-->SendToScanner      5, Buf: \x1b*f0H",
          "MXVWIA_QRL::UnLockScanner called as had a lock ",
          "MXVWIA_QRL::LockScanner released lock request "}),
      During([](ScriptedEngine& e) {
        e.script.Ask("257E", "d0V").Command("*f1H").AskText("505E", "0");
        e.script.Command("*f0I").Command("*f0H").Disconnect();
        e.engine.LockScanner(30);
      }));
}

// The page itself, seen at the level of the flow, of the buffers, and of errors alone.
TEST_F(ProtocolTrace, PageAtItsLevels) {
  const struct {
    uint32_t level;
    Lines lines;
  } cases[] = {
      {0x10000008,
       {"RecFromScanner: Length 8,TermChar -1",
        "RecFromScanner: Length 94,TermChar -1",
        "ReadUnpacketizedData: Scan RASTER_START_PAGE  2 RecID 0 lAdjustSize 36",
        "ReadUnpacketizedData: Scan RASTER_START_PAGE 1  RecID 0 lAdjustSize 36",
        "ReadUnpacketizedData: Scan RASTER_END_PAGE bHitEOP 1  RecID 2 lAdjustSize 12",
        "MXVWIA_QRL::ReadUnPkg: R- Pack2 bHitEOP 1",
        " MXVWIA_QRL::InquireModel continuing pModel 68",
        " MXVWIA_QRL::InquireModel prior to inquirestring pModel 68",
        "InquireString Inquire 92 Length 255",
        "InquireString: BuildInquireGood Inquire 92 count 6 String is *s19E",
        "QRL-->SendToScanner      6, Buf: \x1b*s19E",
        "RecFromScanner: Length 1199,TermChar 87",
        "RecFromScanner: Length 5,TermChar -1",
        " MXVWIA_QRL::MODEL_21 0 QRL_CACHE_ENABLE 0 Model ZM-14",
        " MXVWIA_QRL::pModel != SL_UNKNOWN : QRL_CACHE_ENABLE 0 Model ZM-14",
        "MXVWIA_QRL::GetEndPageInfo: Model 68 NumRowsK (1) NumRowsCMY (1)",
        " Scan: Hit EOD: AbortState 0, NumRowsK 1, NumRowsCMY 1",
        " LogImage:LogImgBuffer: not saved  0 ",
        "Scan: bHitEOD: Phase 3 Bytesin input buffer(42)",
        " LogImage:LogImgBuffer: not saved  0 "}},
      {0x12000000,
       {" Scan: REFILL: iTempBufPos == iTempBufValid hitEOD 0, buf 0",
        " Scan: REFILL: ReadUnpacketizedData hitEOD 1, buf 42",
        " Scan: input buffer(42) iTBValid 42 ->POS 0  InUsed 0 dwJunk 0 bHitEOD 1",
        " Scan: ipConvert Bytes in input (42) dwInUsed 0 dwJunk 0 iTempBufValid 42 iTempBufPos 0",
        " Scan post ipConvert Bytes in output buffer(0), dwInUsed 42 ,dwOutUsed 42",
        " Scan: REFILL: iTempBufPos == iTempBufValid hitEOD 1, buf 42",
        " Scan: input buffer(0) iTBValid 0 ->POS 0  InUsed 42 dwJunk 42 bHitEOD 1",
        " Scan: ipConvert Bytes in input (0) dwInUsed 42 dwJunk 42 iTempBufValid 0 iTempBufPos 0",
        " Scan post ipConvert Bytes in output buffer(42), dwInUsed 0 ,dwOutUsed 0"}},
      {0x80000000, {}},
  };
  for (const auto& c : cases) {
    Configure(1, c.level, 1);
    GlobalTrace().ReloadSettings();
    Device device = ColourDevice(14, 1);
    device.page = Page(Pattern(42), 1);
    device.on_command = [&](const std::string& command) {
      if (command == "*f0S") NewLines();  // what came before belongs to the start
    };
    ProtocolEngine engine;
    engine.AttachTransport(std::make_unique<DeviceDouble>(device));
    engine.SendCommand(SL_SCAN_TRANSFER_TYPE, SL_PACKETIZED2);
    uint8_t buffer[100];
    uint32_t written = 0;
    EXPECT_EQ(SL_OK, engine.Scan(2, buffer, sizeof buffer, &written));
    EXPECT_EQ(c.lines, NewLines()) << std::hex << c.level;
    engine.Scan(4, nullptr, 0, &written);
    const Lines end = NewLines();
    if (c.level != 0x80000000) continue;
    ASSERT_EQ(1u, end.size());
    EXPECT_EQ(0u, end[0].find("MXVWIA_QRL::Scan: Start time "));
  }
}

TEST_F(ProtocolTrace, EndOfAnEngine) {
  auto e = std::make_unique<ScriptedEngine>();
  NewLines();
  e->engine.SetSwitchValues(7);
  e.reset();
  EXPECT_EQ((Lines{"MXVWIA_QRL::SetSwitchValues:  dwValue1 7 ", "mxvio::Destructor",
                   "mxvwia_qrl::Destructor ClosedIO", "mxvwia_qrl::Destructor"}),
            NewLines());
}

}  // namespace
}  // namespace scantk::test
