#include "host/text.h"

#include <gtest/gtest.h>

namespace {

TEST(Text, ConvertsBetweenGbkUtf8AndWide) {
  const std::string gbk = "材料BOM Φ30.0xH80.0";  // a GBK literal
  EXPECT_EQ(gbk.size(), 20u);                     // 2 bytes per Chinese character and for Φ
  const std::string utf8 = text::GbkToUtf8(gbk);
  EXPECT_EQ(utf8,
            "\xE6\x9D\x90\xE6\x96\x99"
            "BOM \xCE\xA6"
            "30.0xH80.0");
  EXPECT_EQ(text::Utf8ToGbk(utf8), gbk);
  const std::wstring wide = text::GbkToWide(gbk);
  EXPECT_EQ(wide, L"材料BOM Φ30.0xH80.0");
  EXPECT_EQ(text::WideToGbk(wide), gbk);
  EXPECT_EQ(text::WideToUtf8(text::Utf8ToWide(utf8)), utf8);
  EXPECT_EQ(text::GbkToUtf8(""), "");
}

TEST(Text, InvalidBytesGiveAClearErrorWithTheOffset) {
  const std::string bad = std::string("ab") + "\x81" + "\x20";  // lead byte without a trail byte
  try {
    text::GbkToUtf8(bad);
    FAIL() << "no error";
  } catch (const text::EncodingError& e) {
    EXPECT_EQ(e.offset(), 2u);
    EXPECT_NE(std::string(e.what()).find("byte 2"), std::string::npos) << e.what();
  }
  std::size_t at = 0;
  EXPECT_FALSE(text::IsValidGbk(std::string("x\xFF"), &at));
  EXPECT_EQ(at, 1u);
  EXPECT_TRUE(text::IsValidGbk("改模颜色"));
  // A truncated character at the end, and a wide character GBK cannot hold.
  EXPECT_THROW(text::GbkToUtf8(std::string("\xB2")), text::EncodingError);
  EXPECT_THROW(text::WideToGbk(L"\U0001F600"), text::EncodingError);
  EXPECT_THROW(text::Utf8ToGbk("\xC3"), text::EncodingError);
}

TEST(Text, FormatsLikePrintf) {
  EXPECT_EQ(text::Format("%.1fx%.1fx%.1f", 100.0, 50.04, 20.05), "100.0x50.0x20.1");
  EXPECT_EQ(text::Format("%03d", 7), "007");
  EXPECT_EQ(text::Format("%s", std::string(300, 'a').c_str()).size(), 300u);
}

}  // namespace
