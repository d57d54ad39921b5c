// A memory host with the shipped configuration as D:\MYTOOL (the 级进模 set,
// template layers 10 to 140), the shipped layouts, and helpers to open the
// material BOM dialog with a driver and read its trees back.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/memory/dialogs/dialogs.h"
#include "host/memory/memory_host.h"
#include "host/memory/shape.h"
#include "material_bom/export_material_bom.h"
#include "tests/support/scratch.h"

namespace mbom_test {

namespace fs = std::filesystem;
using host::Node;
using host::Tag;
using memory::DialogDriver;
using memory::Shape;

inline fs::path SourceDir() {
  const char* source = std::getenv("DIEBOM_SOURCE_DIR");
  return fs::path(source ? source : ".");
}

// A row as the designer reads it: its depth and its twenty cells.
struct RowView {
  int depth = 0;
  std::vector<std::string> cells;
};

class MaterialBomTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = test_support::ScratchFolder(
        std::string("mbom_") + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    for (const char* drive : {"C", "D"}) {
      fs::create_directories(dir_ / drive);
      host_.MapDrive(drive[0], (dir_ / drive).string());
    }
    fs::copy(SourceDir() / "samples" / "config", dir_ / "D" / "MYTOOL",
             fs::copy_options::recursive);
    fs::create_directories(dir_ / "C/Users/designer/AppData/Local");
    fs::create_directories(dir_ / "C/Users/designer/Desktop");
    host_.SetVariable("RQConfig", "D:\\MYTOOL");
    host_.session().Initialize();
  }

  memory::MemoryDialogs& dialogs() { return host_.memory_dialogs(); }

  // A body the BOM lists: marked for drawing.
  Tag AddDrawn(const Shape& shape, int layer, int color = 42) {
    const Tag body = host_.AddBody(shape, layer, color);
    host_.attributes().SetString(body, "转图标识", "Y");
    return body;
  }
  // A part whose header was saved before: its bodies keep their attributes.
  void MarkSaved() { host_.attributes().SetString(host_.session().WorkPart(), "设计担当", "张伟"); }

  // Opens the dialog with the options and runs `driver` as the designer.
  void Open(const std::function<void(DialogDriver&, ExportMaterialBom&)>& driver,
            bool same_body = false) {
    bom_ = std::make_unique<ExportMaterialBom>(host_);
    bom_->SetSmartCalc(false, same_body, false, 1);
    ExportMaterialBom* bom = bom_.get();
    dialogs().QueueDriver("ExportMaterialBom.dlx", [bom, driver](DialogDriver& d) {
      driver(d, *bom);
      if (!d.closed()) d.Close();
    });
    bom_->Show();
  }

  static void FillHeader(DialogDriver& d) {
    const char* values[][2] = {{"string031", "SPCC"}, {"string01", "PD24-001"},
                               {"string032", "80T"},  {"string0", "华锐汽车部件"},
                               {"string034", "0.5"},  {"string035", "连续模"},
                               {"string036", "张伟"}, {"string03", "SO-7"}};
    for (const auto& v : values) d.SetString(v[0], std::string(v[1]));
  }

  static std::vector<RowView> Rows(DialogDriver& d) {
    std::vector<RowView> out;
    for (Node* n : d.AllNodes("tree_control0")) {
      RowView r;
      r.depth = n->ParentNode() == nullptr ? 0 : 1;
      for (int c = 0; c < material_bom::kMaterialColumnCount; ++c)
        r.cells.push_back(n->GetColumnDisplayText(c));
      out.push_back(std::move(r));
    }
    return out;
  }
  static std::vector<std::string> Column(DialogDriver& d, int column, bool top_only = true) {
    std::vector<std::string> out;
    for (Node* n : top_only ? d.TopNodes("tree_control0") : d.AllNodes("tree_control0"))
      out.push_back(n->GetColumnDisplayText(column));
    return out;
  }
  static Tag RowBody(Node* n) { return n->GetNodeData().GetTaggedObject("Data"); }

  std::string Attr(Tag object, const std::string& title) {
    return host_.attributes().Has(object, title) ? host_.attributes().GetString(object, title)
                                                 : "<none>";
  }
  // The message boxes with the title, as "type:first line".
  std::vector<std::string> Boxes(const std::string& title) {
    std::vector<std::string> out;
    for (const auto& m : host_.message_log())
      if (m.title == title)
        out.push_back(std::to_string(m.type) + ":" + (m.lines.empty() ? "" : m.lines[0]));
    return out;
  }

  fs::path dir_;
  memory::MemoryHost host_;
  std::unique_ptr<ExportMaterialBom> bom_;
};

}  // namespace mbom_test
