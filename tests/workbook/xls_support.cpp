#include "tests/workbook/xls_support.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "host/text.h"
#include "tests/support/scratch.h"
#include "workbook/cfb.h"

namespace wbtest {
namespace {

std::string Quote(const std::string& s) { return "'" + s + "'"; }

int Run(const std::string& command) { return std::system(command.c_str()); }

std::string Soffice(const fs::path& dir) {
  return "timeout 300 soffice -env:UserInstallation=file://" + (dir / "lo-profile").string() +
         " --headless --norestore";
}

// LibreOffice's CSV: "" inside quotes is a quote, line ends are LF.
std::vector<std::vector<std::string>> ParseCsv(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  std::vector<std::string> row(1);
  bool quoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '"' && quoted && i + 1 < text.size() && text[i + 1] == '"') {
      row.back() += text[i++];
    } else if (c == '"') {
      quoted = !quoted;
    } else if (quoted || (c != ',' && c != '\n' && c != '\r')) {
      row.back() += c;
    } else if (c == ',') {
      row.emplace_back();
    } else if (c == '\n') {
      rows.push_back(row);
      row.assign(1, "");
    }
  }
  return rows;
}

}  // namespace

std::uint16_t Get16(const std::string& s, std::size_t at) {
  return std::uint16_t(std::uint8_t(s[at]) | std::uint8_t(s[at + 1]) << 8);
}

std::uint32_t Get32(const std::string& s, std::size_t at) {
  return Get16(s, at) | std::uint32_t(Get16(s, at + 2)) << 16;
}

void Put32(std::string& s, std::size_t at, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) s[at + i] = char(value >> 8 * i);
}

std::vector<std::size_t> RecordsOf(const std::string& stream, std::uint16_t type) {
  std::vector<std::size_t> out;
  for (std::size_t pos = 0; pos + 4 <= stream.size(); pos += 4 + Get16(stream, pos + 2))
    if (Get16(stream, pos) == type) out.push_back(pos);
  return out;
}

std::string EditWorkbookStream(const std::string& xls,
                               const std::function<void(std::string&)>& edit) {
  workbook::cfb::File file = workbook::cfb::Read(xls);
  edit(file.entries[std::size_t(file.Find(u"Workbook"))].data);
  return workbook::cfb::Write(file);
}

fs::path ScratchDir() {
  static int made = 0;
  return test_support::ScratchFolder(
      "wb_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + "_" +
      std::to_string(++made));
}

fs::path SourceDir() {
  const char* dir = std::getenv("DIEBOM_SOURCE_DIR");
  return dir ? fs::path(dir) : fs::path(".");
}

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFile(const fs::path& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), std::streamsize(bytes.size()));
}

std::string Utf8(const std::wstring& text) { return text::WideToUtf8(text); }

fs::path ConvertToXls(const fs::path& dir, const fs::path& source, const std::string& infilter) {
  fs::path out = dir / "converted";
  fs::create_directories(out);
  std::string filter = infilter.empty() ? "" : " --infilter=" + Quote(infilter);
  Run(Soffice(dir) + filter + " --convert-to " + Quote("xls:MS Excel 97") + " --outdir " +
      Quote(out.string()) + " " + Quote(source.string()) + " >/dev/null 2>&1");
  return out / source.filename().replace_extension(".xls");
}

std::map<std::string, std::vector<std::vector<std::string>>> ReadWithLibreOffice(
    const fs::path& dir, const fs::path& xls) {
  static int run = 0;
  fs::path out = dir / ("csv-" + std::to_string(++run));
  fs::create_directories(out);
  // Comma, double quote, UTF-8, every sheet into its own file.
  Run(Soffice(dir) + " --infilter=" + Quote("MS Excel 97") + " --convert-to " +
      Quote("csv:Text - txt - csv (StarCalc):44,34,76,1,,0,false,true,false,false,false,-1") +
      " --outdir " + Quote(out.string()) + " " + Quote(xls.string()) + " >/dev/null 2>&1");
  std::map<std::string, std::vector<std::vector<std::string>>> sheets;
  const std::string prefix = xls.stem().string() + "-";
  for (const auto& entry : fs::directory_iterator(out)) {
    std::string name = entry.path().stem().string();
    if (name.rfind(prefix, 0) == 0)
      sheets[name.substr(prefix.size())] = ParseCsv(ReadFile(entry.path()));
  }
  return sheets;
}

