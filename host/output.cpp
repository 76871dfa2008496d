#include "host/output.h"

#include <cctype>
#include <cstdio>
#include <filesystem>

#include "host/console.h"
#include "host/error_advice.h"

namespace scanhost {
namespace {

namespace fs = std::filesystem;
constexpr char kStandardOutput[] = "-";

// A link is followed, also to where nothing is yet.
std::string Followed(const std::string& name) {
  std::error_code error;
  fs::path path = name;
  for (int hops = 0; hops < 40 && fs::is_symlink(fs::symlink_status(path, error)); ++hops)
    path = path.parent_path() / fs::read_symlink(path, error);
  return path.string();
}

bool IsStream(const std::string& name) {
  std::error_code error;
  const fs::file_status status = fs::status(name, error);
  return name == kStandardOutput || (fs::exists(status) && !fs::is_regular_file(status));
}

std::string Temporary(const std::string& name, bool stream, const char* ending) {
  std::error_code error;
  const std::string base = stream ? (fs::temp_directory_path(error) / "scanhost").string() : name;
  return base + "." + std::to_string(ProcessId()) + ending;
}

void Remove(const std::string& name) {
  std::error_code ignored;
  if (!name.empty()) fs::remove(name, ignored);
}

void CopyTo(std::FILE* to, const std::string& from, const std::string& name) {
  const Stream file = OpenStream(from, "rb");
  std::vector<char> piece(1 << 16);
  while (const size_t got = std::fread(piece.data(), 1, piece.size(), file.get()))
    WriteAll(to, piece.data(), got, name);
  if (std::fflush(to) != 0) throw HostFailure("cannot write " + name);
}

}  // namespace

Output::Output(const ScanRequest& request, bool numbered)
    : pattern_(request.output),
      format_(FindFormat(
          request.output == kStandardOutput && request.format.empty() ? "pnm" : request.format,
          request.output)),
      picture_(request.picture),
      force_(request.force),
      numbered_(numbered && !format_.many_pages && request.output != kStandardOutput),
      stream_(IsStream(request.output)) {
  std::error_code error;
  if (fs::is_directory(pattern_, error)) throw HostFailure(pattern_ + " is a folder");
  FileOf(1);
}

Output::~Output() {
  file_.reset();
  Remove(part_);
}

std::string Output::FileOf(uint32_t number) const {
  if (stream_) return pattern_;
  std::string name = Followed(PageFileName(pattern_, number, numbered_));
  std::error_code error;
  if (!force_ && fs::exists(name, error)) throw HostFailure(name + " exists; --force replaces it");
  return name;
}

std::unique_ptr<Spool> Output::NewSpool() {
  return std::make_unique<Spool>(
      Temporary(Followed(PageFileName(pattern_, 1, false)), stream_, ".rows"));
}

void Output::AddPage(uint32_t number, const PageFormat& page, Spool& rows) {
  const std::lock_guard lock(mutex_);
  if (!file_) {
    final_ = FileOf(number);
    part_ = Temporary(final_, stream_, ".part");
    file_ = format_.make(part_, picture_);
  }
  rows.Rewind();
  file_->AddPage(page, rows);
  std::error_code error;
  good_bytes_ = fs::file_size(part_, error);
  if (!format_.many_pages) Commit();
}

void Output::Finish() {
  const std::lock_guard lock(mutex_);
  if (file_ && good_bytes_ > 0) Commit();
}

void Output::Commit() {
  file_->Finish();
  file_.reset();
  good_bytes_ = 0;
  std::error_code error;
  if (stream_) {
    if (pattern_ == kStandardOutput) BinaryOutput();
    CopyTo(pattern_ == kStandardOutput ? stdout : OpenStream(pattern_, "wb").get(), part_,
           pattern_);
    Remove(part_);
  } else {
    if (!force_ && fs::exists(final_, error))
      throw HostFailure(final_ + " has come into being meanwhile; --force replaces it");
    fs::rename(part_, final_, error);
    if (error) throw HostFailure("cannot rename " + part_ + ": " + error.message());
  }
  part_.clear();
  files_.push_back(final_);
}

void Output::Rescue() {
  if (mutex_.try_lock_for(std::chrono::milliseconds(300))) {
    // The lock is kept: nobody writes any more.
    try {
      if (file_ && good_bytes_ > 0) Commit();
    } catch (const std::exception&) {
    }
    Remove(part_);
  } else if (!stream_) {
    // In the middle of a page, which the file does without.
    std::error_code error;
    if (good_bytes_ > 0 && format_.many_pages) {
      fs::resize_file(part_, good_bytes_, error);
      if (!error && (force_ || !fs::exists(final_, error))) fs::rename(part_, final_, error);
    } else {
      Remove(part_);
    }
  }
}

std::string PageFileName(const std::string& pattern, uint32_t number, bool numbered) {
  const size_t percent = pattern.find('%');
  if (percent != std::string::npos) {
    size_t end = percent + 1;
    while (end < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[end]))) ++end;
    if (end < pattern.size() && pattern[end] == 'd' && end - percent <= 3) {
      const std::string width = pattern.substr(percent + 1, end - percent - 1);
      char text[128];
      std::snprintf(text, sizeof text, width.starts_with('0') ? "%0*u" : "%*u",
                    width.empty() ? 0 : std::stoi(width), number);
      return pattern.substr(0, percent) + text + pattern.substr(end + 1);
    }
  }
  if (!numbered) return pattern;
  char text[16];
  std::snprintf(text, sizeof text, "-%03u", number);
  const size_t dot = pattern.find('.', pattern.find_last_of("/\\") + 1);
  return pattern.substr(0, dot) + text + (dot == std::string::npos ? "" : pattern.substr(dot));
}

}  // namespace scanhost
