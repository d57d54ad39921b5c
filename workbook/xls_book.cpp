#include "workbook/xls_book.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>

#include "host/text.h"

namespace workbook {
namespace {

using Error = cfb::FormatError;

constexpr std::size_t kNone = ~std::size_t(0);
constexpr std::size_t kMaxRecordData = 8224;
constexpr int kMaxRows = 65536;
constexpr int kMaxCols = 256;
constexpr std::uint16_t kDefaultXf = 15;

// Record types.
enum : std::uint16_t {
  kFormula = 0x0006,
  kEof = 0x000A,
  kFilePass = 0x002F,
  kContinue = 0x003C,
  kWindow1 = 0x003D,
  kDefColWidth = 0x0055,
  kColInfo = 0x007D,
  kBoundSheet = 0x0085,
  kMulRk = 0x00BD,
  kMulBlank = 0x00BE,
  kRString = 0x00D6,
  kDbCell = 0x00D7,
  kSst = 0x00FC,
  kLabelSst = 0x00FD,
  kExtSst = 0x00FF,
  kDimensions = 0x0200,
  kBlank = 0x0201,
  kNumber = 0x0203,
  kLabel = 0x0204,
  kBoolErr = 0x0205,
  kString = 0x0207,
  kRow = 0x0208,
  kIndex = 0x020B,
  kArray = 0x0221,
  kTable = 0x0236,
  kDefaultRowHeight = 0x0225,
  kRk = 0x027E,
  kShrFmla = 0x04BC,
  kBof = 0x0809,
};
constexpr std::uint16_t kWorksheet = 0x0010;
constexpr std::uint16_t kGlobals = 0x0005;

std::uint16_t Get16(const char* p) {
  return std::uint16_t(std::uint8_t(p[0]) | std::uint8_t(p[1]) << 8);
}
std::uint32_t Get32(const char* p) { return Get16(p) | std::uint32_t(Get16(p + 2)) << 16; }
void Put16(char* p, std::uint16_t v) {
  p[0] = char(v);
  p[1] = char(v >> 8);
}
void Put32(char* p, std::uint32_t v) {
  Put16(p, std::uint16_t(v));
  Put16(p + 2, std::uint16_t(v >> 16));
}
void Add16(std::string& s, std::uint16_t v) {
  char b[2];
  Put16(b, v);
  s.append(b, 2);
}
void Add32(std::string& s, std::uint32_t v) {
  char b[4];
  Put32(b, v);
  s.append(b, 4);
}
void AddRecord(std::string& out, std::uint16_t type, std::string_view data) {
  Add16(out, type);
  Add16(out, std::uint16_t(data.size()));
  out.append(data);
}

bool IsCell(std::uint16_t t) {
  switch (t) {
    case kLabelSst:
    case kNumber:
    case kRk:
    case kMulRk:
    case kBlank:
    case kMulBlank:
    case kLabel:
    case kBoolErr:
    case kFormula:
    case kRString:
      return true;
  }
  return false;
}
// Records that belong to the formula cell before them.
bool IsFormulaPart(std::uint16_t t) {
  return t == kString || t == kShrFmla || t == kArray || t == kTable;
}
bool IsCellTable(std::uint16_t t) {
  return IsCell(t) || IsFormulaPart(t) || t == kRow || t == kDbCell;
}

std::u16string ToUtf16(const std::wstring& text) {
  std::u16string out;
  out.reserve(text.size());
  for (wchar_t wc : text) {
    auto c = std::uint32_t(wc);
    if constexpr (sizeof(wchar_t) == 2) {
      out += char16_t(c);
    } else if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
      throw Error(text::Format("text holds an invalid character U+%X", unsigned(c)));
    } else if (c >= 0x10000) {
      c -= 0x10000;
      out += char16_t(0xD800 + (c >> 10));
      out += char16_t(0xDC00 + (c & 0x3FF));
    } else {
      out += char16_t(c);
    }
  }
  return out;
}

std::wstring FromUtf16(const std::u16string& s) {
  std::wstring out;
  for (std::size_t i = 0; i < s.size(); ++i) {
    std::uint32_t c = s[i];
    if constexpr (sizeof(wchar_t) == 4) {
      if (c >= 0xD800 && c < 0xDC00 && i + 1 < s.size() && s[i + 1] >= 0xDC00 && s[i + 1] < 0xE000)
        c = 0x10000 + ((c - 0xD800) << 10) + (s[++i] - 0xDC00);
    }
    out += wchar_t(c);
  }
  return out;
}

std::string PathForMessage(const std::string& path) {
  try {
    return text::Utf8ToGbk(path);
  } catch (const text::EncodingError&) {
    return path;
  }
}

}  // namespace

