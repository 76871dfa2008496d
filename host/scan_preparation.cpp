// What a job settles before anything moves.
#include <cstdio>

#include "host/error_advice.h"
#include "host/scan_job.h"
#include "host/tone.h"

namespace scanhost {

void ScanJob::Prepare() {
  SCANNER_CAPABILITIES glass = {};
  session_.Do("GetScannerCapabilities", &IScanner::GetScannerCapabilities, &glass);
  request_.source = ChooseSource(glass);
  feeder_job_ = request_.source == Source::kFeeder;
  plan_ = MakePlan(request_, feeder_job_ ? FeederAbilities() : AbilitiesOf(glass, "glass"));
  if (plan_.Enlarged()) {
    const std::string own = ResolutionText({plan_.device_x, plan_.device_y, 0, 0});
    const std::string line =
        "the device scans " + own + ", enlarged to " + ResolutionText(plan_.asked);
    if (request_.strict) throw NotAsAsked(line);
    std::fprintf(stderr, "%s\n", line.c_str());
  }
  if (feeder_job_) PrepareFeeder();
  PrepareCompression();
  PrepareTone(glass.dwGammaEntriesPerChannel);
  output_ = std::make_unique<Output>(request_, feeder_job_ && request_.pages != 1);
}

Source ScanJob::ChooseSource(const SCANNER_CAPABILITIES& glass) {
  const auto feeder = toolkit_.Ask<IADF3>(IID_IADF3);
  ADF_CAPABILITIES has = {};
  Call("GetADFCapabilities", feeder.Get(), &IADF3::GetADFCapabilities, session_.handle(), &has);
  if (has.byHasADF) feeder_ = feeder;
  const bool glass_exists = glass.wPaperPath == T_PATH_FLATBED;
  switch (request_.source) {
    case Source::kAuto:
      if (!feeder_) return Source::kGlass;
      return !glass_exists || request_.duplex || request_.pages != 0 || FeederIsLoaded()
                 ? Source::kFeeder
                 : Source::kGlass;
    case Source::kFeeder:
      if (!feeder_) throw HostFailure("the device has no document feeder; use --source glass");
      return Source::kFeeder;
    case Source::kGlass:
      if (!glass_exists) throw HostFailure("the device has no glass; use --source feeder");
      if (feeder_ && FeederIsLoaded())
        throw HostFailure(
            "paper lies in the feeder, and the device would take that instead of what is on the "
            "glass: take it out, or use --source feeder");
      return Source::kGlass;
    default:
      uint32_t adapter = 0;
      const auto properties = toolkit_.Ask<IHWProperty>(IID_IHWProperty);
      Call("GetHWPropValue", properties.Get(), &IHWProperty::GetHWPropValue, session_.handle(),
           scantk::client::Wide("XPA").c_str(), &adapter);
      if (adapter == 0) throw HostFailure("the device has no transparency adapter");
      return request_.source;
  }
}

Abilities ScanJob::FeederAbilities() {
  ADF3_CAPABILITIES third = {};
  Call("GetADF3Capabilities", feeder_.Get(), &IADF3::GetADF3Capabilities, session_.handle(),
       &third);
  ADF_CAPABILITIES first = {};
  Call("GetADFCapabilities", feeder_.Get(), &IADF3::GetADFCapabilities, session_.handle(), &first);
  if (request_.duplex && !(third.dwADFOptionsSupported & T_ADF_DUPLEX))
    throw HostFailure("the feeder scans one side only; leave --duplex out");
  if (!third.byHasADF) return AbilitiesOf(first, "feeder");
  Abilities can = AbilitiesOf(third, "feeder");
  if (request_.duplex) {
    can.maximum_width = third.dwDuplexMaximumWidth;
    can.maximum_height = third.dwDuplexMaximumHeight;
  }
  return can;
}

// After the capabilities, which take the choice back.
void ScanJob::PrepareFeeder() {
  Call("SetADFOptions", feeder_.Get(), &IADF3::SetADFOptions, session_.handle(),
       T_ADF_MULTIPAGE_FLOW | (request_.duplex ? T_ADF_DUPLEX : 0u));
}

void ScanJob::PrepareCompression() {
  const auto compression = toolkit_.Ask<ICompression>(IID_ICompression);
  Call("SetCompressionType", compression.Get(), &ICompression::SetCompressionType,
       session_.handle(),
       request_.jpeg && request_.depth == 8 ? T_COMPRESSION_JPEG : T_COMPRESSION_NONE);
  if (!request_.jpeg_level) return;
  COMPRESSION_CAPABILITIES can = {};
  Call("GetCompressionCapabilities", compression.Get(), &ICompression::GetCompressionCapabilities,
       session_.handle(), &can);
  if (*request_.jpeg_level < can.dwJPEGLevelMinimum ||
      *request_.jpeg_level > can.dwJPEGLevelMaximum)
    throw HostFailure(
        "the device compresses with levels " + std::to_string(can.dwJPEGLevelMinimum) + " to " +
        std::to_string(can.dwJPEGLevelMaximum) + ", not " + std::to_string(*request_.jpeg_level));
  Call("SetCompressionOption", compression.Get(), &ICompression::SetCompressionOption,
       session_.handle(), T_COMPRESSION_OPTION_JPEG_LEVEL, *request_.jpeg_level);
}

void ScanJob::PrepareTone(uint32_t entries) {
  auto table = MakeToneTable(request_);
  if (table.empty()) return;
  if (entries != table.size())
    throw HostFailure("the device takes tone tables of " + std::to_string(entries) +
                      " entries; brightness, contrast, gamma and --tone make 256");
  session_.Do("SetGammaTable", &IScanner::SetGammaTable, entries, table.data(), table.data(),
              table.data());
}

}  // namespace scanhost
