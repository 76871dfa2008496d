#include "tests/jobs/methods.h"

#include <deque>
#include <functional>
#include <map>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "platform/component.h"

namespace scantk::test {
namespace {

template <class Record>
constexpr const char* kRecordName = nullptr;
#define ROW(record) \
  template <>       \
  constexpr const char* kRecordName<record> = #record;
ROW(SCANNER_CAPABILITIES)
ROW(BUFFER_INFO)
ROW(ADF_CAPABILITIES)
ROW(ADF2_CAPABILITIES)
ROW(ADF3_CAPABILITIES)
ROW(COMPRESSION_CAPABILITIES)
ROW(CONTROL_PANEL_CAPABILITIES)
ROW(SPF_CAPABILITIES)
#undef ROW

// The arguments of one call. Each Take makes the next one; what the method writes is kept here.
class Arguments {
 public:
  explicit Arguments(MethodCall* call) : call_(call) {}

  void Take(uint32_t* number) { *number = Constant(Word()); }
  void Take(uint16_t* number) { *number = static_cast<uint16_t>(Constant(Word())); }
  void Take(uint8_t* number) { *number = static_cast<uint8_t>(Constant(Word())); }
  void Take(URS_STATE* state) { *state = static_cast<URS_STATE>(Constant(Word())); }
  void Take(const WideChar** text) {
    const std::string word = Word();
    texts_.push_back(Wide(word));
    *text = Pointer(word == "null" ? nullptr : texts_.back().c_str());
  }
  void Take(uint32_t** number) { *number = Pointer(&number_), wrote_number_ = true; }
  void Take(URS_STATE** state) {
    *state = Pointer(reinterpret_cast<URS_STATE*>(&number_)), wrote_number_ = true;
  }
  void Take(WideChar*** text) { *text = Pointer(&text_); }
  void Take(uint8_t** bytes) { *bytes = Pointer(call_->bytes), wrote_byte_ = true; }
  void Take(SCANNER_PARAMETERS** page) { *page = Pointer(call_->page); }
  template <class Record>
  void Take(Record** record) {
    call_->record_type = &RecordNamed(kRecordName<Record>);
    call_->record.assign(sizeof(Record), 0x5A);
    *record = Pointer(reinterpret_cast<Record*>(call_->record.data()));
  }
  uint32_t* Code() { return call_->null_code ? nullptr : &call_->outcome.code; }

  void Finish() {
    if (used_ != call_->words.size()) throw std::runtime_error("too many arguments");
    if (text_)
      call_->value = Narrow(text_);
    else if (wrote_number_)
      call_->value = std::to_string(number_);
    else if (wrote_byte_ && call_->bytes)
      call_->value = std::to_string(call_->bytes[0]);
    TaskFree(text_);
  }

 private:
  template <class T>
  T* Pointer(T* pointer) {
    call_->has_pointers = true;
    return call_->null_pointers ? nullptr : pointer;
  }
  std::string Word() {
    if (call_->any_words) return "1";
    if (used_ == call_->words.size()) throw std::runtime_error("an argument is missing");
    return call_->words[used_++];
  }
  static std::string Narrow(const WideChar* text) {
    std::string narrow;
    for (; *text; ++text) narrow += *text < 0x80 ? static_cast<char>(*text) : '?';
    return narrow;
  }