// A worksheet whose cell table has been taken apart for writing. The records
// before the cell table (head) and after it (tail) are kept; on saving the
// cell table is laid out again in row blocks with fresh ROW, DBCELL, INDEX and
// DIMENSIONS records.
class XlsSheet : public Sheet {
 public:
  XlsSheet(XlsBook* book, std::string_view sub) : book_(book) { Parse(sub); }

  bool WriteText(int row, int col, const std::wstring& text) override;
  bool ReadText(int row, int col, std::wstring* text) const override;

  std::size_t Labels() const;
  void Serialize(std::string& out) const;

 private:
  // One cell record, or a run of cells in MULBLANK/MULRK; formula cells carry
  // their STRING, SHRFMLA, ARRAY or TABLE records along in `extra`.
  struct Item {
    std::uint16_t first, last, type;
    std::string data;
    std::string extra;
  };
  struct Row {
    bool has_record = false;
    std::array<char, 16> record{};
    std::vector<Item> items;  // sorted by column
  };

  void Parse(std::string_view sub);
  static std::uint16_t XfAt(const Item& item, int col);
  std::uint16_t NewCellXf(std::uint32_t row, int col) const;
  static std::vector<Item> Split(const Item& item, int col);
  const Item* Find(std::uint32_t row, int col) const;

  XlsBook* book_;
  std::vector<XlsBook::Record> head_;
  std::string_view tail_;
  std::map<std::uint32_t, Row> rows_;
  std::size_t last_prepared_ = kNone;
  std::array<char, 16> default_row_{};
};

void XlsSheet::Parse(std::string_view sub) {
  enum { kHead, kTable, kTail } state = kHead;
  std::size_t pos = 0, head_through_dims = kNone;
  std::uint32_t last_row = 0;
  std::uint16_t last_col = 0;
  bool after_cell = false;
  int depth = 0;
  while (pos < sub.size() && state != kTail) {
    std::uint16_t type = Get16(&sub[pos]), len = Get16(&sub[pos + 2]);
    std::string_view data = sub.substr(pos + 4, len);
    if (type == kBof) ++depth;
    if (type == kEof) --depth;
    const bool cell_table = depth == 1 && IsCellTable(type);
    if (state == kHead && cell_table) state = kTable;
    if (state == kHead) {
      head_.push_back({type, std::string(data)});
      if (type == kDimensions) head_through_dims = head_.size();
    } else if (!cell_table) {
      state = kTail;
      tail_ = sub.substr(pos);
      break;
    } else if (type == kRow) {
      if (len != 16) throw Error("ROW record of wrong size");
      Row& row = rows_[Get16(data.data())];
      row.has_record = true;
      std::copy(data.begin(), data.end(), row.record.begin());
      after_cell = false;
    } else if (IsCell(type)) {
      if (len < 6) throw Error("cell record too short");
      Item item{Get16(&data[2]), Get16(&data[2]), type, std::string(data), {}};
      if (type == kMulBlank || type == kMulRk) {
        std::size_t per = type == kMulBlank ? 2 : 6;
        item.last = Get16(&data[len - 2]);
        if (item.last < item.first || len != 6 + per * (item.last - item.first + 1))
          throw Error("MULBLANK or MULRK record of wrong size");
      }
      last_row = Get16(data.data());
      last_col = item.first;
      after_cell = type == kFormula;
      Row& row = rows_[last_row];
      if (row.items.empty() || row.items.back().first < item.first) {
        row.items.push_back(std::move(item));
      } else {
        auto at = std::upper_bound(row.items.begin(), row.items.end(), item.first,
                                   [](std::uint16_t c, const Item& i) { return c < i.first; });
        row.items.insert(at, std::move(item));
      }
    } else if (IsFormulaPart(type)) {
      Item* cell = after_cell ? const_cast<Item*>(Find(last_row, last_col)) : nullptr;
      if (cell == nullptr) throw Error("formula record without its cell");
      AddRecord(cell->extra, type, data);
    } else {
      after_cell = false;  // DBCELL: rebuilt on saving
    }
    pos += 4 + len;
  }
  if (state == kHead) {
    // No cells at all: the cell table goes right after DIMENSIONS.
    if (head_through_dims == kNone) throw Error("worksheet without DIMENSIONS record");
    std::size_t at = 0;
    for (std::size_t i = 0; i < head_through_dims; ++i) at += 4 + head_[i].data.size();
    head_.resize(head_through_dims);
    tail_ = sub.substr(at);
  }
  for (auto& [r, row] : rows_) {
    for (std::size_t i = 1; i < row.items.size(); ++i)
      if (row.items[i].first <= row.items[i - 1].last)
        throw Error(text::Format("row %u holds two cells at one column", unsigned(r)));
  }
  if (!rows_.empty()) last_prepared_ = rows_.rbegin()->first;
  // A fresh row: default height, default format.
  Put16(&default_row_[6], 0xFF);
  Put32(&default_row_[12], 0x000F0100);
  for (const auto& rec : head_)
    if (rec.type == kDefaultRowHeight && rec.data.size() >= 4)
      Put16(&default_row_[6], Get16(&rec.data[2]));
}

