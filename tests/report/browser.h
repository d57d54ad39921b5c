// Headless Chromium for the report's tests: loads a page, returns the DOM as
// the browser built it (after the page's scripts ran) and the console lines
// it logged.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/scratch.h"

namespace report_test {

// The Chromium program, or nothing when none is installed.
inline std::optional<std::string> FindChromium() {
  for (const std::string name : {"chromium", "chromium-browser", "google-chrome"})
    if (std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0) return name;
  return std::nullopt;
}

struct LoadedPage {
  int status = -1;
  std::string dom;
  std::vector<std::string> console;  // the page's console messages and errors
};

inline std::string ReadAll(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// Loads file://`page``fragment` with a fresh profile and dumps its DOM.
inline LoadedPage LoadPage(const std::string& chromium, const std::filesystem::path& page,
                           const std::string& fragment = "") {
  static int runs = 0;
  const std::filesystem::path dir =
      test_support::ScratchFolder("chromium" + std::to_string(++runs));
  const std::filesystem::path dom = dir / "dom.html", log = dir / "log.txt";
  const std::string command =
      "'" + chromium +
      "' --headless --no-sandbox --disable-gpu --disable-quic --no-first-run"
      " --disable-background-networking --disable-component-update --disable-sync"
      " --enable-logging=stderr --v=0 --user-data-dir='" +
      (dir / "profile").string() + "' --dump-dom 'file://" +
      std::filesystem::absolute(page).string() + fragment + "' >'" + dom.string() + "' 2>'" +
      log.string() + "'";
  LoadedPage out;
  out.status = std::system(command.c_str());
  out.dom = ReadAll(dom);
  std::istringstream lines(ReadAll(log));
  std::string line;
  while (std::getline(lines, line))
    if (line.find(":CONSOLE") != std::string::npos) out.console.push_back(line);
  return out;
}

// Occurrences of `needle` in `text`.
inline std::size_t Count(const std::string& text, const std::string& needle) {
  std::size_t n = 0;
  for (std::size_t at = text.find(needle); at != std::string::npos;
       at = text.find(needle, at + needle.size()))
    ++n;
  return n;
}

// The markup of the section that holds `marker` (e.g. `id="row-3"`), or ""
// when it is not there.
inline std::string Section(const std::string& dom, const std::string& marker) {
  const std::size_t at = dom.find(marker);
  if (at == std::string::npos) return "";
  const std::size_t start = dom.rfind("<section", at);
  const std::size_t end = dom.find("</section>", at);
  return dom.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

}  // namespace report_test
