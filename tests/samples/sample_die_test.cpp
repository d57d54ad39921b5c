// The sample die and its generator: the die is what the sample configuration
// describes, its files open, the generator is repeatable and scales.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "config/csv.h"
#include "host/memory/memory_host.h"
#include "host/memory/part_file.h"
#include "host/text.h"
#include "samples/sample_die.h"
#include "tests/support/scratch.h"

namespace {

namespace fs = std::filesystem;
using host::Tag;

fs::path Fresh(const std::string& name) {
  return test_support::ScratchFolder("sample_die_" + name);
}

// The numbers in a column of a table of the sample configuration.
std::set<int> Numbers(const fs::path& file, const std::string& heading) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  std::set<int> out;
  for (const auto& cell : config::ParseCsv(bytes.str(), file.string()).Column(heading))
    if (!cell.empty()) out.insert(std::atoi(cell.c_str()));
  return out;
}

fs::path Tk() { return fs::path(DIEBOM_SAMPLE_CONFIG) / "config" / "TK"; }

std::vector<Tag> Bodies(memory::MemoryHost& h) {
  return h.bodies().PartBodies(h.session().WorkPart());
}

TEST(SampleDie, UsesTheLayersAndColoursOfTheSampleConfiguration) {
  const fs::path layer_table = Tk() / text::GbkToUtf8("连续模图层.csv");
  const std::set<int> layers = Numbers(layer_table, "总图层");
  const std::set<int> template_layers = Numbers(layer_table, "模板图层");
  const std::set<int> colors = Numbers(Tk() / "ColorConvert.csv", "材质颜色标准");
  const int changed = 186;
  ASSERT_FALSE(template_layers.empty());
  ASSERT_EQ(Numbers(Tk().parent_path() / text::GbkToUtf8("级进模") / "config.csv", "改模颜色"),
            std::set<int>{changed});

  memory::MemoryHost h;
  const auto meant = samples::BuildSampleDie(h);
  const auto bodies = Bodies(h);
  ASSERT_EQ(bodies.size(), meant.size());
  EXPECT_EQ(static_cast<int>(bodies.size()), samples::SampleDieBodyCount());

  std::set<int> used_layers;
  int standard = 0, on_template = 0, in_changed = 0, round = 0, new_parts = 0;
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
      EXPECT_FALSE(template_layers.count(meant[i].layer));
      EXPECT_TRUE(meant[i].spec.empty());
      if (meant[i].color == changed) ++new_parts;
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
  EXPECT_EQ(standard, 29);
  EXPECT_EQ(new_parts, 3) << "standard parts added in the changed-body colour";
  EXPECT_EQ(on_template, 30);
  EXPECT_EQ(in_changed, 1);
  EXPECT_EQ(round, 5);
  for (int l : template_layers) EXPECT_TRUE(used_layers.count(l)) << "layer " << l << " has bodies";
  EXPECT_TRUE(used_layers.count(200));
  EXPECT_TRUE(used_layers.count(210));
}

TEST(SampleDie, PlatesAreDrilledAndTheBlockIsTurned) {
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
  // The turned block is 40 x 16 x 20 but not along the world axes.
  ASSERT_EQ(by_name["斜置挡块"].size(), 1u);
  const Tag turned = by_name["斜置挡块"][0];
  EXPECT_NEAR(h.bodies().Volume(turned), 40 * 16 * 20, 1e-6);
  const auto box = h.bodies().AskBoundingBoxExact(turned, host::kNullTag);
  EXPECT_NEAR(box.distances[0], 40 * std::cos(M_PI / 6) + 16 * std::sin(M_PI / 6), 1e-6);
  EXPECT_NEAR(box.distances[2], 20, 1e-6);
}

// Names, layers, colours, attributes and sizes of every body.
std::vector<std::string> Summarise(memory::MemoryHost& h) {
  std::vector<std::string> s;
  for (Tag b : Bodies(h)) {
    std::string row =
        h.objects().Name(b) + text::Format("|%d|%d|%.6f|", h.objects().Layer(b),
                                           h.objects().Color(b), h.bodies().Volume(b));
    for (const auto& [t, v] : h.attributes().List(b)) row += t + "=" + v + ";";
    s.push_back(row);
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

  // The STEP file holds every body (what it keeps is checked with the part
  // files of the memory host).
  EXPECT_EQ(memory::OpenStep(step, (one / "die.step").string()).bodies,
            samples::SampleDieBodyCount());
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
  EXPECT_EQ(RunGenerator("'" + dir.string() + "' --what"), 2);
  // A scaled model has exactly the bodies asked for.
  EXPECT_EQ(RunGenerator("'" + dir.string() + "' --bodies 100"), 0);
  memory::MemoryHost h;
  memory::OpenPartFile(h, (dir / "die_100.xbf").string());
  EXPECT_EQ(Bodies(h).size(), 100u);
  std::ofstream(dir / "file") << "x";
  EXPECT_EQ(RunGenerator("'" + (dir / "file").string() + "'"), 1) << "a file where the folder goes";
}

}  // namespace