std::string CheckWithXlrd(const fs::path& dir, const fs::path& tmpl, const fs::path& output,
                          int sheet, const std::vector<Cell>& cells) {
  // The sheet's index, then a line for each cell: row, column, its UTF-8 in hex.
  std::string lines = std::to_string(sheet) + "\n";
  for (const Cell& c : cells) {
    lines += std::to_string(c.row) + " " + std::to_string(c.col) + " ";
    for (unsigned char byte : Utf8(c.text)) lines += text::Format("%02x", unsigned(byte));
    lines += "\n";
  }
  fs::path expected = dir / "expected.txt", report = dir / "xlrd-report.txt";
  WriteFile(expected, lines);
  Run("timeout 300 /usr/bin/python3 " +
      Quote((SourceDir() / "tests/workbook/check_xls.py").string()) + " " + Quote(tmpl.string()) +
      " " + Quote(output.string()) + " " + Quote(expected.string()) + " >" +
      Quote(report.string()) + " 2>&1");
  return ReadFile(report);
}

std::string CheckStructure(const std::string& xls, std::size_t new_from, SstFacts* facts) {
  workbook::cfb::File file = workbook::cfb::Read(xls);
  int at = file.Find(u"Workbook");
  if (at < 0) return "no Workbook stream";
  const std::string& s = file.entries[std::size_t(at)].data;
  struct Rec {
    std::size_t pos;
    std::uint16_t type, len;
  };
  std::vector<Rec> recs;
  for (std::size_t pos = 0; pos + 4 <= s.size(); pos += 4 + Get16(s, pos + 2)) {
    recs.push_back({pos, Get16(s, pos), Get16(s, pos + 2)});
    if (recs.back().len > 8224) return text::Format("record at %zu longer than 8224", pos);
  }
  std::string problems;
  auto fail = [&](const std::string& p) { problems += p + "\n"; };
  std::map<std::size_t, std::uint16_t> type_at;
  std::size_t labels = 0;
  for (const Rec& r : recs) {
    type_at[r.pos] = r.type;
    labels += r.type == 0x00FD;
  }

  // The shared string table.
  std::size_t sst = 0;
  while (sst < recs.size() && recs[sst].type != 0x00FC) ++sst;
  if (sst == recs.size()) return "no SST";
  std::vector<std::size_t> group;
  for (std::size_t i = sst; i < recs.size() && (i == sst || recs[i].type == 0x003C); ++i)
    group.push_back(i);
  std::size_t g = 0, off = 8;
  auto data = [&](std::size_t o) { return recs[group[g]].pos + 4 + o; };
  auto left = [&] { return std::size_t(recs[group[g]].len) - off; };
  std::vector<std::size_t> starts;
  for (std::size_t index = 0;; ++index) {
    if (left() == 0) {
      if (g + 1 == group.size()) break;
      ++g;
      off = 0;
    }
    std::uint16_t cch = Get16(s, data(off));
    std::uint8_t flags = std::uint8_t(s[data(off + 2)]);
    std::size_t header = 3 + (flags & 8 ? 2 : 0) + (flags & 4 ? 4 : 0);
    if (left() < header) return text::Format("string %zu: header split", index);
    std::size_t skip = (flags & 8 ? 4 * Get16(s, data(off + 3)) : 0) +
                       (flags & 4 ? Get32(s, data(off + header - 4)) : 0);
    starts.push_back(data(off));
    off += header;
    bool wide = flags & 1;
    for (std::size_t units = 0; units < cch; ++units) {
      if (left() == 0) {  // continued: a flag byte gives the compression
        if (++g == group.size()) return text::Format("string %zu: table truncated", index);
        wide = s[data(0)] & 1;
        off = 1;
      }
      if (wide && left() < 2) return text::Format("string %zu: unit split", index);
      off += wide ? 2 : 1;
    }
    while (skip > 0) {
      if (left() == 0) {
        if (++g == group.size()) return "table truncated in formatting runs";
        off = 0;
      }
      std::size_t take = std::min(skip, left());
      off += take;
      skip -= take;
    }
  }
  std::size_t sst_data = recs[sst].pos + 4;
  if (Get32(s, sst_data + 4) != starts.size())
    fail(text::Format("SST says %u unique strings, holds %zu", Get32(s, sst_data + 4),
                      starts.size()));
  if (Get32(s, sst_data) != labels)
    fail(text::Format("SST says %u references, the sheets hold %zu", Get32(s, sst_data), labels));
  if (facts) *facts = {starts.size(), group.size() - 1};

  // EXTSST: every bucket's first string (in files written here).
  std::size_t ext = group.back() + 1;
  if (new_from == ~std::size_t(0)) {
    // written elsewhere: no EXTSST to check
  } else if (ext >= recs.size() || recs[ext].type != 0x00FF) {
    fail("no EXTSST after the SST");
  } else {
    std::size_t dsst = Get16(s, recs[ext].pos + 4);
    std::size_t buckets = (recs[ext].len - 2) / 8;
    if (dsst < 8 || buckets != (starts.size() + dsst - 1) / dsst) fail("EXTSST bucket count");
    for (std::size_t b = 0; b < buckets && b * dsst < starts.size(); ++b) {
      std::size_t e = recs[ext].pos + 6 + 8 * b;
      std::size_t ib = Get32(s, e), cb = Get16(s, e + 4);
      if (ib != starts[b * dsst]) fail(text::Format("EXTSST bucket %zu: wrong position", b));
      auto it = type_at.upper_bound(ib);
      if (it == type_at.begin() || ib - std::prev(it)->first != cb)
        fail(text::Format("EXTSST bucket %zu: wrong offset in its record", b));
    }
  }

  // INDEX and DBCELL, which only Excel reads.
  for (const Rec& r : recs) {
    if (r.type == 0x020B) {
      std::size_t ibxf = Get32(s, r.pos + 16);
      if (ibxf != 0 && type_at[ibxf] != 0x0055) fail("INDEX does not point at DEFCOLWIDTH");
      for (std::size_t p = 20; p < 4u + r.len; p += 4)
        if (type_at[Get32(s, r.pos + p)] != 0x00D7) fail("INDEX does not point at a DBCELL");
    }
    if (r.type == 0x00D7) {
      std::size_t first_row = r.pos - Get32(s, r.pos + 4);
      if (type_at[first_row] != 0x0208) {
        fail("DBCELL does not point at a ROW");
        continue;
      }
      std::size_t ref = first_row + 20;
      for (std::size_t p = 8; p < 4u + r.len; p += 2) {
        std::size_t rel = Get16(s, r.pos + p);
        if (rel == 0) continue;
        ref += rel;
        std::uint16_t t = type_at.count(ref) ? type_at[ref] : 0;
        std::size_t row_rec = first_row + 20 * ((p - 8) / 2);
        if (type_at[row_rec] != 0x0208 || Get16(s, ref + 4) != Get16(s, row_rec + 4))
          fail("DBCELL cell offset does not reach its row's first cell");
        else if (t == 0 || t == 0x0208)
          fail("DBCELL cell offset does not reach a cell");
      }
    }
  }
  return problems;
}

}  // namespace wbtest
