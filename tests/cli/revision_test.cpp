// Following a revision of the sample die with the tool, as a designer does:
// the BOM saved once, the die revised with real solids (one insert moved, a
// hole added to a plate, two punches added, a guide rail removed) and written
// as STEP (attributes lost) and as a part file, then `diebom bom --previous
// --delta`, `diebom diff` and `diebom parts --previous`; the workbooks read
// back by xlrd. And previous revisions that cannot be used.
#include <gtest/gtest.h>

#include <map>

#include "config/csv.h"
#include "host/memory/part_file.h"
#include "host/text.h"
#include "tests/cli/run_tool.h"

namespace {

namespace fs = std::filesystem;
using cli_test::ReadAll;
using cli_test::Result;
using host::Tag;

std::string U8(const char* gbk) { return text::GbkToUtf8(gbk); }

// CSV text (UTF-8) as rows of GBK cells, the heading row left out.
std::vector<std::vector<std::string>> CsvRows(const std::string& utf8) {
  return config::ParseCsv(text::Utf8ToGbk(utf8), "output").rows;
}

// The material tree printed with --format csv, by code: its top-level rows'
// columns 1 to 19 (GBK), the modification time left out (the row's place in
// the tree is the sequence number of column 0).
std::map<std::string, std::vector<std::string>> TopRows(const std::string& csv) {
  std::map<std::string, std::vector<std::string>> out;
  for (std::vector<std::string> row : CsvRows(csv)) {
    if (row[0] != "1") continue;
    row.erase(row.begin(), row.begin() + 2);
    row[13] = "";
    out[row[1]] = row;
  }
  return out;
}

// The body rows (from sheet row 6, those with a running number) of a
// workbook's first sheet as xlrd reads them, cells joined by "|" (UTF-8).
std::vector<std::string> SheetRows(const fs::path& dir, const fs::path& xls) {
  const fs::path script = dir / "rows.py", out = dir / "rows.txt";
  std::ofstream(script) << "import sys, xlrd\n"
                           "s = xlrd.open_workbook(sys.argv[1]).sheet_by_index(0)\n"
                           "with open(sys.argv[2], 'w', encoding='utf-8') as f:\n"
                           "    for r in range(6, s.nrows):\n"
                           "        cells = [str(s.cell_value(r, c)) for c in range(21)]\n"
                           "        if cells[0]: f.write('|'.join(cells) + '\\n')\n";
  const std::string command = "/usr/bin/python3 " + cli_test::Quote(script.string()) + " " +
                              cli_test::Quote(xls.string()) + " " + cli_test::Quote(out.string());
  EXPECT_EQ(std::system(command.c_str()), 0) << xls;
  std::vector<std::string> rows;
  std::istringstream in(ReadAll(out));
  for (std::string line; std::getline(in, line);) rows.push_back(line);
  return rows;
}

// The body of `host` on `layer` whose box starts at (x, y).
Tag BodyAt(memory::MemoryHost& host, int layer, double x, double y) {
  for (Tag b : host.bodies().PartBodies(host.session().WorkPart())) {
    if (host.objects().Layer(b) != layer) continue;
    const host::ExactBox box = host.bodies().AskBoundingBoxExact(b, host.csys().AskWcs());
    if (std::abs(box.corner.X - x) < 1e-6 && std::abs(box.corner.Y - y) < 1e-6) return b;
  }
  ADD_FAILURE() << "no body on layer " << layer << " at " << x << ", " << y;
  return host::kNullTag;
}

class RevisionTest : public cli_test::ToolTest {
 protected:
  Result Bom(const std::string& part, const std::string& out, std::vector<std::string> more = {}) {
    std::vector<std::string> args = {"bom",   part,   "--header", DIEBOM_SAMPLE_HEADER,
                                     "--out", P(out), "--format", "csv"};
    fs::create_directories(dir_ / out);
    args.insert(args.end(), more.begin(), more.end());
    return Diebom(args);
  }

  // The BOM of the sample die saved as old.xbf; then the revision written as
  // new.step and new.xbf.
  void MakeRevision() {
    const Result first = Bom(P("die.xbf"), "out", {"--save", P("old.xbf")});
    ASSERT_EQ(first.code, 0) << first.err;
    old_rows_ = TopRows(first.out);

    memory::MemoryHost h;
    memory::OpenPartFile(h, P("old.xbf"));
    // The second of the two identical inserts, moved 250 mm along -X.
    const Tag insert = BodyAt(h, 80, 140, 110);
    h.SetBodyShape(insert, h.BodyShape(insert).Translated({-250, 0, 0}));
    // A new hole in the lower backing plate.
    const Tag backing = BodyAt(h, 60, 50, 35);
    h.SetBodyShape(backing, h.BodyShape(backing).Drilled({200, 100, 111}, {0, 0, -1}, 10, 22));
    // Two round punches beside the plates.
    for (double x : {20.0, 380.0})
      h.AddBody(memory::Shape::Cylinder(5, 60, {x, 125, 148}), 90, 130, "冲孔冲头");
    // The second guide rail goes.
    h.objects().Delete(BodyAt(h, 140, 50, 145));
    h.SetPartLeaf("new");
    memory::SaveStep(h, P("new.step"));
    memory::SavePartFile(h, P("new.xbf"));
  }

