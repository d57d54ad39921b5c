// The sample die and its generator: the die is what the sample configuration
// describes, its files open, the generator is repeatable and scales.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "host/memory/memory_host.h"
#include "host/memory/part_file.h"
#include "host/text.h"
#include "samples/sample_die.h"

namespace {

namespace fs = std::filesystem;
using host::Tag;

fs::path Fresh(const std::string& name) {
  const fs::path dir = fs::path(::testing::TempDir()) / ("sample_die_" + name);
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

// A column of a GBK CSV table of the sample configuration, read with a
// reader of its own (the sample tables have no quoted cells in these columns).
std::vector<std::string> Column(const fs::path& file, const std::string& heading) {
  std::ifstream in(file, std::ios::binary);
  std::vector<std::vector<std::string>> rows;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::vector<std::string> cells;
    std::stringstream ss(line);
    for (std::string cell; std::getline(ss, cell, ',');) cells.push_back(cell);
    rows.push_back(cells);
  }
  std::vector<std::string> out;
  if (rows.empty()) return out;
  const auto it = std::find(rows[0].begin(), rows[0].end(), heading);
  if (it == rows[0].end()) return out;
  const std::size_t c = static_cast<std::size_t>(it - rows[0].begin());
  for (std::size_t r = 1; r < rows.size(); ++r)
    if (c < rows[r].size() && !rows[r][c].empty()) out.push_back(rows[r][c]);
  return out;
}

std::set<int> Numbers(const std::vector<std::string>& cells) {
  std::set<int> out;
  for (const auto& c : cells) out.insert(std::atoi(c.c_str()));
  return out;
}

fs::path Tk() { return fs::path(DIEBOM_SAMPLE_CONFIG) / "config" / "TK"; }

std::vector<Tag> Bodies(memory::MemoryHost& h) {
  return h.bodies().PartBodies(h.session().WorkPart());
}

TEST(SampleDie, UsesTheLayersAndColoursOfTheSampleConfiguration) {
  const fs::path layer_table = Tk() / text::GbkToUtf8("连续模图层.csv");
  const std::set<int> layers = Numbers(Column(layer_table, "总图层"));
  const std::set<int> template_layers = Numbers(Column(layer_table, "模板图层"));
  const std::set<int> colors = Numbers(Column(Tk() / "ColorConvert.csv", "材质颜色标准"));
  const int changed = std::atoi(
      Column(fs::path(DIEBOM_SAMPLE_CONFIG) / "config" / text::GbkToUtf8("级进模") / "config.csv",
             "改模颜色")
          .at(0)
          .c_str());
  ASSERT_FALSE(template_layers.empty());
  ASSERT_EQ(changed, 186);

  memory::MemoryHost h;
  const auto meant = samples::BuildSampleDie(h);
  const auto bodies = Bodies(h);
  ASSERT_EQ(bodies.size(), meant.size());
  EXPECT_EQ(static_cast<int>(bodies.size()), samples::SampleDieBodyCount());
  EXPECT_GE(bodies.size(), 50u);
  EXPECT_LE(bodies.size(), 70u);

  std::set<int> used_layers;
  int standard = 0, on_template = 0, in_changed = 0, round = 0;
  for (std::size_t i = 0; i < bodies.size(); ++i) {
    const Tag b = bodies[i];
    SCOPED_TRACE(meant[i].name);
    EXPECT_TRUE(h.bodies().IsSolidBody(b));
    EXPECT_EQ(h.objects().Layer(b), meant[i].layer);
    EXPECT_EQ(h.objects().Color(b), meant[i].color);
    EXPECT_EQ(h.objects().Name(b), meant[i].name);
    EXPECT_TRUE(layers.count(meant[i].layer)) << "every body is on a layer of the table";
    used_layers.insert(meant[i].layer);
    auto& a = h.attributes();
    if (meant[i].standard) {
      ++standard;
      EXPECT_TRUE(a.Has(b, "PART_ATTR"));
      EXPECT_EQ(a.GetString(b, "名称"), meant[i].name);
      EXPECT_TRUE(a.Has(b, "类型"));
      EXPECT_FALSE(template_layers.count(meant[i].layer));
      EXPECT_TRUE(meant[i].spec.empty());
    } else if (template_layers.count(meant[i].layer)) {
      ++on_template;
      EXPECT_FALSE(a.Has(b, "PART_ATTR"));
      EXPECT_FALSE(meant[i].spec.empty());
      EXPECT_EQ(a.GetString(b, "转图标识"), "Y");
      if (meant[i].color == changed) {
        ++in_changed;
        EXPECT_EQ(a.GetString(b, "材料材质"), "DC53") << "a new body carries its material";
      } else {
        EXPECT_TRUE(colors.count(meant[i].color)) << "a colour of the colour table";
      }
      if (a.Has(b, "圆件")) {
        ++round;
        EXPECT_EQ(meant[i].spec.substr(0, 2), "Φ");
      }
    }
  }
  EXPECT_EQ(standard, 26);
  EXPECT_EQ(on_template, 30);
  EXPECT_EQ(in_changed, 1);
  EXPECT_EQ(round, 5);
  for (int l : template_layers) EXPECT_TRUE(used_layers.count(l)) << "layer " << l << " has bodies";
  EXPECT_TRUE(used_layers.count(200));
  EXPECT_TRUE(used_layers.count(210));
}

TEST(SampleDie, ShapesAreWhatTheBlanksSay) {
  memory::MemoryHost h;
  const auto meant = samples::BuildSampleDie(h);
  const auto bodies = Bodies(h);
  std::map<std::string, std::vector<Tag>> by_name;
  for (std::size_t i = 0; i < bodies.size(); ++i) by_name[meant[i].name].push_back(bodies[i]);

  // Plates and shoes carry holes: cylindrical faces whose normal points to the axis.
  for (const char* plate : {"下模座", "下模板", "上夹板", "脱料板", "上模座"}) {
    SCOPED_TRACE(plate);
    ASSERT_EQ(by_name[plate].size(), 1u);
    int holes = 0;
    for (Tag f : h.bodies().BodyFaces(by_name[plate][0])) {
      const host::FaceData d = h.bodies().AskFaceData(f);
      if (d.type == host::kCylindricalFace && d.norm_dir == -1) ++holes;
    }
    EXPECT_GE(holes, 8);
  }
  // Identical inserts: same volume and size, other places.
  const auto& inserts = by_name["凹模入子"];
  ASSERT_EQ(inserts.size(), 3u);
  const double v = h.bodies().Volume(inserts[0]);
  EXPECT_NEAR(v, 40 * 30 * 30 - std::acos(-1.0) * 5.1 * 5.1 * 30, 1e-3);
  for (Tag t : inserts) {
    EXPECT_NEAR(h.bodies().Volume(t), v, 1e-6);
    const auto box = h.bodies().AskBoundingBoxExact(t, host::kNullTag);
    EXPECT_NEAR(box.distances[0], 40, 1e-6);
    EXPECT_NEAR(box.distances[1], 30, 1e-6);
  }
  // The turned block is 40 x 16 x 20 but not along the world axes.
  ASSERT_EQ(by_name["斜置挡块"].size(), 1u);
  const Tag turned = by_name["斜置挡块"][0];
  EXPECT_NEAR(h.bodies().Volume(turned), 40 * 16 * 20, 1e-6);
  const auto box = h.bodies().AskBoundingBoxExact(turned, host::kNullTag);
  EXPECT_NEAR(box.distances[0], 40 * std::cos(M_PI / 6) + 16 * std::sin(M_PI / 6), 1e-6);
  EXPECT_NEAR(box.distances[2], 20, 1e-6);
  // Round punches are cylinders.
  for (Tag t : by_name["冲孔冲头"]) {
    const double r = h.bodies().AskBoundingBoxExact(t, host::kNullTag).distances[0] / 2;
    EXPECT_NEAR(h.bodies().Volume(t), std::acos(-1.0) * r * r * 60, 1e-6);
  }
}

TEST(SampleDie, ScaledModelsHaveExactlyTheBodiesAskedFor) {
  memory::MemoryHost h;
  const auto meant = samples::BuildSampleDie(h, 1000);
  const auto bodies = Bodies(h);
  ASSERT_EQ(bodies.size(), 1000u);
  ASSERT_EQ(meant.size(), 1000u);
  // Copies stand side by side: the first body of the second copy is the first
  // body moved 500 mm along X.
  const int n = samples::SampleDieBodyCount();
  const auto a = h.bodies().AskBoundingBoxExact(bodies[0], host::kNullTag);
  const auto b =
      h.bodies().AskBoundingBoxExact(bodies[static_cast<std::size_t>(n)], host::kNullTag);
  EXPECT_NEAR(b.corner.X - a.corner.X, 500, 1e-6);
  EXPECT_EQ(meant[static_cast<std::size_t>(n)].spec, meant[0].spec);
  EXPECT_EQ(h.attributes().List(bodies[static_cast<std::size_t>(n)]),
            h.attributes().List(bodies[0]));
  // A small model is the first bodies of the die.
  memory::MemoryHost small;
  EXPECT_EQ(samples::BuildSampleDie(small, 3).size(), 3u);
}

struct Summary {
  std::vector<std::string> rows;
  bool operator==(const Summary&) const = default;
};

// Names, layers, colours, attributes and sizes of every body.
Summary Summarise(memory::MemoryHost& h) {
  Summary s;
  for (Tag b : Bodies(h)) {
    std::string row =
        h.objects().Name(b) + text::Format("|%d|%d|%.6f|", h.objects().Layer(b),
                                           h.objects().Color(b), h.bodies().Volume(b));
    for (const auto& [t, v] : h.attributes().List(b)) row += t + "=" + v + ";";
    s.rows.push_back(row);
  }
  return s;
}

TEST(SampleDie, WrittenFilesOpenAndTheGeneratorRepeatsItself) {
  const fs::path one = Fresh("one"), two = Fresh("two");
  samples::WriteSampleDie(one.string(), "die");
  samples::WriteSampleDie(two.string(), "die");
  memory::MemoryHost built;
  samples::BuildSampleDie(built);

  memory::MemoryHost a, b, step;
  memory::OpenPartFile(a, (one / "die.xbf").string());
  memory::OpenPartFile(b, (two / "die.xbf").string());
  EXPECT_TRUE(Summarise(a) == Summarise(built)) << "the part file keeps everything";
  EXPECT_TRUE(Summarise(a) == Summarise(b)) << "the same die every time";
  EXPECT_EQ(a.session().PartLeaf(a.session().WorkPart()), "die");

  const memory::StepReport report = memory::OpenStep(step, (one / "die.step").string());
  EXPECT_EQ(report.bodies, samples::SampleDieBodyCount());
  EXPECT_TRUE(report.mapped.empty());
  const auto s = Bodies(step), p = Bodies(a);
  ASSERT_EQ(s.size(), p.size());
  for (std::size_t i = 0; i < s.size(); ++i) {
    EXPECT_EQ(step.objects().Layer(s[i]), a.objects().Layer(p[i]));
    EXPECT_EQ(step.objects().Color(s[i]), a.objects().Color(p[i]));
    EXPECT_EQ(step.objects().Name(s[i]), a.objects().Name(p[i]));
    EXPECT_NEAR(step.bodies().Volume(s[i]), a.bodies().Volume(p[i]),
                1e-6 * a.bodies().Volume(p[i]));
  }
  // The STEP header carries the fixed time stamp.
  std::ifstream in(one / "die.step");
  std::string head(400, '\0');
  in.read(head.data(), 400);
  EXPECT_NE(head.find(samples::kSampleTimeStamp), std::string::npos);
}

int RunGenerator(const std::string& args) {
  const int status =
      std::system((std::string("'") + GENERATE_DIE_BIN + "' " + args + " >/dev/null 2>&1").c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(SampleDie, GeneratorProgram) {
  const fs::path dir = Fresh("program");
  EXPECT_EQ(RunGenerator(""), 2);
  EXPECT_EQ(RunGenerator("'" + dir.string() + "' --bodies 0"), 2);
  EXPECT_EQ(RunGenerator("'" + dir.string() + "' --bodies x"), 2);
  EXPECT_EQ(RunGenerator("'" + dir.string() + "' --bodies"), 2);
  EXPECT_EQ(RunGenerator("'" + dir.string() + "' --what"), 2);
  EXPECT_EQ(RunGenerator("'" + dir.string() + "' --bodies 100"), 0);
  EXPECT_TRUE(fs::is_regular_file(dir / "die_100.step"));
  memory::MemoryHost h;
  memory::OpenPartFile(h, (dir / "die_100.xbf").string());
  EXPECT_EQ(Bodies(h).size(), 100u);
  std::ofstream(dir / "file") << "x";
  EXPECT_EQ(RunGenerator("'" + (dir / "file").string() + "'"), 1) << "a file where the folder goes";
}

}  // namespace
