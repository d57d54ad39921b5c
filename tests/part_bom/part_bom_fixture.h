// The standard-part BOM tests: a memory host with the configuration root on
// drive R (a scratch folder) holding a GBK "config\config.csv" and the shipped
// purchase template, a desktop on R, real solids carrying the standard-part
// attributes, and the dialog shown with a driver acting as the designer.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/memory/dialogs/dialogs.h"
#include "host/memory/memory_host.h"
#include "part_bom/export_part_bom.h"
#include "tests/support/scratch.h"

namespace part_bom_test {

namespace fs = std::filesystem;
using host::Node;
using host::Tag;
using memory::DialogDriver;
using memory::Shape;

constexpr int kChanged = 186;
constexpr int kGrey = 87;
constexpr int kStandardLayer = 150;

// Designers, tonnages, a name order, the changed-body colour and the four
// option lists, as a die shop keeps them (GBK).
inline const std::string kConfig =
    "设计人员,模具吨位,名称顺序,改模颜色,标准件-品牌名称,标准件-热处理名称,标准件-供应商,"
    "标准件-采购周期\r\n"
    "张伟,80T,外导柱,186,MISUMI,无,恒达,1天\r\n"
    "李强,110T,矩形弹簧,,盘起,淬火,明辉,3天\r\n"
    ",,内六角螺钉,,,,,\r\n";

// The attributes of one standard part.
struct Part {
  std::string name, type, material = "SUJ2", brand = "MISUMI", heat = "淬火", supplier = "恒达",
                          lead_time = "3天";
};

class PartBomTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = test_support::ScratchFolder(
        std::string("part_bom_") + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_ / "R" / "config");
    fs::create_directories(dir_ / "R" / "Desktop");
    host_.MapDrive('R', (dir_ / "R").string());
    host_.SetVariable("RQConfig", "R:");
    host_.SetDesktopFolder("R:\\Desktop");
    host_.SetPartLeaf("die");
    WriteConfig(kConfig);
    const char* source = std::getenv("DIEBOM_SOURCE_DIR");
    ASSERT_NE(source, nullptr) << "run through ctest, which names the source folder";
    fs::copy_file(fs::path(source) / "samples/config/config" / kTemplateName, TemplateFile());
  }

  static constexpr const char8_t* kTemplateName = u8"模具标准件申购表.xls";
  fs::path TemplateFile() const { return dir_ / "R" / "config" / kTemplateName; }
  void WriteConfig(const std::string& gbk) {
    ASSERT_TRUE(host_.platform().WriteFile("R:\\config\\config.csv", gbk));
  }

  // A pin standing beside the last (each part its own solid) with the
  // attributes of `p`.
  Tag AddPart(const Part& p, int color = kGrey) {
    const Tag body = host_.AddBody(Shape::Cylinder(4, 30, {20.0 * ++placed_, 0, 0}), kStandardLayer,
                                   color, p.name);
    const std::pair<const char*, std::string> attrs[] = {
        {"名称", p.name},   {"类型", p.type},       {"品牌", p.brand},         {"材质", p.material},
        {"热处理", p.heat}, {"供应商", p.supplier}, {"采购周期", p.lead_time}, {"PART_ATTR", "Y"}};
    for (const auto& [title, value] : attrs) host_.attributes().SetString(body, title, value);
    return body;
  }

  // Shows the dialog; `act` works it and the dialog is closed afterwards.
  void Run(const std::function<void(DialogDriver&)>& act) {
    host_.memory_dialogs().QueueDriver("ExportPartBom.dlx", [&](DialogDriver& d) {
      act(d);
      if (!d.closed()) d.Cancel();
    });
    ExportPartBom(host_).Show();
  }

  // The columns of every row, in display order, as "c0|c1|...|c11" with the
  // body rows indented by two blanks.
  static std::vector<std::string> Rows(DialogDriver& d) {
    std::vector<std::string> out;
    for (Node* n : d.AllNodes("tree_control0")) {
      std::string row = n->ParentNode() ? "  " : "";
      for (int c = 0; c < 12; ++c) row += (c ? "|" : "") + n->GetColumnDisplayText(c);
      while (!row.empty() && row.back() == '|') row.pop_back();
      out.push_back(row);
    }
    return out;
  }
  static std::vector<std::string> Column(const std::vector<Node*>& rows, int column) {
    std::vector<std::string> out;
    for (Node* n : rows) out.push_back(n->GetColumnDisplayText(column));
    return out;
  }
  static Tag BodyOf(Node* n) {
    return n->GetNodeData().HasKey("Data") ? n->GetNodeData().GetTaggedObject("Data")
                                           : host::kNullTag;
  }
  // The texts of the message boxes shown, as "title: line".
  std::vector<std::string> Messages() const {
    std::vector<std::string> out;
    for (const auto& m : host_.message_log()) {
      std::string t = m.title + ":";
      for (const auto& l : m.lines) t += " " + l;
      out.push_back(t);
    }
    return out;
  }
  std::string Attr(Tag object, const std::string& title) {
    return host_.attributes().Has(object, title) ? host_.attributes().GetString(object, title)
                                                 : "<none>";
  }
  Tag WorkPart() { return host_.session().WorkPart(); }

  fs::path dir_;
  memory::MemoryHost host_;
  int placed_ = 0;
};

}  // namespace part_bom_test
