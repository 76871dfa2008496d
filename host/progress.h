// How far a page is: a bar that redraws itself on a terminal, plain lines elsewhere. Written to
// standard error, so that standard output holds results alone.
#ifndef SCANTK_HOST_PROGRESS_H_
#define SCANTK_HOST_PROGRESS_H_

#include <cstdint>
#include <string>

namespace scanhost {

class Progress {
 public:
  // `bar`: redraw one line; otherwise a line for every quarter of the page.
  explicit Progress(bool bar) : bar_(bar) {}
  ~Progress() { Close(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // A page called `label` of `total` rows (0: not known) begins.
  void Begin(const std::string& label, uint32_t total);
  void Update(uint32_t rows);
  // Ends the bar's line, so that other text can follow.
  void Close();

 private:
  bool bar_;
  bool open_ = false;
  std::string label_;
  uint32_t total_ = 0;
  uint32_t shown_ = 0;  // steps shown: percent with a bar, quarters without
};

}  // namespace scanhost

#endif  // SCANTK_HOST_PROGRESS_H_