const XlsSheet::Item* XlsSheet::Find(std::uint32_t row, int col) const {
  auto r = rows_.find(row);
  if (r == rows_.end()) return nullptr;
  const auto& items = r->second.items;
  auto it = std::upper_bound(items.begin(), items.end(), col,
                             [](int c, const Item& i) { return c < i.first; });
  if (it == items.begin() || std::prev(it)->last < col) return nullptr;
  return &*std::prev(it);
}

std::uint16_t XlsSheet::XfAt(const Item& item, int col) {
  if (item.type == kMulBlank) return Get16(&item.data[4 + 2 * (col - item.first)]);
  if (item.type == kMulRk) return Get16(&item.data[4 + 6 * (col - item.first)]);
  return Get16(&item.data[4]);
}

// A new cell takes its row's format, else its column's, else the default;
// below the template's last row it takes the format of that row's cell.
std::uint16_t XlsSheet::NewCellXf(std::uint32_t row, int col) const {
  auto row_xf = [](const Row& r, std::uint16_t* xf) {
    std::uint32_t flags = Get32(&r.record[12]);
    if (!r.has_record || !(flags & 0x80)) return false;
    *xf = std::uint16_t((flags >> 16) & 0x0FFF);
    return true;
  };
  std::uint16_t xf = kDefaultXf;
  if (last_prepared_ != kNone && row > last_prepared_) {
    if (const Item* item = Find(std::uint32_t(last_prepared_), col)) return XfAt(*item, col);
    if (row_xf(rows_.at(std::uint32_t(last_prepared_)), &xf)) return xf;
  } else if (auto r = rows_.find(row); r != rows_.end() && row_xf(r->second, &xf)) {
    return xf;
  }
  for (const auto& rec : head_) {
    if (rec.type == kColInfo && rec.data.size() >= 8 && Get16(&rec.data[0]) <= col &&
        col <= Get16(&rec.data[2]))
      return Get16(&rec.data[6]);
  }
  return kDefaultXf;
}

// The cells of a MULBLANK or MULRK run left and right of `col`.
std::vector<XlsSheet::Item> XlsSheet::Split(const Item& item, int col) {
  std::vector<Item> out;
  if (item.type != kMulBlank && item.type != kMulRk) return out;
  const std::size_t per = item.type == kMulBlank ? 2 : 6;
  auto piece = [&](int a, int b) {
    if (a > b) return;
    Item p{std::uint16_t(a), std::uint16_t(b), item.type, item.data.substr(0, 2), {}};
    Add16(p.data, std::uint16_t(a));
    p.data += item.data.substr(4 + per * (a - item.first), per * (b - a + 1));
    if (a == b)
      p.type = item.type == kMulBlank ? kBlank : kRk;
    else
      Add16(p.data, std::uint16_t(b));
    out.push_back(std::move(p));
  };
  piece(item.first, col - 1);
  piece(col + 1, item.last);
  return out;
}

bool XlsSheet::WriteText(int row, int col, const std::wstring& text) {
  if (row < 0 || row >= kMaxRows || col < 0 || col >= kMaxCols)
    return book_->Fail(text::Format("cell (%d, %d) lies outside the sheet", row, col));
  try {
    std::u16string units = ToUtf16(text);
    if (units.size() > 32767) throw Error("text longer than 32767 characters");
    const Item* old = Find(std::uint32_t(row), col);
    if (old != nullptr && old->type == kFormula) {
      for (std::size_t at = 0; at + 4 <= old->extra.size(); at += 4 + Get16(&old->extra[at + 2]))
        if (Get16(&old->extra[at]) != kString)
          throw Error(text::Format("cell (%d, %d) holds a shared or array formula", row, col));
    }
    const std::uint16_t xf = old != nullptr ? XfAt(*old, col) : NewCellXf(std::uint32_t(row), col);
    const std::uint32_t isst = book_->StringIndex(units);

    Item cell{std::uint16_t(col), std::uint16_t(col), kLabelSst, {}, {}};
    Add16(cell.data, std::uint16_t(row));
    Add16(cell.data, std::uint16_t(col));
    Add16(cell.data, xf);
    Add32(cell.data, isst);
    const bool fresh_row =
        rows_.find(std::uint32_t(row)) == rows_.end() || !rows_.at(std::uint32_t(row)).has_record;
    std::array<char, 16> record = default_row_;
    if (fresh_row && last_prepared_ != kNone && std::uint32_t(row) > last_prepared_ &&
        rows_.at(std::uint32_t(last_prepared_)).has_record)
      record = rows_.at(std::uint32_t(last_prepared_)).record;

    Row& r = rows_[std::uint32_t(row)];
    if (!r.has_record) {
      r.has_record = true;
      r.record = record;
      Put16(&r.record[0], std::uint16_t(row));
    }
    auto at = std::upper_bound(r.items.begin(), r.items.end(), col,
                               [](int c, const Item& i) { return c < i.first; });
    if (old != nullptr) {
      --at;
      std::vector<Item> pieces = Split(*at, col);
      at = r.items.erase(at);
      if (!pieces.empty() && pieces.front().first < col) at = r.items.insert(at, pieces[0]) + 1;
      at = r.items.insert(at, std::move(cell)) + 1;
      if (!pieces.empty() && pieces.back().first > col) r.items.insert(at, pieces.back());
    } else {
      r.items.insert(at, std::move(cell));
    }
    return true;
  } catch (const std::exception& e) {
    return book_->Fail(e.what());
  }
}

