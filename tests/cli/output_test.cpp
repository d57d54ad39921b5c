// The tool's output formats, argument parsing and progress bar, on their own.
#include <gtest/gtest.h>

#include <sstream>

#include "cli/output.h"
#include "cli/progress.h"
#include "cli/tool.h"
#include "host/text.h"

namespace {

using cli::BlankRow;
using cli::Format;

std::string U(const char* gbk) { return text::GbkToUtf8(gbk); }

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) out.push_back(line);
  return out;
}

// The display column at which `needle` first starts in `line`.
int ColumnOf(const std::string& line, const std::string& needle) {
  const std::size_t at = line.find(needle);
  if (at == std::string::npos) return -1;
  return cli::DisplayWidth(line.substr(0, at));
}

TEST(CliOutput, DisplayWidthCountsWideCharactersTwice) {
  EXPECT_EQ(cli::DisplayWidth("abc"), 3);
  EXPECT_EQ(cli::DisplayWidth(U("上模座")), 6);
  EXPECT_EQ(cli::DisplayWidth(U("Φ10.0xH60.0")), 11);
  EXPECT_EQ(cli::DisplayWidth(U("（全角）")), 8);
  EXPECT_EQ(cli::DisplayWidth("e\xCC\x81"), 1) << "a combining accent takes no column";
  // Broken UTF-8 never reads past the end and counts each bad byte once.
  EXPECT_EQ(cli::DisplayWidth("\xE4\xB8"), 2);
  EXPECT_EQ(cli::DisplayWidth(std::string("\xE4") + "ab"), 3);
}

std::vector<BlankRow> SampleRows() {
  return {
      {10, U("上模座"), "UB-", "45#", U("调质HRC28-32"), "400.0x250.0x45.0", "35.3", "33.486",
       U("毛料订购"), U("CNC开粗,热处理,磨床"), ""},
      {90, U("冲孔冲头"), "PU-", "", "", U("Φ10.0xH60.0"), "0.0", "0.037", "", "", "say \"x\""}};
}

TEST(CliOutput, TableColumnsLineUpWhateverTheCharacters) {
  const auto lines = Lines(cli::FormatBlanks(SampleRows(), Format::kTable));
  ASSERT_EQ(lines.size(), 3u);
  // The heading and both rows start each column at the same display column;
  // numbers are right-aligned under their heading.
  EXPECT_EQ(ColumnOf(lines[0], U("名称")), ColumnOf(lines[1], U("上模座")));
  EXPECT_EQ(ColumnOf(lines[1], U("上模座")), ColumnOf(lines[2], U("冲孔冲头")));
  EXPECT_EQ(ColumnOf(lines[1], "400.0x"), ColumnOf(lines[2], U("Φ10.0")));
  EXPECT_EQ(ColumnOf(lines[0], U("规格")), ColumnOf(lines[2], U("Φ10.0")));
  const int weight_end = ColumnOf(lines[0], U("重量(KG)")) + 8;
  EXPECT_EQ(ColumnOf(lines[1], "35.3") + 4, weight_end);
  EXPECT_EQ(ColumnOf(lines[2], " 0.0 ") + 4, weight_end);
  EXPECT_EQ(lines[1].substr(0, 4), "  10");
  for (const auto& l : lines) EXPECT_NE(l.back(), ' ') << "no trailing blanks";
  // An empty list is the heading alone.
  EXPECT_EQ(Lines(cli::FormatBlanks({}, Format::kTable)).size(), 1u);
}

TEST(CliOutput, CsvAndJsonCarryEveryColumn) {
  const std::string csv = cli::FormatBlanks(SampleRows(), Format::kCsv);
  const auto lines = Lines(csv);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0],
            U("图层,名称,代号,材质,热处理,规格,重量(KG),净重(KG),订购方式,制造流程,备注"));
  EXPECT_EQ(lines[1], "10," + U("上模座") + ",UB-,45#," + U("调质HRC28-32") +
                          ",400.0x250.0x45.0,35.3,33.486," + U("毛料订购") + ",\"" +
                          U("CNC开粗,热处理,磨床") + "\",");
  EXPECT_EQ(lines[2], "90," + U("冲孔冲头") + ",PU-,,," + U("Φ10.0xH60.0") +
                          ",0.0,0.037,,,\"say \"\"x\"\"\"");
  const std::string json = cli::FormatBlanks(SampleRows(), Format::kJson);
  EXPECT_NE(json.find("{\"layer\": 90, \"name\": \"" + U("冲孔冲头") + "\""), std::string::npos);
  EXPECT_NE(json.find("\"remark\": \"say \\\"x\\\"\"}"), std::string::npos);
  EXPECT_EQ(cli::FormatBlanks({}, Format::kJson), "[]\n");
  EXPECT_EQ(cli::CsvField("two\nlines"), "\"two\nlines\"");
  EXPECT_EQ(cli::JsonString("a\\b\n\t\x01"), "\"a\\\\b\\n\\t\\u0001\"");
}

TEST(CliArgs, OptionsValuesAndPositionals) {
  const std::vector<cli::OptionSpec> spec = {
      {"config", 0, true}, {"mode", 0, true}, {"verbose", 'v', false}, {"help", 'h', false}};
  auto p = cli::ParseArgs({"a.step", "--config", "cfg", "--mode=exact", "-v"}, spec);
  EXPECT_EQ(p.positional, std::vector<std::string>{"a.step"});
  EXPECT_EQ(p.values.at("config"), "cfg");
  EXPECT_EQ(p.values.at("mode"), "exact");
  EXPECT_TRUE(p.flags.count("verbose"));
  p = cli::ParseArgs({"--", "--mode", "-"}, spec);
  EXPECT_EQ(p.positional, (std::vector<std::string>{"--mode", "-"}));
  EXPECT_THROW(cli::ParseArgs({"-vh"}, spec), cli::UsageError);
  EXPECT_THROW(cli::ParseArgs({"--config"}, spec), cli::UsageError);
}

TEST(CliProgress, BarFillsWithTheWorkDone) {
  EXPECT_EQ(cli::ProgressLine("blanks", 1, 4, 8), "blanks [##......] 1/4");
  EXPECT_EQ(cli::ProgressLine("blanks", 9, 4, 8), "blanks [########] 4/4");
  EXPECT_EQ(cli::ProgressLine("blanks", 0, 0, 8), "blanks [########] 0/0");
}

}  // namespace