  MethodCall* call_;
  size_t used_ = 0;
  std::deque<std::basic_string<WideChar>> texts_;
  uint32_t number_ = 0xDEADBEEF;
  WideChar* text_ = nullptr;
  bool wrote_number_ = false, wrote_byte_ = false;
};

using Caller = std::function<void(const Toolkit&, MethodCall*)>;

// `object` is the toolkit's pointer to the interface; all parameters but the first (the handle, if
// the method has one) and the last (the error code) are taken in their order.
template <class Object, class Interface, class... Parameters>
Caller MakeCaller(ComPtr<Object> Toolkit::*object,
                  HRESULT (STDMETHODCALLTYPE Interface::*method)(Parameters...)) {
  return [=](const Toolkit& toolkit, MethodCall* call) {
    Arguments arguments(call);
    std::tuple<Parameters...> values;
    constexpr size_t kLast = sizeof...(Parameters) - 1;
    constexpr bool kHandle =
        std::is_same_v<std::tuple_element_t<0, std::tuple<Parameters...>>, uint32_t>;
    [&]<size_t... I>(std::index_sequence<I...>) {
      const auto take = [&](auto index, auto* value) {
        if constexpr (index == kLast)
          *value = arguments.Code();
        else if constexpr (kHandle && index == 0)
          *value = call->session;
        else
          arguments.Take(value);
      };
      (take(std::integral_constant<size_t, I>(), &std::get<I>(values)), ...);
    }
    (std::index_sequence_for<Parameters...>());
    call->outcome.result = std::apply(
        [&](auto... value) { return ((toolkit.*object).Get()->*method)(value...); }, values);
    arguments.Finish();
  };
}

struct Row {
  const char* name;
  Caller call;
};

const std::vector<Row>& Rows() {
#define ROW(object, interface, method) \
  { #method, MakeCaller(&Toolkit::object, &interface::method) }
  static const std::vector<Row> rows = {
      ROW(scanner, IScanner, OpenScannerSession),
      ROW(scanner, IScanner, CloseScannerSession),
      ROW(scanner, IScanner, LockScanner),
      ROW(scanner, IScanner, UnlockScanner),
      ROW(scanner, IScanner, GetLampStatus),
      ROW(scanner, IScanner, LampOn),
      ROW(scanner, IScanner, LampOff),
      ROW(scanner, IScanner, GetScannerCapabilities),
      ROW(scanner, IScanner, GetBufferInfo),
      ROW(scanner, IScanner, InitializeScanner),
      ROW(scanner, IScanner, ResetScanner),
      ROW(scanner, IScanner, SetScannerParameters),
      ROW(scanner, IScanner, SetGammaTable),
      ROW(scanner, IScanner, StartScan),
      ROW(scanner, IScanner, StopScan),
      ROW(scanner, IScanner, ReadScan),
      ROW(scanner, IScanner, ReadScanEx),
      ROW(feeder, IADF, GetADFCapabilities),
      ROW(feeder, IADF, ADFPaperFeed),
      ROW(feeder, IADF, ADFIsReady),
      ROW(feeder, IADF2, GetADF2Capabilities),
      ROW(feeder, IADF2, SetADFOptions),
      ROW(feeder, IADF2, ADFEjectMedia),
      ROW(feeder, IADF2, ADF2PaperFeed),
      ROW(feeder, IADF3, GetADF3Capabilities),
      ROW(feeder, IADF3, GetHWDuplexToggleState),
      ROW(feeder, IADF3, SetHWDuplexToggleState),
      ROW(feeder, IADF3, ADFStartJob),
      ROW(feeder, IADF3, ADFEndJob),
      ROW(compression, ICompression, GetCompressionCapabilities),
      ROW(compression, ICompression, SetCompressionType),
      ROW(compression, ICompression, SetCompressionLongevity),
      ROW(compression, ICompression, SetCompressionOption),
      ROW(properties, IHWProperty, GetHWPropString),
      ROW(properties, IHWProperty, GetHWPropValue),
      ROW(panel, IControlPanel, GetControlPanelCapabilities),
      ROW(panel, IControlPanel, GetControlPanelValue),
      ROW(panel, IControlPanel, SetControlPanelValue),
      ROW(panel, IControlPanel, SetCodePage),
      ROW(panel, IControlPanel, GetControlPanelString),
      ROW(panel, IControlPanel, SetControlPanelString),
      ROW(panel, IControlPanel, SetControlPanelDestinationString),
      ROW(reserve, IReserve, JobReserveHW),
      ROW(reserve, IReserve, JobReleaseHW),
      ROW(reserve, IReserve, GetUserReadyToScanState),
      ROW(reserve, IReserve, SetUserReadyToScanState),
      ROW(spf, ISPF, GetSPFCapabilities),
      ROW(spf, ISPF, GetSPFData),
  };
#undef ROW
  return rows;
}

const Row* Find(const std::string& name) {
  for (const Row& row : Rows())
    if (name == row.name) return &row;
  return nullptr;
}

}  // namespace

const std::vector<std::string>& MethodNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> all;
    for (const Row& row : Rows()) all.emplace_back(row.name);
    return all;
  }();
  return names;
}

bool IsMethod(const std::string& name) {
  return Find(name) != nullptr;
}

void CallMethod(const Toolkit& toolkit, const std::string& name, MethodCall* call) {
  const Row* row = Find(name);
  if (!row) throw std::runtime_error("no method is called " + name);
  row->call(toolkit, call);
}

}  // namespace scantk::test
