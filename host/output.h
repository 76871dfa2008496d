// Where a job's pages go: one file each, one file for all, or standard output. Nothing bears its
// final name until it is complete; until then it is called NAME.PROCESS.part.
#ifndef SCANTK_HOST_OUTPUT_H_
#define SCANTK_HOST_OUTPUT_H_

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/pictures/picture_file.h"
#include "host/scan_request.h"

namespace scanhost {

class Output {
 public:
  // `numbered`: the job may give several pages. Throws UsageError for an unknown format, and
  // HostFailure when the first page's file exists and may not be replaced.
  Output(const ScanRequest& request, bool numbered);
  // A file without pages is removed, one that was not finished is removed.
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // The file of page `number` (from 1), checked like the first one's.
  std::string FileOf(uint32_t number) const;
  // A new spool for a page.
  std::unique_ptr<Spool> NewSpool();
  void AddPage(uint32_t number, const PageFormat& page, Spool& rows);
  // Completes the file of all pages, if there is one. Once.
  void Finish();
  // Files that have their final names.
  const std::vector<std::string>& files() const { return files_; }

  // For the program's sudden end, from another thread: within 400 ms the finished pages have their
  // place and nothing else is left. The object is not used any more then.
  void Rescue();

 private:
  void Commit();

  std::string pattern_;
  const PictureFormat& format_;
  PictureOptions picture_;
  bool force_;
  bool numbered_;
  bool stream_;  // standard output, a pipe, a device: written when complete
  std::timed_mutex mutex_;
  std::unique_ptr<PictureFile> file_;
  std::string final_;
  std::string part_;
  std::atomic<uint64_t> good_bytes_{0};  // of part_, with complete pages
  std::vector<std::string> files_;
};

// The file for page `number` (from 1): a %d or %03d in the name is replaced by the number; a name
// without one gets "-NNN" before its extension when `numbered` is set.
std::string PageFileName(const std::string& pattern, uint32_t number, bool numbered);

}  // namespace scanhost

#endif  // SCANTK_HOST_OUTPUT_H_
