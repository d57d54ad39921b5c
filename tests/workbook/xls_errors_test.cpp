// Bad input to the .xls book: every case gives a message, never a crash, and
// nothing on disk changes.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>
#include <iterator>

#include "tests/workbook/xls_support.h"
#include "workbook/cfb.h"
#include "workbook/xls_book.h"

namespace {

using namespace wbtest;

const fs::path kTemplate = fs::path(u8"samples/config/config/级进模/模具材料采购单.xls");

std::string Template() { return ReadFile(SourceDir() / kTemplate); }

// The template with its Workbook stream changed by `edit`.
std::string WithStream(const std::function<void(std::string&)>& edit) {
  return EditWorkbookStream(Template(), edit);
}

// Loading `bytes` fails with a message that contains `expected`.
void ExpectRefused(const std::string& bytes, const std::string& expected) {
  const fs::path dir = ScratchDir();
  const fs::path path = dir / "bad.xls";
  WriteFile(path, bytes);
  workbook::XlsBook book;
  EXPECT_FALSE(book.Load(path.string()));
  EXPECT_NE(book.ErrorMessage().find(expected), std::string::npos) << book.ErrorMessage();
  EXPECT_NE(book.ErrorMessage().find("bad.xls\""), std::string::npos) << book.ErrorMessage();
  EXPECT_EQ(book.ActiveSheet(), -1);
  EXPECT_EQ(book.GetSheet(0), nullptr);
  EXPECT_FALSE(book.Save((dir / "out.xls").string()));
  EXPECT_EQ(ReadFile(path), bytes);  // the file itself is left alone
}

TEST(XlsBookErrors, NotACompoundFile) {
  ExpectRefused("", "is empty");
  ExpectRefused("序号,名称\n1,上模座\n", "not a compound file");
  ExpectRefused(std::string(4096, '\0'), "not a compound file");
  ExpectRefused(std::string("PK\x03\x04", 4) + std::string(200, 'x'), "(.xlsx, a zip archive)");
  workbook::XlsBook book;
  EXPECT_FALSE(book.Load("/nonexistent/folder/a.xls"));
  EXPECT_EQ(book.ErrorMessage(), "\"/nonexistent/folder/a.xls\" does not exist");
  const fs::path dir = ScratchDir();
  EXPECT_FALSE(book.Load(dir.string()));
  EXPECT_NE(book.ErrorMessage().find("is a folder"), std::string::npos) << book.ErrorMessage();
}

TEST(XlsBookErrors, TruncatedAndBrokenContainers) {
  const std::string good = Template();
  ExpectRefused(good.substr(0, 300), "not a compound file");
  ExpectRefused(good.substr(0, 512 + 3 * 512), "truncated");
  ExpectRefused(good.substr(0, good.size() / 2), "truncated");

  // The template with the header field (or FAT entry) at `at` set to `value`.
  auto with = [&](std::size_t at, std::uint32_t value) {
    std::string bad = good;
    Put32(bad, at, value);
    return bad;
  };
  ExpectRefused(with(28, 0x000AFFFE), "unsupported");  // a sector size no version has
  // The directory's chain loops back on itself.
  const std::uint32_t dir = Get32(good, 48), fat = Get32(good, 76);
  ExpectRefused(with(512 + fat * 512 + 4 * dir, dir), "loops");
  ExpectRefused(with(44, 5000), "FAT larger than the file");
  ExpectRefused(with(48, 0x00FFFFFF), "broken sector chain");  // a chain that leaves the FAT
}

TEST(XlsBookErrors, LoopingDifatChain) {
  // Just enough FAT sectors to need one DIFAT sector; that sector points at itself
  // and does not list the FAT sectors that remain.
  workbook::cfb::File file = workbook::cfb::Read(Template());
  file.entries[std::size_t(file.Find(u"Workbook"))].data.resize(8 * 1024 * 1024, '\0');
  std::string big = workbook::cfb::Write(file);
  const std::uint32_t difat = Get32(big, 68);
  ASSERT_EQ(Get32(big, 72), 1u);
  ASSERT_GT(Get32(big, 44), 109u + 1);
  Put32(big, 44, Get32(big, 44) + 127);  // more FAT sectors than the one DIFAT sector lists
  Put32(big, 512 + std::size_t(difat) * 512 + 508, difat);
  ExpectRefused(big, "DIFAT chain broken or looping");
}

TEST(XlsBookErrors, BadWorkbookStreams) {
  ExpectRefused(WithStream([](std::string& s) { s.resize(s.size() - 3); }), "truncated");
  ExpectRefused(WithStream([](std::string& s) { s.resize(2100); }), "truncated");
  ExpectRefused(WithStream([](std::string& s) { s[s.size() - 2] = 0x40; }), "runs past the end");
  ExpectRefused(WithStream([](std::string& s) { s[0] = 0x10; }), "does not start with a BOF");
  ExpectRefused(WithStream([](std::string& s) { s[5] = 0x05; }), "not a BIFF8 workbook");
  ExpectRefused(WithStream([](std::string& s) { s.clear(); }),
                "does not start with workbook globals");
  // Encrypted: a FILEPASS record right after the globals' BOF.
  ExpectRefused(WithStream([](std::string& s) {
                  s.insert(20, std::string("\x2F\x00\x06\x00\x00\x00\x01\x00\x01\x00", 10));
                }),
                "encrypted");
  // A sheet offset that points into the middle of a record.
  ExpectRefused(WithStream([](std::string& s) {
                  for (std::size_t at : RecordsOf(s, 0x0085)) Put32(s, at + 4, 7);
                }),
                "does not point at a sheet");
  // A shared string table cut short.
  ExpectRefused(WithStream([](std::string& s) {
                  s[RecordsOf(s, 0x00FC).at(0) + 12] = '\x7F';  // the first string's length
                }),
                "shared string");

  // No Workbook stream, or only an Excel 95 "Book" one.
  workbook::cfb::File file = workbook::cfb::Read(Template());
  auto& raw = file.entries[std::size_t(file.Find(u"Workbook"))].raw;
  const char16_t book_name[] = u"Book";
  std::memset(raw.data(), 0, 64);
  std::memcpy(raw.data(), book_name, sizeof book_name);
  raw[64] = sizeof book_name;
  ExpectRefused(workbook::cfb::Write(file), "BIFF5");
  raw[0] = 'X';
  ExpectRefused(workbook::cfb::Write(file), "no Workbook stream");
}

TEST(XlsBookErrors, BadCallsGiveMessages) {
  const fs::path dir = ScratchDir();
  workbook::XlsBook book;
  EXPECT_EQ(book.GetSheet(0), nullptr);
  EXPECT_NE(book.ErrorMessage().find("no workbook loaded"), std::string::npos);
  EXPECT_FALSE(book.Save((dir / "x.xls").string()));
  EXPECT_FALSE(fs::exists(dir / "x.xls"));

  ASSERT_TRUE(book.Load((SourceDir() / kTemplate).string()));
  EXPECT_EQ(book.GetSheet(2), nullptr);
  EXPECT_NE(book.ErrorMessage().find("out of range"), std::string::npos);
  EXPECT_EQ(book.GetSheet(-1), nullptr);
  workbook::Sheet* sheet = book.GetSheet(0);
  ASSERT_NE(sheet, nullptr);
  EXPECT_EQ(book.GetSheet(0), sheet);
  EXPECT_FALSE(sheet->WriteText(65536, 0, L"x"));
  EXPECT_NE(book.ErrorMessage().find("outside the sheet"), std::string::npos);
  EXPECT_FALSE(sheet->WriteText(0, 256, L"x"));
  EXPECT_FALSE(sheet->WriteText(-1, 0, L"x"));
  EXPECT_FALSE(sheet->WriteText(7, 1, std::wstring(1, wchar_t(0xD800))));
  EXPECT_NE(book.ErrorMessage().find("invalid character"), std::string::npos);
  EXPECT_FALSE(sheet->WriteText(7, 1, std::wstring(32768, L'a')));
  EXPECT_NE(book.ErrorMessage().find("32767"), std::string::npos);
  ASSERT_TRUE(sheet->WriteText(7, 1, std::wstring(32767, L'a')));

  // A failed save (no such folder) loses nothing: the book saves elsewhere.
  EXPECT_FALSE(book.Save((dir / "missing" / "x.xls").string()));
  EXPECT_NE(book.ErrorMessage().find("missing/x.xls\" cannot be written"), std::string::npos)
      << book.ErrorMessage();
  // A save that fails while writing leaves the previous file as it was and
  // nothing beside it (here the file written first cannot be made).
  WriteFile(dir / "x.xls", "the previous workbook");
  fs::create_directory(dir / (".x.xls.saving-" + std::to_string(::getpid())));
  EXPECT_FALSE(book.Save((dir / "x.xls").string()));
  EXPECT_NE(book.ErrorMessage().find("x.xls\" cannot be written"), std::string::npos);
  EXPECT_EQ(ReadFile(dir / "x.xls"), "the previous workbook");
  fs::remove(dir / (".x.xls.saving-" + std::to_string(::getpid())));
  EXPECT_FALSE(book.Save(dir.string()));
  EXPECT_NE(book.ErrorMessage().find("is a folder"), std::string::npos);
  ASSERT_TRUE(book.Save((dir / "x.xls").string())) << book.ErrorMessage();
  EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1)
      << "only the workbook itself";
  workbook::XlsBook again;
  ASSERT_TRUE(again.Load((dir / "x.xls").string()));
  std::wstring text;
  ASSERT_TRUE(again.GetSheet(0)->ReadText(7, 1, &text));
  EXPECT_EQ(text.size(), 32767u);
  EXPECT_FALSE(again.GetSheet(0)->ReadText(7, 2, &text));

  // Release drops the book; a later load starts afresh.
  again.Release();
  EXPECT_EQ(again.ActiveSheet(), -1);
  EXPECT_EQ(again.SheetCount(), 0);
  EXPECT_FALSE(again.Load((dir / "missing.xls").string()));
  ASSERT_TRUE(again.Load((dir / "x.xls").string()));
  EXPECT_EQ(again.SheetCount(), 2);
}

}  // namespace
