#include "cli/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "host/text.h"

namespace cli {

std::string ProgressLine(const std::string& label, int done, int total, int width) {
  done = std::clamp(done, 0, std::max(total, 0));
  const int filled =
      total > 0 ? static_cast<int>(static_cast<long long>(done) * width / total) : width;
  return label + " [" + std::string(static_cast<std::size_t>(filled), '#') +
         std::string(static_cast<std::size_t>(width - filled), '.') + "] " +
         text::Format("%d/%d", done, total);
}

Progress::Progress(const std::string& label, int total, bool enabled)
    : label_(label), total_(total), drawing_(enabled && ::isatty(STDERR_FILENO) == 1) {
  Update(0);
}

Progress::~Progress() {
  if (!drawing_) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
}

void Progress::Update(int done) {
  if (!drawing_ || done == last_) return;
  last_ = done;
  std::fputs(("\r" + ProgressLine(label_, done, total_)).c_str(), stderr);
  std::fflush(stderr);
}

}  // namespace cli
