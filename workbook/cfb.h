// Compound files (the OLE2 container of ".xls" workbooks): read every stream,
// write the file out again with new stream contents. Directory entries and
// the bytes of every stream not replaced are kept exactly; only the sector
// layout is new.
#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace workbook::cfb {

// A malformed or unsupported file; the message says what is wrong.
class FormatError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline constexpr std::uint8_t kUnused = 0;
inline constexpr std::uint8_t kStorage = 1;
inline constexpr std::uint8_t kStream = 2;
inline constexpr std::uint8_t kRoot = 5;

struct Entry {
  std::array<std::uint8_t, 128> raw{};  // the directory entry as stored
  std::string data;                     // stream contents (streams only)

  std::uint8_t type() const { return raw[66]; }
  std::u16string name() const;
};

struct File {
  std::uint16_t major_version = 3;        // 3: 512-byte sectors, 4: 4096-byte sectors
  std::array<std::uint8_t, 76> header{};  // the header up to the DIFAT, as read
  std::vector<Entry> entries;             // the whole directory, in order

  // Index of the stream or storage `name` directly under the root, or -1.
  int Find(std::u16string_view name) const;
};

// Throws FormatError on anything that is not a well-formed compound file.
File Read(std::string_view bytes);
// The file laid out afresh with the sector size of its major version.
std::string Write(const File& file);

}  // namespace workbook::cfb
