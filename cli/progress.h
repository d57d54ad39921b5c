// A progress bar on standard error, drawn only when standard error is a
// terminal; it is wiped when the work is done.
#pragma once

#include <string>

namespace cli {

class Progress {
 public:
  // `label` is ASCII. Drawn only when `enabled` and standard error is a terminal.
  Progress(const std::string& label, int total, bool enabled = true);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Update(int done);
  bool drawing() const { return drawing_; }

 private:
  std::string label_;
  int total_;
  bool drawing_;
  int last_ = -1;
};

// The bar as it is drawn for `done` of `total` (no carriage return).
std::string ProgressLine(const std::string& label, int done, int total, int width = 30);

}  // namespace cli
