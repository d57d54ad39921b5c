// The material BOM fixture with what the command tests share: bodies numbered
// before, a picture of every body and coordinate system to compare before and
// after a command that must change nothing, and the host's selection answers.
#pragma once

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "material_bom_fixture.h"

namespace mbom_test {

class CommandTest : public MaterialBomTest {
 protected:
  // A box numbered before: read back from its attributes, never replaced
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

  // Every body and coordinate system of the part with all it carries, and the
  // work coordinate system: one line each.
  std::vector<std::string> Picture() {
    std::vector<std::string> out;
    host::Objects& o = host_.objects();
    for (Tag b : host_.bodies().PartBodies(host_.session().WorkPart())) {
      std::string line = "body " + std::to_string(b) + " layer " + std::to_string(o.Layer(b)) +
                         " colour " + std::to_string(o.Color(b)) +
                         (o.IsBlanked(b) ? " blanked" : "") +
                         (o.IsHighlighted(b) ? " highlighted" : "");
      for (const auto& [title, value] : host_.attributes().List(b))
        line += " " + title + "=" + value;
      out.push_back(line);
    }
    for (Tag c : host_.csys().PartCsys(host_.session().WorkPart())) {
      const host::CsysInfo info = host_.csys().AskCsysInfo(c);
      const host::Matrix3x3& m = info.matrix;
      char buf[400];
      std::snprintf(buf, sizeof buf,
                    "csys %d %s layer %d%s at %.6f,%.6f,%.6f x %.6f,%.6f,%.6f y %.6f,%.6f,%.6f",
                    static_cast<int>(c), o.Name(c).c_str(), o.Layer(c),
                    o.IsBlanked(c) ? " blanked" : "", info.origin.X, info.origin.Y, info.origin.Z,
                    m.Xx, m.Xy, m.Xz, m.Yx, m.Yy, m.Yz);
      out.push_back(buf);
    }
    out.push_back("wcs " + std::to_string(host_.csys().AskWcs()));
    return out;
  }
  // The rows as shown: depth, check state, colour and the twenty cells.
  static std::vector<std::string> TreePicture(DialogDriver& d) {
    std::vector<std::string> out;
    for (Node* n : d.AllNodes("tree_control0")) {
      std::string line = (n->ParentNode() ? "  " : "") + std::to_string(n->State()) + " " +
                         std::to_string(n->ForegroundColor());
      for (int c = 0; c < material_bom::kMaterialColumnCount; ++c)
        line += "|" + n->GetColumnDisplayText(c);
      out.push_back(line);
    }
    return out;
  }

  // The message boxes with the title, as "type:text up to its first line break".
  std::vector<std::string> BoxHeads(const std::string& title) {
    std::vector<std::string> out;
    for (const std::string& box : Boxes(title)) out.push_back(box.substr(0, box.find('\n')));
    return out;
  }

  void QueuePick(const std::vector<Tag>& bodies) {
    host_.QueueSelection({host::SelectionResponse::Ok, bodies});
  }
  void QueueCancelledPick() { host_.QueueSelection({host::SelectionResponse::Cancel, {}}); }

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
