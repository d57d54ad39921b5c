// Text at the edges of the program. Inside, all narrow text is GBK (code page
// 936), as on the host; it is converted only for the UTF-8 console and Linux
// file names, for wide dialog fields and for UTF-16 workbook cells.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace text {

// Invalid input bytes: the message names the offset and the offending byte.
class EncodingError : public std::runtime_error {
 public:
  EncodingError(const std::string& what, std::size_t offset)
      : std::runtime_error(what), offset_(offset) {}
  std::size_t offset() const { return offset_; }

 private:
  std::size_t offset_;
};

std::string GbkToUtf8(std::string_view gbk);
// The same, with every byte that does not start a GBK character as U+FFFD.
std::string GbkToUtf8Lenient(std::string_view gbk);
std::string Utf8ToGbk(std::string_view utf8);
// The same, with every character GBK lacks (and every broken sequence) as "?".
std::string Utf8ToGbkLenient(std::string_view utf8);
std::wstring GbkToWide(std::string_view gbk);
std::string WideToGbk(std::wstring_view wide);
std::wstring Utf8ToWide(std::string_view utf8);
std::string WideToUtf8(std::wstring_view wide);

// True when `gbk` is well-formed GBK; otherwise `bad_offset` gets the offset
// of the first byte that does not start a valid character.
bool IsValidGbk(std::string_view gbk, std::size_t* bad_offset = nullptr);

// std::to_string-like formatting into a std::string with printf semantics.
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace text
