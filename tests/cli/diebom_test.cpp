// The diebom program as a user runs it: exit codes, messages, the blank list
// of the sample die against what its generator meant, formats, saving and the
// second run, the sample command. Every run works on copies in a scratch
// folder.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "config/csv.h"
#include "host/memory/memory_host.h"
#include "host/memory/part_file.h"
#include "host/memory/shape.h"
#include "host/text.h"
#include "samples/sample_die.h"
#include "tests/cli/run_tool.h"

namespace {

using cli_test::Quote;
using cli_test::ReadAll;
using cli_test::Result;
using DiebomTest = cli_test::ToolTest;
namespace fs = std::filesystem;

int Lines(const std::string& s) { return static_cast<int>(std::count(s.begin(), s.end(), '\n')); }

// One line on standard error that starts with the tool's name.
void ExpectOneErrorLine(const Result& r, const std::string& part) {
  EXPECT_EQ(Lines(r.err), 1) << r.err;
  EXPECT_EQ(r.err.rfind("diebom", 0), 0u) << r.err;
  EXPECT_NE(r.err.find(part), std::string::npos) << r.err;
}

// The rows of the blank list (CSV), in GBK, read by the configuration's
// table reader.
std::vector<std::vector<std::string>> Rows(const Result& r) {
  const config::CsvTable table = config::ParseCsv(r.out, "blank list");
  EXPECT_EQ(table.headings.size(), 11u);
  return table.rows;
}

TEST_F(DiebomTest, HelpAndVersion) {
  Result r = Diebom({"--version"});
  EXPECT_EQ(r.code, 0);
  EXPECT_EQ(r.out, "diebom " DIEBOM_VERSION "\n");
  r = Diebom({"--help"});
  EXPECT_EQ(r.code, 0);
  EXPECT_NE(r.out.find("blanks PART"), std::string::npos) << r.out;
  r = Diebom({"blanks", "--help"});
  EXPECT_EQ(r.code, 0);
  EXPECT_EQ(r.out.rfind("Usage: diebom blanks", 0), 0u) << r.out;
  EXPECT_EQ(Diebom({"help", "blanks"}).out, r.out);
}

// Bad usage exits with 2 and points to the help; a job that fails exits with 1.
TEST_F(DiebomTest, BadUsageAndFailedJobsGiveOneErrorLine) {
  fs::create_directories(dir_ / "empty_config");
  fs::create_directories(dir_ / "folder.xbf");
  fs::create_directories(dir_ / "no_layers" / "config");
  for (const char* f : {"config.csv", "material_bom_config.csv", "bom_head_config.csv"})
    std::ofstream(dir_ / "no_layers" / "config" / f) << "a\n1\n";
  std::ofstream(dir_ / "a_file") << "x";

  const std::vector<std::tuple<std::vector<std::string>, int, std::string>> cases = {
      {{}, 2, "no command"},
      {{"frobnicate"}, 2, "unknown command 'frobnicate'"},
      {{"--frobnicate"}, 2, "unknown option '--frobnicate'"},
      {{"blanks"}, 2, "no PART"},
      {{"blanks", P("die.xbf"), P("die.step")}, 2, "one PART only"},
      {{"blanks", P("die.xbf"), "--mode", "round"}, 2, "--mode must be rounded or exact"},
      {{"blanks", P("die.xbf"), "--format=xml"}, 2, "--format must be table, csv or json"},
      {{"blanks", P("die.xbf"), "--save="}, 2, "--save needs a file name"},
      {{"blanks", P("die.xbf"), "--verbose=1"}, 2, "takes no value"},
      {{"blanks", P("die.xbf"), "--save", P("die.xbf")}, 2, "would replace the model"},
      {{"blanks", P("die.step"), "--save", P("die.step")}, 2, "ends in \".xbf\""},
      {{"sample"}, 2, "no OUTDIR"},
      {{"blanks", P("missing.step")}, 1, "does not exist"},
      {{"blanks", P("die.xbf"), "--config", P("no_such_config")}, 1, "does not exist"},
      {{"blanks", P("die.xbf"), "--config", P("empty_config")}, 1, text::GbkToUtf8("不存在")},
      {{"blanks", P("die.xbf"), "--config", P("no_layers")}, 1, "no template layers"},
      {{"blanks", P("die.xbf"), "--save", P("no/such/folder/out.xbf")}, 1, "no such folder"},
      {{"blanks", P("die.xbf"), "--save", P("folder.xbf")}, 1, "it is a folder"},
      {{"sample", P("a_file")}, 1, "is a file, not a folder"},
      {{"sample", dir_.string()}, 1, "is not empty"},
  };
  for (const auto& [args, code, message] : cases) {
    const Result r = Diebom(args);
    SCOPED_TRACE(message);
    EXPECT_EQ(r.code, code);
    EXPECT_TRUE(r.out.empty()) << r.out;
    ExpectOneErrorLine(r, message);
    EXPECT_EQ(r.err.find("--help") != std::string::npos, code == 2) << "points to the help";
  }
  EXPECT_FALSE(fs::exists(dir_ / "no")) << "nothing written beside the inputs";

  // A layer work file naming a table that is not there says so.
  const fs::path config = dir_ / "config";
  fs::copy(DIEBOM_SAMPLE_CONFIG, config, fs::copy_options::recursive);
  std::ofstream(config / "config" / "TK" / "Layerwrk.txt") << "CURRENT_LAYER_FILE=gone.csv\n";
  Result r = Diebom({"blanks", P("die.xbf"), "--config", config.string()});
  EXPECT_EQ(r.code, 1);
  ExpectOneErrorLine(r, "config/TK/gone.csv named in config/TK/Layerwrk.txt does not exist");
  EXPECT_EQ(r.err.find('\\'), std::string::npos) << "one kind of separator: " << r.err;

  // Output that cannot be written: a full disk, a closed standard output.
  for (const char* out : {"/dev/full", "&-"}) {
    r = Diebom({"blanks", P("die.xbf")}, std::string("sh -c 'eval \"$1\" >") + out + "' sh");
    EXPECT_EQ(r.code, 1) << out;
    EXPECT_NE(r.err.find("cannot write the list to standard output"), std::string::npos) << r.err;
  }
}

// A model from elsewhere: solids on layer 1 and 7, a sheet, a body far too
// small to measure. Nothing is listed without a word, and nothing is "nan".
TEST_F(DiebomTest, ModelOffTheTemplateLayers) {
  {
    memory::MemoryHost h;
    h.AddBody(memory::Shape::Box(100, 50, 20), 1, 87, "plate");
    h.AddBody(memory::Shape::Cylinder(10, 40), 7, 87, "pin");
    h.AddBody(memory::Shape::Sheet(30, 30), 1, 87, "skin");
    memory::SaveStep(h, P("foreign.step"));
  }
  Result r = Diebom({"blanks", P("foreign.step"), "--format", "csv"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(Rows(r).size(), 0u);
  EXPECT_NE(r.err.find("2 solid bodies lie on layers that are not template layers (layer 1: 1, "
                       "layer 7: 1) and are not listed; --all-layers lists them\n"),
            std::string::npos)
      << r.err;
  EXPECT_NE(r.err.find("1 sheet of the model is left out"), std::string::npos) << r.err;

  r = Diebom({"blanks", P("foreign.step"), "--format", "csv", "--all-layers"});
  ASSERT_EQ(r.code, 0) << r.err;
  const auto rows = Rows(r);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0][0] + "|" + rows[0][1] + "|" + rows[0][2] + "|" + rows[0][5],
            "1|||100.0x50.0x20.0");
  EXPECT_EQ(rows[1][0], "7");
  EXPECT_EQ(r.err.find("not template layers"), std::string::npos) << r.err;
  // Colour 87 has no row in the colour table: said, with the colour.
  EXPECT_NE(r.err.find("2 bodies have no material"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("(colour 87: 2)"), std::string::npos) << r.err;

  {
    memory::MemoryHost h;
    h.AddBody(memory::Shape::Box(0.002, 0.001, 0.0005), 10, 87, "speck");
    memory::SaveStep(h, P("tiny.step"));
  }
  r = Diebom({"blanks", P("tiny.step"), "--format", "csv"});
  EXPECT_EQ((r.out + r.err).find("nan"), std::string::npos) << r.out << r.err;
  EXPECT_NE(r.err.find(r.code ? "cannot be measured" : "is the length unit"), std::string::npos)
      << r.err;
}

// A configuration that would give a BOM wrong without a word is warned of.
TEST_F(DiebomTest, WarningsForAConfigurationThatGivesAWrongBom) {
  const fs::path config = dir_ / "config";
  fs::copy(DIEBOM_SAMPLE_CONFIG, config, fs::copy_options::recursive);
  const fs::path set = config / "config" / text::GbkToUtf8("级进模");
  std::ofstream(set / "material_bom_config.csv", std::ios::trunc);  // emptied
  fs::remove(set / "maching_process_bom.csv");
  fs::remove(config / "config" / "TK" / "ColorConvert.csv");
  const Result r = Diebom({"blanks", P("die.xbf"), "--config", config.string(), "--format=csv"});
  ASSERT_EQ(r.code, 0) << r.err;
  for (const char* expected :
       {"material_bom_config.csv is empty: every weight is worked out with the density 1.0",
        "TK/ColorConvert.csv does not exist: no body gets a material",
        "maching_process_bom.csv does not exist: net weights are 0"})
    EXPECT_NE(r.err.find(expected), std::string::npos) << expected << "\n" << r.err;
  EXPECT_EQ(r.err.find('\\'), std::string::npos) << r.err;
}

TEST_F(DiebomTest, BlankListOfTheSampleDieIsWhatItsGeneratorMeant) {
  memory::MemoryHost host;
  // layer, material name -> the blanks meant, in body order.
  std::map<std::pair<int, std::string>, std::vector<std::string>> expected;
  for (const auto& b : samples::BuildSampleDie(host))
    if (!b.spec.empty()) expected[{b.layer, b.material_name}].push_back(b.spec);

  for (const char* mode : {"rounded", "exact"}) {
    SCOPED_TRACE(mode);
    const Result r = Diebom({"blanks", P("die.xbf"), "--format", "csv", "--mode", mode});
    ASSERT_EQ(r.code, 0) << r.err;
    // No progress bar off a terminal; the strip and the part are not plates.
    EXPECT_EQ(r.err,
              "diebom blanks: 2 solid bodies lie on layers that are not template layers (layer "
              "200: 1, layer 210: 1) and are not listed; --all-layers lists them\n");
    const auto rows = Rows(r);
    std::map<std::pair<int, std::string>, std::vector<std::string>> got;
    std::map<std::string, std::vector<std::string>> by_name;
    std::set<std::string> inserts;  // material, heat treatment, weights
    int last_layer = 0;
    for (const auto& row : rows) {
      const int layer = std::stoi(row[0]);
      EXPECT_GE(layer, last_layer) << "listed layer by layer";
      last_layer = layer;
      got[{layer, row[1]}].push_back(row[5]);
      by_name[row[1]] = row;
      if (row[1] == "凹模入子") inserts.insert(row[3] + "|" + row[4] + "|" + row[6] + "|" + row[7]);
    }
    EXPECT_EQ(got, expected);
    // The turned block's code; identical inserts alike, the one in the
    // changed-body colour keeping the material it carries; weights from the
    // density 7.85 (300 x 180 x 30 mm is 12.7 kg); the remark of the parallels.
    EXPECT_EQ(by_name["斜置挡块"][2], "ST-");
    ASSERT_EQ(inserts.size(), 1u);
    EXPECT_EQ(inserts.begin()->rfind("DC53|真空淬火HRC60-62|", 0), 0u) << *inserts.begin();
    EXPECT_EQ(by_name["下模板"][3] + "|" + by_name["下模板"][6], "SKD11|12.7");
    EXPECT_EQ(by_name["上垫脚"][10], "厚度(40.0)等高");
  }
}

TEST_F(DiebomTest, FormatsAgree) {
  const Result table = Diebom({"blanks", P("die.xbf")});
  const Result csv = Diebom({"blanks", P("die.xbf"), "--format=csv"});
  const Result json = Diebom({"blanks", P("die.xbf"), "--format", "json"});
  ASSERT_EQ(table.code + csv.code + json.code, 0);
  EXPECT_EQ(Lines(table.out), Lines(csv.out));
  EXPECT_NE(table.out.find(text::GbkToUtf8("斜置挡块")), std::string::npos);
  // An independent JSON reader takes the list, with as many entries as the CSV has rows.
  std::ofstream(dir_ / "list.json", std::ios::binary) << json.out;
  const std::string check =
      "/usr/bin/python3 -c 'import json,sys; d=json.load(open(sys.argv[1], "
      "encoding=\"utf-8\")); print(len(d), d[0][\"layer\"], d[0][\"spec\"])' " +
      Quote(P("list.json")) + " > " + Quote(P("py.txt"));
  ASSERT_EQ(std::system(check.c_str()), 0);
  EXPECT_EQ(ReadAll(dir_ / "py.txt"),
            std::to_string(Lines(csv.out) - 1) + " 10 400.0x250.0x45.0\n");
}

TEST_F(DiebomTest, SavedPartFileTakesTheShortPathAndGivesTheSameList) {
  const Result first =
      Diebom({"blanks", P("die.step"), "-v", "--format=csv", "--save", P("saved.xbf")});
  ASSERT_EQ(first.code, 0) << first.err;
  EXPECT_NE(first.err.find("30 computed, 0 read back"), std::string::npos) << first.err;
  const Result second = Diebom({"blanks", P("saved.xbf"), "-v", "--format=csv"});
  ASSERT_EQ(second.code, 0) << second.err;
  EXPECT_NE(second.err.find("0 computed, 30 read back"), std::string::npos) << second.err;
  EXPECT_EQ(second.out, first.out);
  // In exact mode the stored blanks are read back as they are.
  EXPECT_EQ(Diebom({"blanks", P("saved.xbf"), "--mode", "exact", "--format=csv"}).out, first.out);

  // The saved part keeps what the run set on the bodies, and the blank
  // coordinate systems on layer 256.
  memory::MemoryHost h;
  memory::OpenPartFile(h, P("saved.xbf"));
  int coded = 0;
  for (host::Tag b : h.bodies().PartBodies(h.session().WorkPart()))
    coded += h.attributes().Has(b, "材料代号") && h.attributes().Has(b, "材料规格");
  EXPECT_EQ(coded, 30);
  EXPECT_GE(h.layers().ObjectsOnLayer(256).size(), 1u);

  // A STEP file carries no attributes: names come from the layer table and
  // round parts are not marked, but every plate has the blank the sample's
  // part file gives.
  const auto a = Rows(first), b = Rows(Diebom({"blanks", P("die.xbf"), "--format", "csv"}));
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    const bool round = b[i][5].find("Φ") != std::string::npos;
    EXPECT_EQ(a[i][0] + " " + (round ? "" : a[i][5]), b[i][0] + " " + (round ? "" : b[i][5]));
  }
}

TEST_F(DiebomTest, AnInterruptedRunLeavesNothingBehind) {
  // Interrupted at whatever point it has reached, or not at all: its
  // temporary folder and the file it saves are never left half-made.
  fs::create_directories(dir_ / "tmp");
  for (const char* after : {"0.05", "0.3", "1"}) {
    Diebom({"blanks", P("die.step"), "--save", P("out.xbf")},
           "TMPDIR=" + Quote(P("tmp")) + " timeout -s INT " + after + " sh -c");
    EXPECT_TRUE(fs::is_empty(dir_ / "tmp")) << after;
    for (const auto& e : fs::directory_iterator(dir_))
      EXPECT_EQ(e.path().filename().string().find(".saving"), std::string::npos) << after;
  }
}

TEST_F(DiebomTest, ProgressBarOnATerminal) {
  // `script` gives the tool a terminal; the bar is drawn and wiped.
  const Result r = Diebom({"blanks", P("die.xbf")}, "script -qe /dev/null -c");
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.out.find("blanks [###"), std::string::npos);
  EXPECT_NE(r.out.find("30/30"), std::string::npos);
  EXPECT_NE(r.out.find("\r\033[K"), std::string::npos);
}

TEST_F(DiebomTest, SampleCommandWritesADieToEdit) {
  const fs::path out = dir_ / text::GbkToUtf8("样例");
  const Result r = Diebom({"sample", out.string()});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_FALSE(fs::exists(out / "config" / "templates-src"));
  // Its part and configuration give the list of the shipped ones.
  const Result own = Diebom({"blanks", (out / "sample_die.xbf").string(), "--config",
                             (out / "config").string(), "--format=csv"});
  ASSERT_EQ(own.code, 0) << own.err;
  EXPECT_EQ(own.out, Diebom({"blanks", P("die.xbf"), "--format=csv"}).out);
  EXPECT_EQ(Diebom({"sample", out.string()}).code, 1) << "not over a die without --force";
  EXPECT_EQ(Diebom({"sample", out.string(), "--force"}).code, 0);
}

}  // namespace