bool XlsSheet::ReadText(int row, int col, std::wstring* text) const {
  if (row < 0 || col < 0) return false;
  const Item* item = Find(std::uint32_t(row), col);
  if (item == nullptr || item->type != kLabelSst || item->data.size() < 10) return false;
  std::uint32_t isst = Get32(&item->data[6]);
  if (isst >= book_->strings_.size()) return false;
  *text = FromUtf16(book_->strings_[isst]);
  return true;
}

std::size_t XlsSheet::Labels() const {
  std::size_t n = 0;
  for (const auto& [r, row] : rows_)
    for (const Item& item : row.items) n += item.type == kLabelSst;
  for (std::size_t at = 0; at + 4 <= tail_.size(); at += 4 + Get16(&tail_[at + 2]))
    n += Get16(&tail_[at]) == kLabelSst;
  return n;
}

// Lays the sheet out at the end of `out`, which is the Workbook stream so far.
void XlsSheet::Serialize(std::string& out) const {
  std::vector<std::uint32_t> keys;
  std::uint32_t row_min = ~0u, row_max = 0;
  std::uint16_t col_min = 0xFFFF, col_max = 0;
  for (const auto& [r, row] : rows_) {
    if (!row.has_record && row.items.empty()) continue;
    keys.push_back(r);
    if (row.items.empty()) continue;
    row_min = std::min(row_min, r);
    row_max = std::max(row_max, r + 1);
    col_min = std::min(col_min, row.items.front().first);
    col_max = std::max<std::uint16_t>(col_max, row.items.back().last + 1);
  }
  if (row_max == 0) row_min = col_min = 0;
  std::size_t blocks = 0;
  for (std::size_t i = 0; i < keys.size(); ++i)
    blocks += i == 0 || keys[i] >> 5 != keys[i - 1] >> 5;

  std::size_t index_at = kNone, defcolwidth_at = 0;
  for (const auto& rec : head_) {
    if (rec.type == kIndex) {
      index_at = out.size();
      AddRecord(out, kIndex, std::string(16 + 4 * blocks, '\0'));
    } else if (rec.type == kDimensions) {
      std::string d;
      Add32(d, row_min);
      Add32(d, row_max);
      Add16(d, col_min);
      Add16(d, col_max);
      Add16(d, 0);
      AddRecord(out, kDimensions, d);
    } else {
      if (rec.type == kDefColWidth) defcolwidth_at = out.size();
      AddRecord(out, rec.type, rec.data);
    }
  }
  std::vector<std::size_t> dbcells;
  for (std::size_t b = 0; b < keys.size();) {
    std::size_t e = b;
    while (e < keys.size() && keys[e] >> 5 == keys[b] >> 5) ++e;
    const std::size_t first_row = out.size();
    for (std::size_t i = b; i < e; ++i) {
      const Row& row = rows_.at(keys[i]);
      std::array<char, 16> rec = row.record;
      if (!row.items.empty()) {
        Put16(&rec[2], row.items.front().first);
        Put16(&rec[4], row.items.back().last + 1);
      }
      AddRecord(out, kRow, std::string_view(rec.data(), rec.size()));
    }
    std::string dbcell(4, '\0');
    std::size_t ref = first_row + 20;  // the end of the first ROW record
    for (std::size_t i = b; i < e; ++i) {
      const Row& row = rows_.at(keys[i]);
      if (row.items.empty()) {
        Add16(dbcell, 0);
        continue;
      }
      Add16(dbcell, std::uint16_t(out.size() - ref));
      ref = out.size();
      for (const Item& item : row.items) {
        AddRecord(out, item.type, item.data);
        out += item.extra;
      }
    }
    Put32(&dbcell[0], std::uint32_t(out.size() - first_row));
    dbcells.push_back(out.size());
    AddRecord(out, kDbCell, dbcell);
    b = e;
  }
  out.append(tail_);
  if (index_at != kNone) {
    char* p = &out[index_at + 4];
    Put32(p + 4, row_max == 0 ? 0 : row_min);
    Put32(p + 8, row_max);
    Put32(p + 12, std::uint32_t(defcolwidth_at));
    for (std::size_t i = 0; i < dbcells.size(); ++i)
      Put32(p + 16 + 4 * i, std::uint32_t(dbcells[i]));
  }
}

