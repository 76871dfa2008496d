#include "host/command_options.h"

#include <cstdio>

#include "host/error_advice.h"

namespace scanhost {
namespace {

void ParseResolution(const std::string& text, ScanRequest* request) {
  char more = 0;
  unsigned x = 0, y = 0;
  const int got = std::sscanf(text.c_str(), "%5ux%5u%c", &x, &y, &more);
  const bool one = text.find_first_not_of("0123456789") == std::string::npos;
  if (got < 1 || got > 2 || (got == 1 && !one) || x == 0 || (got == 2 && y == 0) || x > 65535 ||
      y > 65535)
    throw UsageError("the resolution is N or NxM, numbers from 1 to 65535, not \"" + text + "\"");
  request->x_resolution = x;
  request->y_resolution = got == 2 ? y : x;
}

// What of the glass or the sheet, and how fine.
void AddPicture(CLI::App* command, ScanRequest* scan) {
  const std::map<std::string, PixelKind> modes = {{"color", PixelKind::kColor},
                                                  {"colour", PixelKind::kColor},
                                                  {"gray", PixelKind::kGray},
                                                  {"grey", PixelKind::kGray},
                                                  {"bw", PixelKind::kBlackAndWhite}};
  AddChoice(command, "--mode", modes, &scan->kind, "color, gray or bw (color)");
  command->add_option("--depth", scan->depth, "bits of a channel: 8 or 16 (8)")
      ->check(CLI::IsMember({8, 16}));
  auto* area = command->add_option_function<std::string>(
      "--area", [scan](const std::string& text) { scan->area = ParseArea(text); },
      "left, top, width and height in mm (\"in\" or \"u\" behind: inches, 1/300 inch)");
  area->type_name("L,T,W,H");
  command
      ->add_option_function<std::string>(
          "--size",
          [scan](const std::string& text) {
            if (text != "max") scan->area = NamedSize(text);
          },
          "a4, a5, letter, legal, or max: all that the device can scan (max)")
      ->excludes(area);
  command->add_flag("--strict", scan->strict, "fail where anything differs from what was asked");
  command->add_flag("--json", scan->json, "one JSON object a page and one for the job");
  command->add_flag("--preview", scan->preview, "a quick scan");
  auto* raw = command->add_flag_callback(
      "--no-jpeg", [scan] { scan->jpeg = false; }, "have the device send its rows as they are");
  command
      ->add_option_function<uint32_t>(
          "--jpeg", [scan](uint32_t level) { scan->jpeg_level = level; },
          "have the device compress with this level")
      ->type_name("LEVEL")
      ->excludes(raw);
  command
      ->add_option("--quality", scan->picture.jpeg_quality,
                   "of JPEG pages in a PDF, 1 to 100; without it they are lossless")
      ->check(CLI::Range(1, 100));
}

void AddSource(CLI::App* command, ScanRequest* scan) {
  const std::map<std::string, Source> sources = {{"auto", Source::kAuto},
                                                 {"glass", Source::kGlass},
                                                 {"feeder", Source::kFeeder},
                                                 {"transparency", Source::kTransparency},
                                                 {"negative", Source::kNegative}};
  AddChoice(command, "--source", sources, &scan->source,
            "auto (the feeder when paper is loaded, else the glass), glass, feeder, transparency, "
            "negative");
  command->add_flag_callback(
      "--feeder", [scan] { scan->source = Source::kFeeder; }, "short for --source feeder");
  command->add_flag("--duplex", scan->duplex, "both sides of each sheet");
  command->add_option("--pages", scan->pages, "end a feeder job after this many pages")
      ->check(CLI::Range(1, 1000000));
}

void AddTone(CLI::App* command, ScanRequest* scan) {
  auto* file = command->add_option("--tone", scan->tone_file,
                                   "tone table: 256 numbers from 0 to 255, one a line");
  file->type_name("FILE");
  command->add_option("--brightness", scan->brightness, "-100 to 100 (0)")
      ->check(CLI::Range(-100, 100))
      ->excludes(file);
  command->add_option("--contrast", scan->contrast, "-100 to 100 (0)")
      ->check(CLI::Range(-100, 100))
      ->excludes(file);
  command->add_option("--gamma", scan->gamma, "0.1 to 10 (1)")
      ->check(CLI::Range(0.1, 10.0))
      ->excludes(file);
}

}  // namespace

void AddDeviceOptions(CLI::App* command, DeviceOptions* device) {
  command->add_option("DEVICE", device->device,
                      "number, name or identity; needed where several are configured");
  command
      ->add_option_function<std::string>(
          "--timeout",
          [device](const std::string& text) { device->timeout_ms = ParseDuration(text, 1); },
          "how long to wait while another program or computer has the device (30s)")
      ->type_name("TIME");
  command
      ->add_option_function<std::string>(
          "--wait",
          [device](const std::string& text) {
            device->wait_s = (ParseDuration(text, 1000) + 999) / 1000;
          },
          "wait for a device that is busy and for paper in the feeder (60s)")
      ->type_name("[TIME]");
  command->add_option("--library", device->library, "the toolkit's library, not the registered one")
      ->type_name("FILE");
  command->add_flag("--simulate", device->simulate,
                    "start a simulated device; words after -- are scantk-sim's");
  command->add_option("--trace", device->trace, "with --simulate: write the toolkit's trace there")
      ->type_name("FILE");
  command
      ->add_option("--trace-level", device->trace_level, "of --trace: as `scanhost trace` takes it")
      ->type_name("LEVEL");
}

void AddScanOptions(CLI::App* command, ScanRequest* scan) {
  command
      ->add_option("-o,--output", scan->output,
                   "picture to write: .png, .tif, .pdf, .pnm; %03d: the page's number; -: "
                   "standard output (page.png)")
      ->type_name("FILE");
  command->add_option("--format", scan->format, "png, tiff, pdf or pnm, whatever the name says");
  command->add_flag("--force", scan->force, "replace files that exist");
  command
      ->add_option_function<std::string>(
          "--resolution", [scan](const std::string& text) { ParseResolution(text, scan); },
          "dots per inch, N or NxM (300)")
      ->type_name("N");
  AddPicture(command, scan);
  AddSource(command, scan);
  AddTone(command, scan);
}

uint32_t ParseDuration(const std::string& text, uint32_t unit) {
  size_t end = 0;
  double number = -1;
  try {
    number = std::stod(text, &end);
  } catch (const std::logic_error&) {
  }
  const std::map<std::string, double> units = {{"", unit}, {"ms", 1}, {"s", 1000}, {"m", 60000}};
  const auto found = units.find(text.substr(end));
  if (!(number >= 0) || found == units.end() || number * found->second > 0x7FFFFFFF)
    throw UsageError("\"" + text + "\" is no time: 500ms, 30s and 2m are");
  return static_cast<uint32_t>(number * found->second);
}

}  // namespace scanhost