  std::map<std::string, std::vector<std::string>> old_rows_;
};

TEST_F(RevisionTest, ARevisionKeepsEveryCodeNumbersTheNewPunchesAndListsWhatToBuy) {
  MakeRevision();
  ASSERT_FALSE(old_rows_.empty());
  ASSERT_EQ(old_rows_.count("GP-02"), 1u);
  ASSERT_EQ(old_rows_.count("PU-07"), 1u);
  ASSERT_EQ(old_rows_.count("PU-08"), 0u);

  for (const std::string revision : {"new.step", "new.xbf"}) {
    SCOPED_TRACE(revision);
    const std::string out = "out-" + revision;
    const Result r =
        Bom(P(revision), out, {"--previous", P("old.xbf"), "--delta", "--save", P("rev.xbf")});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.err.find("unchanged 58, moved 1, changed 1, new 2, removed 1"), std::string::npos)
        << r.err;
    EXPECT_NE(r.err.find("removed: GP-02 " + U8("导料板") + " (layer 140) 300.0x20.0x8.0"),
              std::string::npos)
        << r.err;

    // Every code of the previous BOM but the removed rail's, with its values;
    // the changed plate's net weight is less by its new hole.
    std::map<std::string, std::vector<std::string>> rows = TopRows(r.out);
    for (const auto& [code, row] : old_rows_) {
      if (code == "GP-02") {
        EXPECT_EQ(rows.count(code), 0u);
        continue;
      }
      ASSERT_EQ(rows.count(code), 1u) << code;
      std::vector<std::string> expected = row;
      if (code == "LP-01") expected[14] = expected[17] = "8.175";
      EXPECT_EQ(rows[code], expected) << code;
    }
    // The changed plate keeps its code; its size was measured again.
    EXPECT_EQ(rows["LP-01"][3], "300.0x180.0x20.0");
    // The punches: "新增", the next numbers of their layer.
    for (const char* code : {"PU-08", "PU-09"}) {
      ASSERT_EQ(rows.count(code), 1u) << code;
      EXPECT_EQ(rows[code][0] + "|" + rows[code][3] + "|" + rows[code][12],
                "冲头|10.0x10.0x60.0|新增");
    }
    EXPECT_EQ(rows.size(), old_rows_.size() + 1);

    // The delta workbook beside the full one holds exactly the punches' rows,
    // as the full workbook has them but for the running number.
    const fs::path folder = dir_ / out / "new";
    const std::vector<std::string> full = SheetRows(dir_, folder / (U8("new材料BOM") + ".xls"));
    const std::vector<std::string> delta = SheetRows(dir_, folder / (U8("new补料单") + ".xls"));
    ASSERT_EQ(delta.size(), 2u);
    std::vector<std::string> expected;
    for (const std::string& line : full)
      if (line.find("|PU-08|") != std::string::npos || line.find("|PU-09|") != std::string::npos)
        expected.push_back(line.substr(line.find('|')));
    ASSERT_EQ(expected.size(), 2u);
    EXPECT_EQ(delta[0], "1" + expected[0]);
    EXPECT_EQ(delta[1], "2" + expected[1]);
    EXPECT_EQ(delta[0].find(U8("1|冲头|PU-08|SKH-51|10.0|x|10.0|x|60.0|1|")), 0u) << delta[0];
    EXPECT_EQ(delta[1].find(U8("2|冲头|PU-09|SKH-51|10.0|x|10.0|x|60.0|1|")), 0u) << delta[1];

    // The changed plate carries the size it was bought at, which marks its row.
    memory::MemoryHost saved;
    memory::OpenPartFile(saved, P("rev.xbf"));
    const Tag backing = BodyAt(saved, 60, 50, 35);
    EXPECT_EQ(saved.attributes().GetString(backing, "材料代号"), "LP-01");
    EXPECT_EQ(saved.attributes().GetString(backing, "改模前规格"), "300.0x180.0x20.0");
  }