XlsBook::XlsBook() = default;
XlsBook::~XlsBook() = default;

bool XlsBook::Fail(const std::string& message) {
  error_ = message;
  return false;
}

void XlsBook::Release() {
  loaded_ = false;
  file_ = cfb::File();
  stream_entry_ = -1;
  std::string().swap(stream_);
  subs_.clear();
  tail_.clear();
  globals_.clear();
  sheet_sub_.clear();
  sst_at_ = sst_end_ = extsst_at_ = kNone;
  sst_records_.clear();
  strings_.clear();
  string_at_.clear();
  loaded_strings_ = 0;
  string_index_.clear();
  active_ = -1;
}

bool XlsBook::Load(const std::string& path) {
  Release();
  const std::string name = "\"" + PathForMessage(path) + "\"";
  std::error_code ec;
  const auto status = std::filesystem::status(path, ec);
  if (!std::filesystem::exists(status)) return Fail(name + " does not exist");
  if (std::filesystem::is_directory(status))
    return Fail(name + " is a folder, not a workbook file");
  std::string bytes;
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return Fail(name + " cannot be opened: " + std::strerror(errno));
  char buffer[65536];
  for (;;) {
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      const int err = errno;
      ::close(fd);
      return Fail(name + " cannot be read: " + std::strerror(err));
    }
    if (n == 0) break;
    bytes.append(buffer, static_cast<std::size_t>(n));
  }
  ::close(fd);
  if (bytes.empty()) return Fail(name + " is empty");
  if (bytes.compare(0, 4, "PK\x03\x04") == 0)
    return Fail(name +
                " is an Excel 2007 or later workbook (.xlsx, a zip archive); save the "
                "template as \"Excel 97-2003 Workbook (*.xls)\"");
  if (!LoadBytes(std::move(bytes)))
    return Fail(name + " is not a workbook that can be read: " + std::string(error_));
  return true;
}

bool XlsBook::LoadBytes(std::string bytes) {
  Release();
  try {
    Parse(std::move(bytes));
    loaded_ = true;
    error_.clear();
    return true;
  } catch (const std::exception& e) {
    Release();
    return Fail(e.what());
  }
}

void XlsBook::Parse(std::string bytes) {
  file_ = cfb::Read(bytes);
  std::string().swap(bytes);
  stream_entry_ = file_.Find(u"Workbook");
  if (stream_entry_ < 0) {
    if (file_.Find(u"Book") >= 0) throw Error("Excel 5/95 workbooks (BIFF5) are not supported");
    throw Error("the file holds no Workbook stream");
  }
  cfb::Entry& entry = file_.entries[std::size_t(stream_entry_)];
  if (entry.type() != cfb::kStream) throw Error("the Workbook entry is not a stream");
  stream_ = std::move(entry.data);
  entry.data.clear();

  // Split the stream into its BOF..EOF substreams.
  std::size_t pos = 0;
  while (pos < stream_.size()) {
    if (stream_.size() - pos < 4 || Get16(&stream_[pos]) != kBof) {
      if (subs_.empty()) throw Error("the Workbook stream does not start with a BOF record");
      tail_ = stream_.substr(pos);
      break;
    }
    Substream sub;
    sub.begin = pos;
    int depth = 0;
    do {
      if (stream_.size() - pos < 4)
        throw Error(text::Format("Workbook stream truncated at offset %zu", pos));
      std::uint16_t type = Get16(&stream_[pos]), len = Get16(&stream_[pos + 2]);
      if (stream_.size() - pos - 4 < len)
        throw Error(
            text::Format("record at offset %zu runs past the end of the Workbook stream", pos));
      const char* data = &stream_[pos + 4];
      if (type == kBof) {
        if (len < 4 || Get16(data) != 0x0600)
          throw Error("not a BIFF8 workbook (Excel 97 or later)");
        if (++depth == 1) sub.kind = Get16(data + 2);
      }
      if (type == kEof) --depth;
      if (type == kLabelSst) ++sub.labels;
      if (type == kIndex && depth == 1) sub.index.push_back(pos);
      pos += 4 + len;
    } while (depth > 0);
    sub.end = pos;
    subs_.push_back(std::move(sub));
  }
  if (subs_.empty() || subs_[0].kind != kGlobals)
    throw Error("the Workbook stream does not start with workbook globals");
  ParseGlobals();
}

