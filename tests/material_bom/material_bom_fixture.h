// A memory host with the shipped configuration as D:\MYTOOL (the 级进模 set,
// template layers 10 to 140), the shipped layouts, and helpers to open the
// material BOM dialog with a driver and read its trees back. The command
// tests add a picture of every body and coordinate system to compare before
// and after a command that must change nothing, and the host's selection answers.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/memory/dialogs/dialogs.h"
#include "host/memory/memory_host.h"
#include "host/memory/shape.h"
#include "host/text.h"
#include "material_bom/export_material_bom.h"
#include "tests/support/scratch.h"

namespace mbom_test {

namespace fs = std::filesystem;
using host::Node;
using host::Tag;
using memory::DialogDriver;
using memory::Shape;

class MaterialBomTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = test_support::ScratchFolder(
        std::string("mbom_") + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    for (const char* drive : {"C", "D"}) {
      fs::create_directories(dir_ / drive);
      host_.MapDrive(drive[0], (dir_ / drive).string());
    }
    const char* source = std::getenv("DIEBOM_SOURCE_DIR");
    fs::copy(fs::path(source ? source : ".") / "samples" / "config", dir_ / "D" / "MYTOOL",
             fs::copy_options::recursive);
    fs::create_directories(dir_ / "C/Users/designer/AppData/Local");
    fs::create_directories(dir_ / "C/Users/designer/Desktop");
    host_.SetVariable("RQConfig", "D:\\MYTOOL");
    host_.session().Initialize();
    ShowTemplateLayersOnly();
  }

  // The layers as an earlier run of the dialog leaves them: the work layer
  // on the first template layer (10 to 140 in tens), every other layer hidden.
  void ShowTemplateLayersOnly() {
    host_.layers().SetWorkLayer(10);
    for (int layer = 1; layer <= 256; ++layer)
      if (layer % 10 != 0 || layer > 140) host_.layers().SetStatus(layer, host::kStatusHidden);
  }
  // A part the dialog never saw: every layer selectable, the work layer 1.
  void ShowAllLayers() {
    host_.layers().SetWorkLayer(1);
    host_.layers().SetAllButWork(host::kStatusSelectable);
  }

  memory::MemoryDialogs& dialogs() { return host_.memory_dialogs(); }

