// The ".xls" book: a BIFF8 Workbook stream inside a compound file. Loading
// keeps the stream as it is; only the sheets written to are rebuilt on saving,
// together with the shared string table and the stream offsets that point
// into the rebuilt parts. Every other record and stream is kept byte for byte.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "workbook/cfb.h"
#include "workbook/workbook.h"

namespace workbook {

class XlsSheet;

class XlsBook : public Book {
 public:
  XlsBook();
  ~XlsBook() override;

  bool Load(const std::string& path) override;
  int ActiveSheet() const override;
  int SheetCount() const override;
  Sheet* GetSheet(int index) override;
  bool Save(const std::string& path) override;
  std::string ErrorMessage() const override { return error_; }
  void Release() override;

  // The same on file contents in memory.
  bool LoadBytes(std::string bytes);
  bool SaveBytes(std::string* bytes);
  // Saves with 4096-byte sectors (compound file version 4), or 512-byte ones.
  void UseLargeSectors(bool large) { file_.major_version = large ? 4 : 3; }

 private:
  friend class XlsSheet;
  struct Record {
    std::uint16_t type;
    std::string data;
  };
  // One BOF..EOF substream of the original stream.
  struct Substream {
    std::size_t begin = 0, end = 0;
    std::uint16_t kind = 0;           // BOF document type
    std::size_t labels = 0;           // LABELSST records in it
    std::vector<std::size_t> index;   // offsets of its own INDEX records
    std::unique_ptr<XlsSheet> sheet;  // once a sheet has been parsed
  };

  void Parse(std::string bytes);
  void ParseGlobals();
  void ParseStrings();
  std::string BuildStream();
  void AppendStrings(std::vector<std::string>& records,
                     std::vector<std::pair<std::uint32_t, std::uint32_t>>& at);
  std::uint32_t StringIndex(const std::u16string& s);
  bool Fail(const std::string& message);

  bool loaded_ = false;
  std::string error_;
  cfb::File file_;
  int stream_entry_ = -1;
  std::string stream_;  // the Workbook stream as loaded
  std::vector<Substream> subs_;
  std::string tail_;  // bytes after the last substream, kept as they are
  std::vector<Record> globals_;
  std::vector<std::size_t> sheet_sub_;  // sheet index -> substream
  // SST and its CONTINUEs in globals_, and EXTSST (~0 when absent).
  std::size_t sst_at_ = ~std::size_t(0), sst_end_ = ~std::size_t(0);
  std::size_t extsst_at_ = ~std::size_t(0);
  std::vector<std::string> sst_records_;                            // their data, as loaded
  std::vector<std::u16string> strings_;                             // the table, grown by writing
  std::vector<std::pair<std::uint32_t, std::uint32_t>> string_at_;  // record, offset
  std::size_t loaded_strings_ = 0;
  std::unordered_map<std::u16string, std::uint32_t> string_index_;
  int active_ = -1;
};

}  // namespace workbook