void XlsBook::ParseGlobals() {
  std::map<std::size_t, std::size_t> sub_at;
  for (std::size_t i = 1; i < subs_.size(); ++i) sub_at[subs_[i].begin] = i;
  for (std::size_t pos = subs_[0].begin; pos < subs_[0].end;) {
    std::uint16_t type = Get16(&stream_[pos]), len = Get16(&stream_[pos + 2]);
    globals_.push_back({type, stream_.substr(pos + 4, len)});
    pos += 4 + len;
  }
  for (std::size_t i = 0; i < globals_.size(); ++i) {
    const Record& rec = globals_[i];
    if (rec.type == kFilePass)
      throw Error("the workbook is encrypted (password protected); encrypted files are refused");
    if (rec.type == kWindow1 && rec.data.size() >= 12 && active_ < 0)
      active_ = Get16(&rec.data[10]);
    if (rec.type == kBoundSheet) {
      if (rec.data.size() < 6) throw Error("BOUNDSHEET record too short");
      auto sub = sub_at.find(Get32(rec.data.data()));
      if (sub == sub_at.end())
        throw Error(text::Format("sheet %zu does not point at a sheet in the Workbook stream",
                                 sheet_sub_.size()));
      sheet_sub_.push_back(sub->second);
    }
    if (rec.type == kSst && sst_at_ == kNone) {
      sst_at_ = i;
      sst_end_ = i + 1;
      while (sst_end_ < globals_.size() && globals_[sst_end_].type == kContinue) ++sst_end_;
    }
    if (rec.type == kExtSst && extsst_at_ == kNone) extsst_at_ = i;
  }
  if (active_ < 0) active_ = 0;
  if (extsst_at_ != kNone && (sst_at_ == kNone || extsst_at_ < sst_at_))
    throw Error("EXTSST record without a shared string table before it");
  if (sst_at_ == kNone) {
    // No strings yet: the table goes in before the closing EOF.
    sst_at_ = sst_end_ = globals_.size() - 1;
    sst_records_.push_back(std::string(8, '\0'));
  } else {
    ParseStrings();
  }
  loaded_strings_ = strings_.size();
}

// Reads the strings of SST and its CONTINUE records. A string's characters may
// continue in the next record after a fresh flag byte; its formatting runs and
// phonetic data continue without one.
void XlsBook::ParseStrings() {
  for (std::size_t i = sst_at_; i < sst_end_; ++i) sst_records_.push_back(globals_[i].data);
  if (sst_records_[0].size() < 8) throw Error("SST record too short");
  const std::size_t n = sst_records_.size();
  std::size_t rec = 0, off = 8;
  auto avail = [&] { return sst_records_[rec].size() - off; };
  auto next = [&] {
    if (++rec >= n) throw Error("shared string table truncated");
    off = 0;
  };
  for (;;) {
    if (avail() == 0) {
      if (rec + 1 >= n) break;
      next();
      continue;
    }
    const std::pair<std::uint32_t, std::uint32_t> start(rec, off);
    const char* p = &sst_records_[rec][off];
    if (avail() < 3) throw Error("shared string header split across records");
    const std::uint16_t cch = Get16(p);
    const std::uint8_t flags = std::uint8_t(p[2]);
    std::size_t header = 3 + (flags & 8 ? 2 : 0) + (flags & 4 ? 4 : 0);
    if (avail() < header) throw Error("shared string header split across records");
    std::uint64_t skip =
        (flags & 8 ? 4 * std::uint64_t(Get16(p + 3)) : 0) + (flags & 4 ? Get32(p + header - 4) : 0);
    off += header;
    bool wide = flags & 1;
    std::u16string s;
    s.reserve(cch);
    while (s.size() < cch) {
      if (avail() == 0) {
        next();
        if (avail() == 0) throw Error("empty CONTINUE record in the shared string table");
        wide = sst_records_[rec][0] & 1;
        off = 1;
        continue;
      }
      std::size_t k = std::min<std::size_t>(cch - s.size(), wide ? avail() / 2 : avail());
      if (k == 0) throw Error("shared string character split across records");
      const char* c = &sst_records_[rec][off];
      for (std::size_t i = 0; i < k; ++i)
        s += wide ? char16_t(Get16(c + 2 * i)) : char16_t(std::uint8_t(c[i]));
      off += wide ? 2 * k : k;
    }
    while (skip > 0) {
      if (avail() == 0) next();
      std::size_t take = std::size_t(std::min<std::uint64_t>(skip, avail()));
      off += take;
      skip -= take;
    }
    strings_.push_back(std::move(s));
    string_at_.push_back(start);
  }
}