  // diff: every body with its status, and the totals.
  const Result d = Diebom({"diff", P("old.xbf"), P("new.step"), "--format", "csv"});
  ASSERT_EQ(d.code, 0) << d.err;
  std::map<std::string, std::vector<std::string>> by_code;
  std::map<std::string, int> statuses;
  for (const std::vector<std::string>& row : CsvRows(d.out)) {
    if (row[0] == "total") continue;
    ++statuses[row[0]];
    if (!row[2].empty()) by_code[row[2]] = row;
  }
  EXPECT_EQ(statuses,
            (std::map<std::string, int>{
                {"unchanged", 58}, {"moved", 1}, {"changed", 1}, {"new", 2}, {"removed", 1}}));
  EXPECT_EQ(by_code["GP-02"], (std::vector<std::string>{"removed", "140", "GP-02", "导料板",
                                                        "300.0x20.0x8.0", "", "0.4", ""}));
  EXPECT_EQ(by_code["LP-01"],
            (std::vector<std::string>{"changed", "60", "LP-01", "下垫板", "300.0x180.0x20.0",
                                      "300.0x180.0x20.0", "8.5", "8.5"}));
  EXPECT_NE(d.out.find("total,new,2\n"), std::string::npos) << d.out;
  const Result json = Diebom({"diff", P("old.xbf"), P("new.step"), "--format", "json"});
  EXPECT_NE(json.out.find("\"totals\": {\"unchanged\": 58, \"moved\": 1, \"changed\": 1, "
                          "\"new\": 2, \"removed\": 1}"),
            std::string::npos)
      << json.out;
}

TEST_F(RevisionTest, TheSameModelAsItsOwnPreviousRevisionChangesNothing) {
  const Result first = Bom(P("die.xbf"), "out", {"--save", P("old.xbf")});
  ASSERT_EQ(first.code, 0) << first.err;
  const Result plain = Bom(P("old.xbf"), "plain");
  const Result same = Bom(P("old.xbf"), "same", {"--previous", P("old.xbf"), "--delta"});
  ASSERT_EQ(same.code, 0) << same.err;
  EXPECT_EQ(TopRows(same.out), TopRows(plain.out));
  EXPECT_NE(same.err.find("unchanged 61, moved 0, changed 0, new 0, removed 0"), std::string::npos)
      << same.err;
  EXPECT_EQ(SheetRows(dir_, dir_ / "same" / "old" / (U8("old补料单") + ".xls")),
            std::vector<std::string>{});

  const Result d = Diebom({"diff", P("old.xbf"), P("old.xbf")});
  ASSERT_EQ(d.code, 0) << d.err;
  EXPECT_NE(d.out.find("unchanged 61, moved 0, changed 0, new 0, removed 0\n"), std::string::npos)
      << d.out;

  // Standard parts keep their numbers: the parts BOM of the STEP copy with
  // the previous revision lists the same groups as the part file's.
  const Result parts_old = Diebom({"parts", P("old.xbf"), "--out", P("out"), "--format", "csv",
                                   "--set", U8("客户名称=华锐"), "--set", U8("模具编号=PD-1"),
                                   "--set", U8("模具吨位=80T"), "--set", U8("设计担当=张伟")});
  ASSERT_EQ(parts_old.code, 0) << parts_old.err;
  const Result parts_new =
      Diebom({"parts", P("die.step"), "--previous", P("old.xbf"), "--out", P("out"), "--format",
              "csv", "--set", U8("客户名称=华锐"), "--set", U8("模具编号=PD-1"), "--set",
              U8("模具吨位=80T"), "--set", U8("设计担当=张伟")});
  ASSERT_EQ(parts_new.code, 0) << parts_new.err;
  EXPECT_EQ(CsvRows(parts_new.out), CsvRows(parts_old.out));
  EXPECT_GE(CsvRows(parts_new.out).size(), 8u);
}

TEST_F(RevisionTest, APreviousRevisionThatCannotBeUsedStopsTheJobBeforeAnythingIsWritten) {
  // A part file without a BOM: the STEP copy saved as a part file.
  {
    memory::MemoryHost h;
    memory::OpenStep(h, P("die.step"));
    memory::SavePartFile(h, P("bare.xbf"));
  }
  std::ofstream(P("notes.txt")) << "not a part\n";
  const std::pair<std::string, std::string> cases[] = {{P("die.step"), "is a STEP file"},
                                                       {P("bare.xbf"), "carries no BOM"},
                                                       {P("notes.txt"), "is not a part file"},
                                                       {P("missing.xbf"), "does not exist"}};
  for (const auto& [previous, why] : cases) {
    SCOPED_TRACE(previous);
    Result r = Bom(P("die.step"), "out", {"--previous", previous, "--delta", "--save", P("s.xbf")});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find(why), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("\n"), r.err.size() - 1) << "one line: " << r.err;
    r = Diebom({"diff", previous, P("die.step")});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find(why), std::string::npos) << r.err;
    r = Diebom({"parts", P("die.step"), "--previous", previous, "--out", P("out")});
    EXPECT_EQ(r.code, 1);
  }
  EXPECT_TRUE(fs::is_empty(dir_ / "out"));
  EXPECT_FALSE(fs::exists(dir_ / "s.xbf"));

  // Bad usage.
  EXPECT_EQ(Diebom({"bom", P("die.xbf"), "--delta"}).code, 2);
  EXPECT_EQ(Diebom({"bom", P("die.xbf"), "--keep-colours"}).code, 2);
  EXPECT_EQ(Diebom({"diff", P("die.xbf")}).code, 2);
  EXPECT_EQ(Diebom({"diff", P("die.xbf"), P("die.xbf"), P("die.xbf")}).code, 2);
  EXPECT_EQ(Diebom({"diff", P("die.xbf"), P("die.xbf"), "--format", "xml"}).code, 2);
}

