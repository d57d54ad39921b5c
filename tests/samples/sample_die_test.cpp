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

#include "config/csv.h"
#include "host/memory/memory_host.h"
#include "host/memory/part_file.h"
#include "host/text.h"
#include "samples/sample_die.h"
#include "tests/support/scratch.h"

namespace {

namespace fs = std::filesystem;
using host::Tag;

std::string Read(const fs::path& file) {
  std::ostringstream bytes;
  bytes << std::ifstream(file, std::ios::binary).rdbuf();
  return bytes.str();
}

// The numbers in a column of a table of the sample configuration.
std::set<int> Numbers(const fs::path& file, const std::string& heading) {
  std::set<int> out;
  for (const auto& cell : config::ParseCsv(Read(file), file.string()).Column(heading))
    if (!cell.empty()) out.insert(std::atoi(cell.c_str()));
  return out;
}

std::vector<Tag> Bodies(memory::MemoryHost& h) {
  return h.bodies().PartBodies(h.session().WorkPart());
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

// The die uses the layers and colours of the sample configuration, its plates
// are drilled and its block turned; written, it opens as it was built.
TEST(SampleDie, TheDieIsWhatTheSampleConfigurationDescribesAndItsFilesKeepIt) {
  const fs::path tk = fs::path(DIEBOM_SAMPLE_CONFIG) / "config" / "TK";
  const fs::path layer_table = tk / text::GbkToUtf8("连续模图层.csv");
  const std::set<int> layers = Numbers(layer_table, "总图层");
  const std::set<int> template_layers = Numbers(layer_table, "模板图层");
  const std::set<int> colors = Numbers(tk / "ColorConvert.csv", "材质颜色标准");
  const int changed = 186;
  ASSERT_EQ(Numbers(tk.parent_path() / text::GbkToUtf8("级进模") / "config.csv", "改模颜色"),
            std::set<int>{changed});

  memory::MemoryHost h;
  const auto meant = samples::BuildSampleDie(h);
  const auto bodies = Bodies(h);
  ASSERT_EQ(bodies.size(), meant.size());
  EXPECT_EQ(static_cast<int>(bodies.size()), samples::SampleDieBodyCount());

  std::set<int> used_layers;
  int standard = 0, new_standard = 0, on_template = 0, new_on_template = 0, round = 0;
  std::map<std::string, std::vector<Tag>> by_name;
  for (std::size_t i = 0; i < bodies.size(); ++i) {
    const Tag b = bodies[i];
    SCOPED_TRACE(meant[i].name);
    by_name[meant[i].name].push_back(b);
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
      if (meant[i].color == changed) ++new_standard;
    } else if (template_layers.count(meant[i].layer)) {
      ++on_template;
      EXPECT_FALSE(a.Has(b, "PART_ATTR"));
      EXPECT_FALSE(meant[i].spec.empty());
      EXPECT_EQ(a.GetString(b, "转图标识"), "Y");
      if (meant[i].color == changed) {
        ++new_on_template;
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
  EXPECT_EQ(text::Format("%d standard, %d new; %d on template layers, %d new; %d round", standard,
                         new_standard, on_template, new_on_template, round),
            "29 standard, 3 new; 30 on template layers, 1 new; 5 round");
  // Every template layer has bodies, and so have the strip's and the part's.
  std::set<int> filled = template_layers;
  filled.insert({200, 210});
  for (int l : filled) EXPECT_TRUE(used_layers.count(l)) << "layer " << l << " has bodies";

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

  // Written twice: the same bytes; opened, the die as it was built.
  const fs::path one = test_support::ScratchFolder("sample_die_one");
  const fs::path two = test_support::ScratchFolder("sample_die_two");
  samples::WriteSampleDie(one.string(), "die");
  samples::WriteSampleDie(two.string(), "die");
  EXPECT_TRUE(Read(one / "die.xbf") == Read(two / "die.xbf")) << "the same die every time";
  memory::MemoryHost a, step;
  memory::OpenPartFile(a, (one / "die.xbf").string());
  EXPECT_TRUE(Summarise(a) == Summarise(h)) << "the part file keeps everything";
  EXPECT_EQ(a.session().PartLeaf(a.session().WorkPart()), "die");

  // The STEP file holds every body (what it keeps is checked with the part
  // files of the memory host), and its header the fixed time stamp.
  EXPECT_EQ(memory::OpenStep(step, (one / "die.step").string()).bodies,
            samples::SampleDieBodyCount());
  EXPECT_NE(Read(one / "die.step").substr(0, 400).find(samples::kSampleTimeStamp),
            std::string::npos);
}

int RunGenerator(const std::string& args) {
  const int status =
      std::system((std::string("'") + GENERATE_DIE_BIN + "' " + args + " >/dev/null 2>&1").c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(SampleDie, GeneratorProgram) {
  const fs::path dir = test_support::ScratchFolder("sample_die_program");
  const std::string quoted = "'" + dir.string() + "'";
  EXPECT_EQ(RunGenerator(""), 2);
  EXPECT_EQ(RunGenerator(quoted + " --bodies 0"), 2);
  EXPECT_EQ(RunGenerator(quoted + " --what"), 2);
  // A scaled model has exactly the bodies asked for.
  EXPECT_EQ(RunGenerator(quoted + " --bodies 100"), 0);
  memory::MemoryHost h;
  memory::OpenPartFile(h, (dir / "die_100.xbf").string());
  EXPECT_EQ(Bodies(h).size(), 100u);
  std::ofstream(dir / "file") << "x";
  EXPECT_EQ(RunGenerator("'" + (dir / "file").string() + "'"), 1) << "a file where the folder goes";
}

}  // namespace