std::uint32_t XlsBook::StringIndex(const std::u16string& s) {
  if (string_index_.empty())
    for (std::size_t i = 0; i < strings_.size(); ++i)
      string_index_.emplace(strings_[i], std::uint32_t(i));
  auto [it, added] = string_index_.emplace(s, std::uint32_t(strings_.size()));
  if (added) strings_.push_back(s);
  return it->second;
}

// Appends the strings written since loading to the table's records: a string
// header is never split, characters continue after a fresh flag byte and
// never through a UTF-16 unit or a surrogate pair.
void XlsBook::AppendStrings(std::vector<std::string>& records,
                            std::vector<std::pair<std::uint32_t, std::uint32_t>>& at) {
  for (std::size_t k = loaded_strings_; k < strings_.size(); ++k) {
    const std::u16string& s = strings_[k];
    const bool compressed = std::all_of(s.begin(), s.end(), [](char16_t c) { return c <= 0xFF; });
    const std::size_t unit = compressed ? 1 : 2;
    auto high = [&](std::size_t i) { return s[i] >= 0xD800 && s[i] < 0xDC00 && i + 1 < s.size(); };
    std::size_t first = s.empty() ? 0 : (high(0) ? 4 : unit);
    if (kMaxRecordData - records.back().size() < 3 + first) records.emplace_back();
    at.emplace_back(records.size() - 1, records.back().size());
    Add16(records.back(), std::uint16_t(s.size()));
    records.back() += char(compressed ? 0 : 1);
    for (std::size_t i = 0; i < s.size();) {
      std::size_t k2 = std::min(s.size() - i, (kMaxRecordData - records.back().size()) / unit);
      if (!compressed && k2 > 0 && i + k2 < s.size() && high(i + k2 - 1)) --k2;
      if (k2 == 0) {
        records.emplace_back(1, char(compressed ? 0 : 1));
        continue;
      }
      for (std::size_t j = i; j < i + k2; ++j) {
        if (compressed)
          records.back() += char(s[j]);
        else
          Add16(records.back(), s[j]);
      }
      i += k2;
    }
  }
}

std::string XlsBook::BuildStream() {
  std::string out;
  out.reserve(stream_.size() + stream_.size() / 2 + 65536);
  std::size_t labels = 0;
  for (const Substream& sub : subs_) labels += sub.sheet ? sub.sheet->Labels() : sub.labels;

  // The shared string table with the new strings, and EXTSST over it.
  std::vector<std::string> sst = sst_records_;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> at = string_at_;
  AppendStrings(sst, at);
  Put32(&sst[0][0], std::uint32_t(labels));
  Put32(&sst[0][4], std::uint32_t(strings_.size()));
  const std::size_t dsst = std::max<std::size_t>(8, (strings_.size() + 127) / 128);
  auto write_sst = [&] {
    std::vector<std::size_t> starts;
    for (std::size_t i = 0; i < sst.size(); ++i) {
      starts.push_back(out.size());
      AddRecord(out, i == 0 ? kSst : kContinue, sst[i]);
    }
    std::string ext;
    Add16(ext, std::uint16_t(dsst));
    for (std::size_t i = 0; i < at.size(); i += dsst) {
      Add32(ext, std::uint32_t(starts[at[i].first] + 4 + at[i].second));
      Add16(ext, std::uint16_t(4 + at[i].second));
      Add16(ext, 0);
    }
    AddRecord(out, kExtSst, ext);
  };

  std::vector<std::size_t> boundsheets;
  for (std::size_t i = 0; i < globals_.size(); ++i) {
    if (i == sst_at_) {
      write_sst();
      if (sst_end_ > sst_at_) {
        i = sst_end_ - 1;
        continue;
      }
    }
    if (i == extsst_at_) continue;
    if (globals_[i].type == kBoundSheet) boundsheets.push_back(out.size());
    AddRecord(out, globals_[i].type, globals_[i].data);
  }

  std::vector<std::size_t> begin(subs_.size());
  for (std::size_t s = 1; s < subs_.size(); ++s) {
    const Substream& sub = subs_[s];
    begin[s] = out.size();
    if (sub.sheet) {
      sub.sheet->Serialize(out);
      continue;
    }
    out.append(stream_, sub.begin, sub.end - sub.begin);
    // The sheet moved as a whole: its INDEX points at DBCELLs that moved too.
    const std::uint32_t delta = std::uint32_t(begin[s] - sub.begin);
    for (std::size_t index : sub.index) {
      char* rec = &out[begin[s] + (index - sub.begin)];
      std::uint16_t len = Get16(rec + 2);
      if (len < 16) continue;
      if (Get32(rec + 16) != 0) Put32(rec + 16, Get32(rec + 16) + delta);
      for (std::size_t p = 20; p + 4 <= 4u + len; p += 4) Put32(rec + p, Get32(rec + p) + delta);
    }
  }
  for (std::size_t i = 0; i < boundsheets.size(); ++i)
    Put32(&out[boundsheets[i] + 4], std::uint32_t(begin[sheet_sub_[i]]));
  out.append(tail_);
  return out;
}