TEST_F(RevisionTest, TwoIdenticalBodiesInOnePlaceAreBothListedAndOneMatched) {
  const Result first = Bom(P("die.xbf"), "out", {"--save", P("old.xbf")});
  ASSERT_EQ(first.code, 0) << first.err;
  memory::MemoryHost h;
  memory::OpenStep(h, P("die.step"));
  // A second stop pin made where the first stands.
  const Tag stop = BodyAt(h, 130, 10, 65);
  h.AddBody(memory::Shape::Cylinder(15, 60, {25, 80, 90}), 130, h.objects().Color(stop), "限位柱");
  memory::SaveStep(h, P("twice.step"));

  const Result d = Diebom({"diff", P("old.xbf"), P("twice.step"), "--format", "csv"});
  ASSERT_EQ(d.code, 0) << d.err;
  std::vector<std::string> stops;
  for (const std::vector<std::string>& row : CsvRows(d.out))
    if (row.size() > 3 && row[1] == "130") stops.push_back(row[0] + "|" + row[2]);
  EXPECT_EQ(stops,
            (std::vector<std::string>{"unchanged|ST-01", "unchanged|ST-02", "unchanged|ST-04",
                                      "unchanged|ST-05", "unchanged|ST-03", "new|"}));

  // The tool says so when it carries the BOM over.
  const Result r = Bom(P("twice.step"), "out", {"--previous", P("old.xbf")});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.err.find(U8("new: 限位柱 (layer 130) lies where an identical body lies")),
            std::string::npos)
      << r.err;
}

TEST_F(RevisionTest, OnlyAChangedBlankThatGrewIsBoughtAgain) {
  const Result first = Bom(P("die.xbf"), "out", {"--save", P("old.xbf")});
  ASSERT_EQ(first.code, 0) << first.err;
  memory::MemoryHost h;
  memory::OpenPartFile(h, P("old.xbf"));
  // The stripper 20 mm wider, the upper backing plate 10 mm shorter.
  const Tag stripper = BodyAt(h, 40, 50, 35);
  h.SetBodyShape(stripper,
                 h.BodyShape(stripper).Fuse(memory::Shape::Box(300, 20, 25, {50, 215, 149})));
  const Tag backing = BodyAt(h, 20, 50, 35);
  h.SetBodyShape(backing,
                 h.BodyShape(backing).Cut(memory::Shape::Box(12, 182, 17, {340, 34, 207})));
  h.SetPartLeaf("grown");
  memory::SaveStep(h, P("grown.step"));

  const Result r = Bom(P("grown.step"), "out", {"--previous", P("old.xbf"), "--delta"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.err.find("unchanged 59, moved 0, changed 2, new 0, removed 0"), std::string::npos)
      << r.err;
  const std::map<std::string, std::vector<std::string>> rows = TopRows(r.out);
  EXPECT_EQ(rows.at("SP-01")[3], "300.0x200.0x25.0");
  EXPECT_EQ(rows.at("UP-01")[3], "290.0x180.0x15.0");
  const fs::path folder = dir_ / "out" / "grown";
  const std::vector<std::string> delta = SheetRows(dir_, folder / (U8("grown补料单") + ".xls"));
  ASSERT_EQ(delta.size(), 1u);
  EXPECT_EQ(delta[0].find(U8("1|脱料板|SP-01|Cr12MoV|300.0|x|200.0|x|25.0|1|")), 0u) << delta[0];

  // A second delta of the same part takes the next free name.
  ASSERT_EQ(Bom(P("grown.step"), "out", {"--previous", P("old.xbf"), "--delta"}).code, 0);
  EXPECT_EQ(SheetRows(dir_, folder / (U8("grown补料单") + "-1.xls")), delta);

  const Result d = Diebom({"diff", P("old.xbf"), P("grown.step")});
  ASSERT_EQ(d.code, 0) << d.err;
  EXPECT_NE(d.out.find("300.0x180.0x25.0  300.0x200.0x25.0"), std::string::npos) << d.out;
  EXPECT_NE(d.out.find("300.0x180.0x15.0  290.0x180.0x15.0"), std::string::npos) << d.out;
}

}  // namespace
