// Spreadsheet workbooks for the BOM exports: load a template, write text cells,
// save. The exports see only this interface; CreateXlsBook() gives the
// implementation for the binary ".xls" format, and another library can take
// its place behind the same two classes.
#pragma once

#include <memory>
#include <string>

namespace workbook {

class Sheet {
 public:
  virtual ~Sheet() = default;
  // Writes `text` as a string cell at zero-based (row, col), without a format
  // of its own: the cell keeps the format the template gives it there. False
  // (with the book's error message set) when the position is out of range or
  // the cell cannot be replaced.
  virtual bool WriteText(int row, int col, const std::wstring& text) = 0;
  // Reads a string cell; false when (row, col) holds no string.
  virtual bool ReadText(int row, int col, std::wstring* text) const = 0;
};

class Book {
 public:
  virtual ~Book() = default;
  // Loads the workbook at a native file path, replacing what was loaded.
  virtual bool Load(const std::string& path) = 0;
  // The sheet that was active when the file was saved; -1 when nothing is loaded.
  virtual int ActiveSheet() const = 0;
  virtual int SheetCount() const = 0;
  // The sheet at `index`, owned by the book; null (with the error message
  // set) when the index is out of range or the sheet is not a worksheet.
  virtual Sheet* GetSheet(int index) = 0;
  // Saves the loaded workbook with every written cell to a native file path.
  virtual bool Save(const std::string& path) = 0;
  // What the last failed operation reported, as GBK or ASCII text.
  virtual std::string ErrorMessage() const = 0;
  // Drops the loaded workbook; sheets handed out before become invalid.
  virtual void Release() = 0;
};

// A book for the binary ".xls" format (a BIFF8 workbook in a compound file).
std::unique_ptr<Book> CreateXlsBook();

// The exports' message for a template that is no readable workbook: the
// template's path and what the book reported on loading it (GBK).
std::string DamagedTemplateText(const std::string& template_path, const std::string& reason);

}  // namespace workbook