  // A body the BOM lists: marked for drawing.
  Tag AddDrawn(const Shape& shape, int layer, int color = 42) {
    const Tag body = host_.AddBody(shape, layer, color);
    host_.attributes().SetString(body, "转图标识", "Y");
    return body;
  }
  // A body numbered before: read back from its attributes, never replaced
  // through the neutral file.
  Tag AddCoded(const Shape& shape, int layer, const std::string& code, const std::string& spec,
               int color = 42) {
    const Tag b = AddDrawn(shape, layer, color);
    const std::pair<const char*, std::string> attrs[] = {
        {"实体优化", "Y"},   {"实体标识", "id-" + code + "-" + std::to_string(b)},
        {"材料代号", code},  {"材料名称", "模板"},
        {"材料材质", "45#"}, {"材料规格", spec},
        {"材料重量", "1.0"}};
    for (const auto& [title, value] : attrs) host_.attributes().SetString(b, title, value);
    return b;
  }
  // A 20 x 10 x 5 block at x, one storey per layer so that layers never overlap.
  Tag AddCoded(double x, int layer, const std::string& code, const std::string& spec = "") {
    return AddCoded(Shape::Box(20, 10, 5, {x, 0, 10.0 * layer}), layer, code, spec);
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

  // The header fields in the order the save checks them, with the order
  // number (not required) last.
  static constexpr const char* kHeader[][2] = {{"string031", "SPCC"}, {"string01", "PD24-001"},
                                               {"string032", "80T"},  {"string0", "华锐汽车部件"},
                                               {"string034", "0.5"},  {"string035", "连续模"},
                                               {"string036", "张伟"}, {"string03", "SO-7"}};
  static void FillHeader(DialogDriver& d) {
    for (const auto& [id, value] : kHeader) d.SetString(id, std::string(value));
  }

  // The rows as shown: depth, check state, colour and the twenty cells, the
  // modification time left out unless `modified`.
  static std::vector<std::string> TreePicture(DialogDriver& d, bool modified = true) {
    std::vector<std::string> out;
    for (Node* n : d.AllNodes("tree_control0")) {
      std::string line = (n->ParentNode() ? "  " : "") + std::to_string(n->State()) + " " +
                         std::to_string(n->ForegroundColor());
      for (int c = 0; c < material_bom::kMaterialColumnCount; ++c)
        if (modified || c != material_bom::kColModified) line += "|" + n->GetColumnDisplayText(c);
      out.push_back(line);
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
  // The values of one attribute on each body.
  std::vector<std::string> Attrs(const std::vector<Tag>& bodies, const std::string& title) {
    std::vector<std::string> out;
    for (Tag b : bodies) out.push_back(Attr(b, title));
    return out;
  }
  // The message boxes with the title, as "type:lines" with the lines joined by
  // line breaks, or only up to the first line break.
  std::vector<std::string> Boxes(const std::string& title, bool head = false) {
    std::vector<std::string> out;
    for (const auto& m : host_.message_log()) {
      if (m.title != title) continue;
      std::string text;
      for (const std::string& line : m.lines) text += (text.empty() ? "" : "\n") + line;
      out.push_back(std::to_string(m.type) + ":" + (head ? text.substr(0, text.find('\n')) : text));
    }
    return out;
  }

  fs::path dir_;
  memory::MemoryHost host_;
  std::unique_ptr<ExportMaterialBom> bom_;
};

// The commands work on a part saved before.
class CommandTest : public MaterialBomTest {
 protected:
  void SetUp() override {
    MaterialBomTest::SetUp();
    MarkSaved();
  }

  // Every body and coordinate system of the part with all it carries, and the
  // work coordinate system: one line each; then the rows of `tree` if given.
  std::vector<std::string> Picture(DialogDriver* tree = nullptr) {
    std::vector<std::string> out;
    host::Objects& o = host_.objects();
    for (Tag b : host_.bodies().PartBodies(host_.session().WorkPart())) {
      std::string line = text::Format("body %d layer %d colour %d%s%s", static_cast<int>(b),
                                      o.Layer(b), o.Color(b), o.IsBlanked(b) ? " blanked" : "",
                                      o.IsHighlighted(b) ? " highlighted" : "");
      for (const auto& [title, value] : host_.attributes().List(b))
        line += " " + title + "=" + value;
      out.push_back(line);
    }
    for (Tag c : host_.csys().PartCsys(host_.session().WorkPart())) {
      const host::CsysInfo i = host_.csys().AskCsysInfo(c);
      out.push_back(text::Format(
          "csys %d %s layer %d%s at %.6f,%.6f,%.6f x %.6f,%.6f,%.6f y %.6f,%.6f,%.6f",
          static_cast<int>(c), o.Name(c).c_str(), o.Layer(c), o.IsBlanked(c) ? " blanked" : "",
          i.origin.X, i.origin.Y, i.origin.Z, i.matrix.Xx, i.matrix.Xy, i.matrix.Xz, i.matrix.Yx,
          i.matrix.Yy, i.matrix.Yz));
    }
    out.push_back("wcs " + std::to_string(host_.csys().AskWcs()));
    if (tree)
      for (const std::string& row : TreePicture(*tree)) out.push_back(row);
    return out;
  }
  void QueuePick(const std::vector<Tag>& bodies) {
    host_.QueueSelection({host::SelectionResponse::Ok, bodies});
  }
  void QueueCancelledPick() { host_.QueueSelection({host::SelectionResponse::Cancel, {}}); }
  // Presses `button` and cancels the pick it asks for: nothing changes. The
  // request's title and prompt.
  std::string CancelPick(DialogDriver& d, const std::string& button) {
    const auto before = Picture(&d);
    QueueCancelledPick();
    d.Press(button);
    EXPECT_EQ(Picture(&d), before) << button;
    return host_.selection_requests().back().title + "|" + host_.selection_requests().back().prompt;
  }

  // The top-level row whose code column shows `code`.
  static Node* Row(DialogDriver& d, const std::string& code) {
    return d.FindNode("tree_control0", material_bom::kColCode, code);
  }

  // A named coordinate system on the hidden layer, as an earlier orientation
  // leaves it.
  Tag AddBlankCsys(const std::string& name, const host::Point3d& origin) {
    const Tag c = host_.csys().CreateCsys(origin, host_.csys().CreateMatrix(host::Matrix3x3{}));
    host_.objects().SetName(c, name);
    host_.objects().SetLayer(c, 256);
    host_.objects().SetBlanked(c, true);
    return c;
  }
  std::vector<Tag> CsysNamed(const std::string& name) {
    std::vector<Tag> out;
    for (Tag c : host_.csys().PartCsys(host_.session().WorkPart()))
      if (host_.objects().Name(c) == name) out.push_back(c);
    return out;
  }
};

}  // namespace mbom_test