bool XlsBook::SaveBytes(std::string* bytes) {
  if (!loaded_) return Fail("no workbook loaded");
  try {
    cfb::Entry& entry = file_.entries[std::size_t(stream_entry_)];
    entry.data = BuildStream();
    *bytes = cfb::Write(file_);
    std::string().swap(entry.data);
    return true;
  } catch (const std::exception& e) {
    return Fail(e.what());
  }
}

// The workbook is written to a new file beside the target and renamed over
// it once complete, so a failed save (a full disk) leaves the previous file
// as it was. Interrupts wait until the file is in place or removed.
bool XlsBook::Save(const std::string& path) {
  namespace fs = std::filesystem;
  const std::string name = "\"" + PathForMessage(path) + "\"";
  std::string bytes;
  if (!SaveBytes(&bytes)) return Fail(name + " cannot be written: " + std::string(error_));
  const fs::path target(path);
  if (target.filename().empty()) return Fail(name + " names no file");
  std::error_code ec;
  if (fs::is_directory(target, ec)) return Fail(name + " is a folder, not a workbook file");
  const fs::path folder = target.parent_path().empty() ? fs::path(".") : target.parent_path();
  if (!fs::is_directory(folder, ec)) return Fail(name + " cannot be written: no such folder");
  const fs::path temp =
      folder / ("." + target.filename().string() + text::Format(".saving-%d", int(::getpid())));

  sigset_t interrupts, saved;
  sigemptyset(&interrupts);
  for (int sig : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&interrupts, sig);
  ::pthread_sigmask(SIG_BLOCK, &interrupts, &saved);
  struct Restore {
    sigset_t* saved;
    ~Restore() { ::pthread_sigmask(SIG_SETMASK, saved, nullptr); }
  } restore{&saved};

  // A new file takes the mode of the one it replaces.
  mode_t mode = 0666;
  struct stat old {};
  if (::stat(path.c_str(), &old) == 0) mode = old.st_mode & 07777;
  const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
  if (fd < 0) return Fail(name + " cannot be written: " + std::strerror(errno));
  auto fail = [&](int err) {
    ::close(fd);
    ::unlink(temp.c_str());
    return Fail(name + " cannot be written: " + std::strerror(err));
  };
  std::string_view rest(bytes);
  while (!rest.empty()) {
    const ssize_t n = ::write(fd, rest.data(), rest.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return fail(errno);
    if (n == 0) return fail(ENOSPC);
    rest.remove_prefix(static_cast<std::size_t>(n));
  }
  if (::fsync(fd) != 0 && errno != EINVAL) return fail(errno);
  if (::close(fd) != 0) {
    const int err = errno;
    ::unlink(temp.c_str());
    return Fail(name + " cannot be written: " + std::strerror(err));
  }
  if (::rename(temp.c_str(), path.c_str()) != 0) {
    const int err = errno;
    ::unlink(temp.c_str());
    return Fail(name + " cannot be written: " + std::strerror(err));
  }
  return true;
}

int XlsBook::ActiveSheet() const { return loaded_ ? active_ : -1; }

int XlsBook::SheetCount() const { return int(sheet_sub_.size()); }

Sheet* XlsBook::GetSheet(int index) {
  if (!loaded_) return Fail("no workbook loaded"), nullptr;
  if (index < 0 || std::size_t(index) >= sheet_sub_.size())
    return Fail(text::Format("sheet index %d out of range (the workbook has %zu sheets)", index,
                             sheet_sub_.size())),
           nullptr;
  Substream& sub = subs_[sheet_sub_[std::size_t(index)]];
  if (sub.kind != kWorksheet)
    return Fail(text::Format("sheet %d is not a worksheet", index)), nullptr;
  if (!sub.sheet) {
    try {
      sub.sheet = std::make_unique<XlsSheet>(
          this, std::string_view(stream_).substr(sub.begin, sub.end - sub.begin));
    } catch (const std::exception& e) {
      return Fail(e.what()), nullptr;
    }
  }
  return sub.sheet.get();
}

std::unique_ptr<Book> CreateXlsBook() { return std::make_unique<XlsBook>(); }

std::string DamagedTemplateText(const std::string& template_path, const std::string& reason) {
  // The reason names the file by its native path in quotes; the message
  // names it once, as the configuration does.
  std::string why = reason;
  const std::size_t close =
      reason.size() > 1 && reason[0] == '"' ? reason.find("\" ", 1) : std::string::npos;
  if (close != std::string::npos) why = reason.substr(close + 2);
  return "模板文件 " + template_path + " 已损坏，无法读取（" + why + "），请换用完好的模板";
}

}  // namespace workbook
