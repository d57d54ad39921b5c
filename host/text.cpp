#include "host/text.h"

#include <algorithm>

#include <iconv.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

namespace text {
namespace {

// One conversion through iconv; throws EncodingError on an invalid or
// incomplete sequence, naming the charset and the byte offset.
std::string Convert(const char* to, const char* from, std::string_view in) {
  iconv_t cd = iconv_open(to, from);
  if (cd == reinterpret_cast<iconv_t>(-1)) {
    throw std::runtime_error(std::string("no converter from ") + from + " to " + to);
  }
  std::string out;
  out.resize(in.size() * 4 + 16);
  char* src = const_cast<char*>(in.data());
  std::size_t src_left = in.size();
  char* dst = out.data();
  std::size_t dst_left = out.size();
  while (src_left > 0) {
    const std::size_t r = iconv(cd, &src, &src_left, &dst, &dst_left);
    if (r != static_cast<std::size_t>(-1)) break;
    if (errno == E2BIG) {
      const std::size_t used = out.size() - dst_left;
      out.resize(out.size() * 2);
      dst = out.data() + used;
      dst_left = out.size() - used;
      continue;
    }
    const int err = errno;
    const std::size_t offset = in.size() - src_left;
    iconv_close(cd);
    char buf[160];
    std::snprintf(buf, sizeof buf, "invalid %s text: %s sequence at byte %zu (0x%02X)", from,
                  err == EINVAL ? "incomplete" : "invalid", offset,
                  static_cast<unsigned>(static_cast<unsigned char>(in[offset])));
    throw EncodingError(buf, offset);
  }
  out.resize(out.size() - dst_left);
  iconv_close(cd);
  return out;
}

std::wstring BytesToWide(const std::string& utf32) {
  std::wstring w(utf32.size() / sizeof(wchar_t), L'\0');
  std::memcpy(w.data(), utf32.data(), w.size() * sizeof(wchar_t));
  return w;
}

std::string_view WideBytes(std::wstring_view w) {
  return {reinterpret_cast<const char*>(w.data()), w.size() * sizeof(wchar_t)};
}

bool IsAscii(std::string_view s) {
  for (unsigned char c : s)
    if (c >= 0x80) return false;
  return true;
}

constexpr const char* kGbk = "GBK";
constexpr const char* kWide = "WCHAR_T";

}  // namespace

std::string GbkToUtf8(std::string_view gbk) {
  if (IsAscii(gbk)) return std::string(gbk);
  return Convert("UTF-8", kGbk, gbk);
}

std::string Utf8ToGbk(std::string_view utf8) {
  if (IsAscii(utf8)) return std::string(utf8);
  return Convert(kGbk, "UTF-8", utf8);
}

std::string GbkToUtf8Lenient(std::string_view gbk) {
  try {
    return GbkToUtf8(gbk);
  } catch (const EncodingError&) {
  }
  std::string out;
  for (std::size_t i = 0; i < gbk.size();) {
    const unsigned char c = static_cast<unsigned char>(gbk[i]);
    const std::size_t n = c < 0x80 || i + 1 >= gbk.size() ? 1 : 2;
    try {
      out += GbkToUtf8(gbk.substr(i, n));
      i += n;
    } catch (const EncodingError&) {
      out += "\xEF\xBF\xBD";
      ++i;
    }
  }
  return out;
}

std::string Utf8ToGbkLenient(std::string_view utf8) {
  try {
    return Utf8ToGbk(utf8);
  } catch (const EncodingError&) {
  }
  std::string out;
  for (std::size_t i = 0; i < utf8.size();) {
    const unsigned char c = static_cast<unsigned char>(utf8[i]);
    std::size_t n = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 1;
    n = std::min(n, utf8.size() - i);
    try {
      out += Utf8ToGbk(utf8.substr(i, n));
    } catch (const EncodingError&) {
      out += '?';
    }
    i += n;
  }
  return out;
}

std::wstring GbkToWide(std::string_view gbk) {
  if (IsAscii(gbk)) return std::wstring(gbk.begin(), gbk.end());
  return BytesToWide(Convert(kWide, kGbk, gbk));
}

std::string WideToGbk(std::wstring_view wide) { return Convert(kGbk, kWide, WideBytes(wide)); }

std::wstring Utf8ToWide(std::string_view utf8) {
  if (IsAscii(utf8)) return std::wstring(utf8.begin(), utf8.end());
  return BytesToWide(Convert(kWide, "UTF-8", utf8));
}

std::string WideToUtf8(std::wstring_view wide) { return Convert("UTF-8", kWide, WideBytes(wide)); }

bool IsValidGbk(std::string_view gbk, std::size_t* bad_offset) {
  try {
    GbkToUtf8(gbk);
    return true;
  } catch (const EncodingError& e) {
    if (bad_offset) *bad_offset = e.offset();
    return false;
  }
}

std::string Format(const char* format, ...) {
  va_list args;
  va_start(args, format);
  va_list copy;
  va_copy(copy, args);
  const int n = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  std::string out(n > 0 ? static_cast<std::size_t>(n) : 0, '\0');
  if (n > 0) std::vsnprintf(out.data(), out.size() + 1, format, args);
  va_end(args);
  return out;
}

}  // namespace text
