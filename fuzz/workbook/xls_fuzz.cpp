// The .xls loader under libFuzzer: any input either loads or gives a message;
// a workbook that loads can be written to and saved, and what is saved loads
// again with the written text in place.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "workbook/xls_book.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  workbook::XlsBook book;
  if (!book.LoadBytes(std::string(reinterpret_cast<const char*>(data), size))) {
    if (book.ErrorMessage().empty()) std::abort();
    return 0;
  }
  int written = -1;
  for (int i = 0; i < book.SheetCount(); ++i) {
    workbook::Sheet* sheet = book.GetSheet(i);
    if (sheet == nullptr) continue;
    if (sheet->WriteText(0, 0, L"Fuzz") && sheet->WriteText(7, 3, L"材料\U00020000") &&
        sheet->WriteText(300, 255, std::wstring(300, L'x')) && written < 0)
      written = i;
  }
  std::string saved;
  if (!book.SaveBytes(&saved)) return 0;
  workbook::XlsBook again;
  if (!again.LoadBytes(saved)) std::abort();
  if (written >= 0) {
    std::wstring text;
    workbook::Sheet* sheet = again.GetSheet(written);
    if (sheet == nullptr || !sheet->ReadText(7, 3, &text) || text != L"材料\U00020000")
      std::abort();
  }
  return 0;
}
