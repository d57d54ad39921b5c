// The blank report on real solids: the flags on bodies built to trigger each
// one and on bodies built not to, the drawings in the blank system, bad
// input, and the page as headless Chromium builds it.
#include "report/blank_report.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <regex>
#include <set>
#include <sstream>

#include "report/drawing.h"
#include "samples/sample_die.h"
#include "tests/report/browser.h"
#include "tests/report/die_rows.h"
#include "tests/support/scratch.h"

namespace {

using host::Point3d;
using host::Tag;
using memory::MemoryHost;
using memory::Shape;
using report::ReportRow;
using namespace report_test;

constexpr double kPi = std::numbers::pi;

// Layers 10 and 20; colours 6, 11 and 36 have materials, others have none.
config::MaterialBomSettings ShopSettings() {
  config::MaterialBomSettings s;
  s.material.layer_numbers = {10, 20};
  s.material.layer_names = {"上模座", "下模板"};
  s.material.layer_codes = {"UB", "LP"};
  s.material.colors = {6, 11, 36};
  s.material.material_names = {"45#", "Cr12MoV", "SKD11"};
  s.material.heat_treatments = {"调质", "HRC58-60", "HRC60-62"};
  s.material.density = 7.85;
  s.material.ordering_weight = 5;
  s.material.first_ordering_method = "库存料";
  s.material.first_purchase_method = "毛料订购";
  s.common.changed_body_color = 186;
  return s;
}

// A plate with four holes through its thickness and two through its length.
Shape Plate(double shift = 0.0) {
  Shape s = Shape::Box(200, 120, 20);
  for (double x : {30.0, 170.0})
    for (double y : {25.0, 95.0}) s = s.Drilled({x, y, 20}, {0, 0, -1}, 10, 20);
  for (double y : {40.0 + shift, 80.0}) s = s.Drilled({0, y, 10}, {1, 0, 0}, 8, 200);
  return s;
}

// The flags of `r`, one "row kind: reason" line each, in row order.
std::string Flags(const report::ReportResult& r) {
  std::set<std::string> lines;
  for (const auto& f : r.flags)
    lines.insert(std::to_string(f.row) + " " + report::FlagName(f.kind) + ": " + f.reason + "\n");
  return std::accumulate(lines.begin(), lines.end(), std::string());
}

// The blank's extents along its X, Y and Z, to a micrometre.
std::string Extents(const report::BlankFrame& f) {
  return text::Format("%.3f x %.3f x %.3f", f.Extent(0), f.Extent(1), f.Extent(2));
}

// What each extent label of a drawing stands nearest to among the lines
// drawn: "edge along x" for a box edge parallel to the X axis as drawn,
// "axis y" for the Y axis itself, and so on; one "x: ..." line per label.
std::string LabelledLines(const report::ViewDrawing& d) {
  struct Line {
    double x0, y0, x1, y1;
    std::string name;
  };
  std::vector<Line> axes, lines;
  // The first stroke of each axis path is its shaft.
  const std::regex axis(R"re(<path class="ax ([xyz])" d="M(-?\d+) (-?\d+) (-?\d+) (-?\d+)M)re");
  for (std::sregex_iterator i(d.content.begin(), d.content.end(), axis), end; i != end; ++i)
    axes.push_back({std::stod((*i)[2]), std::stod((*i)[3]), std::stod((*i)[4]), std::stod((*i)[5]),
                    "axis " + (*i)[1].str()});
  // Box edges, named after the axis they run along: strokes in the
  // axonometric view, a rectangle in the others.
  auto add_edge = [&](double x0, double y0, double x1, double y1) {
    Line l{x0, y0, x1, y1, "edge along no axis"};
    for (const Line& a : axes) {
      const double cross = (x1 - x0) * (a.y1 - a.y0) - (y1 - y0) * (a.x1 - a.x0);
      const double lengths = std::hypot(x1 - x0, y1 - y0) * std::hypot(a.x1 - a.x0, a.y1 - a.y0);
      if (std::abs(cross) < 0.01 * lengths) l.name = "edge along " + a.name.substr(5);
    }
    lines.push_back(l);
  };
  const std::regex box(R"re(<path class="box[^"]*" d="([^"]*)")re");
  const std::regex stroke(R"re(M(-?\d+) (-?\d+) (-?\d+) (-?\d+))re");
  const std::regex rectangle(R"re(M(-?\d+) (-?\d+)H(-?\d+)V(-?\d+)H)re");
  for (std::sregex_iterator i(d.content.begin(), d.content.end(), box), end; i != end; ++i) {
    const std::string path = (*i)[1];
    std::smatch r;
    if (std::regex_search(path, r, rectangle)) {
      const double x0 = std::stod(r[1]), y0 = std::stod(r[2]), x1 = std::stod(r[3]),
                   y1 = std::stod(r[4]);
      add_edge(x0, y0, x1, y0), add_edge(x1, y0, x1, y1), add_edge(x1, y1, x0, y1),
          add_edge(x0, y1, x0, y0);
      continue;
    }
    for (std::sregex_iterator k(path.begin(), path.end(), stroke); k != end; ++k)
      add_edge(std::stod((*k)[1]), std::stod((*k)[2]), std::stod((*k)[3]), std::stod((*k)[4]));
  }
  // An axis drawn on an edge does not hide it: edges come first.
  lines.insert(lines.end(), axes.begin(), axes.end());
  auto distance = [](const Line& l, double x, double y) {
    const double dx = l.x1 - l.x0, dy = l.y1 - l.y0;
    const double t =
        std::clamp(((x - l.x0) * dx + (y - l.y0) * dy) / (dx * dx + dy * dy), 0.0, 1.0);
    return std::hypot(l.x0 + t * dx - x, l.y0 + t * dy - y);
  };
  std::string out;
  const std::regex label(R"re(<text class="dim ([xyz])" x="(-?\d+)" y="(-?\d+)">)re");
  for (std::sregex_iterator i(d.content.begin(), d.content.end(), label), end; i != end; ++i) {
    const double x = std::stod((*i)[2]), y = std::stod((*i)[3]);
    const Line* nearest = &lines.front();
    for (const Line& l : lines)
      if (distance(l, x, y) < distance(*nearest, x, y)) nearest = &l;
    out += (*i)[1].str() + ": " + nearest->name + "\n";
  }
  return out;
}

// The message of the exception `write` throws, or "no error".
template <class Write>
std::string ErrorOf(Write write) {
  try {
    write();
  } catch (const std::exception& e) {
    return e.what();
  }
  return "no error";
}

struct ReportTest : ::testing::Test {
  MemoryHost h;
  config::MaterialBomSettings settings = ShopSettings();
  blank::MaterialParamCalculator calc{h, blank::BomOptions{}, settings};

  // One row for `bodies` (a group when more than one) from the first body's record.
  ReportRow Row(const std::vector<Tag>& bodies, int number, const std::string& code) {
    blank::MaterialParam p = calc.GetBodyMaterialParam(bodies.front());
    p.code = code;
    return {Columns(p, number, static_cast<int>(bodies.size())), bodies};
  }

  // The die of the flag tests; `rows` in the order of the comments.
  std::vector<ReportRow> FlagDie() {
    std::vector<ReportRow> rows;
    // One body on a row of its own, numbered in order.
    auto add = [&](const Shape& shape, int layer, int colour, const std::string& code) {
      rows.push_back(Row({h.AddBody(shape, layer, colour)}, int(rows.size()) + 1, code));
    };
    // 0: a plate computed as usual: Z along its four holes.
    add(Plate(), 10, 6, "UB-01");
    // 1: another plate whose blank was turned by hand, Z along its two holes.
    const Tag turned = h.AddBody(Plate(5).Translated({0, 300, 0}), 10, 6);
    h.attributes().SetString(turned, "材料方位", "0,1,0,0,0,1");
    blank::MaterialParam by_hand;
    by_hand.name = "垫板";
    by_hand.code = "UB-02";
    by_hand.material = "45#";
    rows.push_back({Columns(by_hand, 2, 1), {turned}});
    // 2: a thin L, a fifth of its blank.
    const Shape l = Shape::Prism(
        {{0, 0, 0}, {100, 0, 0}, {100, 12, 0}, {12, 12, 0}, {12, 100, 0}, {0, 100, 0}}, 20);
    add(l.Translated({400, 0, 0}), 10, 11, "UB-03");
    // 3 and 4: one block twice, the second turned, under two codes.
    const Shape block = Shape::Box(80, 50, 25).Drilled({20, 25, 25}, {0, 0, -1}, 12, 25);
    add(block.Translated({600, 0, 0}), 10, 36, "UB-04");
    add(block.Rotated({}, {0, 0, 1}, kPi / 2).Translated({800, 0, 0}), 10, 36, "UB-05");
    // 5: a block a millimetre thicker: not the same.
    const Shape thicker = Shape::Box(80, 50, 26).Drilled({20, 25, 26}, {0, 0, -1}, 12, 26);
    add(thicker.Translated({1000, 0, 0}), 10, 36, "UB-06");
    // 6: a block in a colour without material.
    add(Shape::Box(60, 40, 30, {0, -200, 0}), 20, 87, "LP-01");
    // 7: a group of two round punches marked as round parts, one code.
    std::vector<Tag> punches;
    for (double x : {0.0, 50.0}) {
      const Tag p = h.AddBody(Shape::Cylinder(8, 60, {x, -400, 0}), 20, 11);
      h.attributes().SetString(p, "圆件", "Y");
      punches.push_back(p);
    }
    rows.push_back(Row(punches, 8, "LP-02"));
    // 8: a cylinder in a square blank (78.5%).
    add(Shape::Cylinder(20, 30, {200, -400, 0}), 20, 11, "LP-03");
    return rows;
  }
};

TEST_F(ReportTest, FlagsFireOnTheBodiesBuiltForThemAndOnNoOthers) {
  const std::vector<ReportRow> rows = FlagDie();
  std::ostringstream page;
  const report::ReportResult r = report::WriteBlankReport(h, rows, {}, page);
  EXPECT_EQ(Flags(r),
            "1 holes: 毛坯Z向不是孔最多的方向：Z向2个孔，Y向4个孔\n"
            "2 fill: 实体只占毛坯体积的23%（不足40%），可考虑换料型或用圆料\n"
            "3 same: 与第005行（代号UB-05）的实体相同，但代号不同\n"
            "4 same: 与第004行（代号UB-04）的实体相同，但代号不同\n"
            "6 material: 没有材质：实体颜色87未在颜色表中配置\n");
  EXPECT_EQ(text::Format("%zu rows, %zu bodies, %zu drawings", r.rows, r.bodies, r.drawings),
            "9 rows, 10 bodies, 9 drawings");
  EXPECT_TRUE(r.problems.empty());
  EXPECT_EQ(r.bytes, page.str().size());

  // The page: the reasons in UTF-8 (the flags on each row are checked in
  // the browser below).
  EXPECT_NE(page.str().find(text::GbkToUtf8("毛坯Z向不是孔最多的方向：Z向2个孔")),
            std::string::npos);
  EXPECT_NE(page.str().find("id=\"body-count\">10<"), std::string::npos);

  // A stricter limit flags the cylinder in its square blank, not the round parts.
  report::ReportOptions strict;
  strict.fill_limit = 0.8;
  std::ostringstream ignored;
  const std::string tight = Flags(report::WriteBlankReport(h, rows, strict, ignored));
  EXPECT_NE(tight.find("8 fill"), std::string::npos) << tight;
  EXPECT_EQ(tight.find("7 fill"), std::string::npos) << tight;
}

TEST_F(ReportTest, DrawsTheBodyInItsBlankSystemWithItsExtents) {
  // A block turned 30 degrees: its blank system is turned with it.
  const Tag body = h.AddBody(Shape::Box(100, 50, 20).Rotated({}, {0, 0, 1}, kPi / 6), 10, 6);
  calc.GetBodyMaterialParam(body);
  report::BlankFrames frames(h);
  const report::BlankFrame f = frames.Find(body);
  EXPECT_EQ(f.source, report::BlankFrame::Source::kNamedSystem);
  EXPECT_EQ(Extents(f), "100.000 x 50.000 x 20.000");
  const report::Mesh mesh = report::BlankMesh(h, body, f, 0.02, 0.6);
  for (const Point3d& p : mesh.vertices) {  // the facets lie in the blank
    EXPECT_GE(p.X, f.low.X - 1e-6);
    EXPECT_LE(p.Z, f.high.Z + 1e-6);
  }
  const report::ViewDrawing iso = report::DrawView(mesh, f, report::View::kIsometric);
  for (const char* extent : {">100.0<", ">50.0<", ">20.0<"})
    EXPECT_NE(iso.content.find(extent), std::string::npos) << extent;
  // Each extent stands by an edge along its own axis, nearer to it than to
  // any axis drawn: in the axonometric view and the views of the detail, for
  // a plate and for a block nearly as deep as it is long.
  EXPECT_EQ(LabelledLines(iso), "x: edge along x\ny: edge along y\nz: edge along z\n");
  const Tag insert = h.AddBody(Shape::Box(40, 30, 30, {300, 0, 0}), 10, 6);
  calc.GetBodyMaterialParam(insert);
  const report::BlankFrame insert_frame = frames.Find(insert);
  const report::Mesh insert_mesh = report::BlankMesh(h, insert, insert_frame, 0.02, 0.6);
  EXPECT_EQ(LabelledLines(report::DrawView(insert_mesh, insert_frame, report::View::kIsometric)),
            "x: edge along x\ny: edge along y\nz: edge along z\n");
  EXPECT_EQ(LabelledLines(report::DrawView(mesh, f, report::View::kFront)),
            "x: edge along x\nz: edge along z\n");
  EXPECT_EQ(LabelledLines(report::DrawView(mesh, f, report::View::kTop)),
            "x: edge along x\ny: edge along y\n");
  EXPECT_EQ(LabelledLines(report::DrawView(mesh, f, report::View::kLeft)),
            "y: edge along y\nz: edge along z\n");
  // Three faces of a box face the viewer, each flat: three shades, one path each.
  std::set<std::string> shades;
  for (std::size_t at = iso.content.find("<path class=\"s"); at != std::string::npos;
       at = iso.content.find("<path class=\"s", at + 1))
    shades.insert(iso.content.substr(at + 13, iso.content.find('"', at + 13) - at - 13));
  EXPECT_EQ(shades.size(), 3u);
  EXPECT_EQ(Count(iso.content, "class=\"box hid\""), 1u);
  // The front view shows X and Z, not Y; the views share one scale.
  const report::ViewDrawing front = report::DrawView(mesh, f, report::View::kFront);
  const report::ViewDrawing top = report::DrawView(mesh, f, report::View::kTop);
  for (const char* extent : {">100.0<", ">20.0<"})
    EXPECT_NE(front.content.find(extent), std::string::npos) << extent;
  EXPECT_EQ(front.content.find(">50.0<"), std::string::npos);
  EXPECT_EQ(front.width, top.width);

  // Without a named system: the recorded orientation, else the world axes
  // with a note when the recorded one cannot be read.
  const Tag loose = h.AddBody(Shape::Box(30, 60, 10), 10, 6);
  h.attributes().SetString(loose, "材料方位", "0,1,0,-1,0,0");
  const report::BlankFrame turned = frames.Find(loose);
  EXPECT_EQ(turned.source, report::BlankFrame::Source::kOrientation);
  EXPECT_EQ(Extents(turned), "60.000 x 30.000 x 10.000");
  h.attributes().SetString(loose, "材料方位", "0,1,0,oops");
  const report::BlankFrame world = frames.Find(loose);
  EXPECT_EQ(world.source, report::BlankFrame::Source::kWorld);
  EXPECT_EQ(Extents(world), "30.000 x 60.000 x 10.000");
  EXPECT_EQ(world.note, "\"材料方位\"无法读取（0,1,0,oops），按绝对坐标绘制");
}

TEST_F(ReportTest, BadInputGivesAClearMessageAndLosesNothing) {
  std::vector<ReportRow> rows = {Row({h.AddBody(Shape::Box(40, 30, 20), 10, 6)}, 1, "UB-01")};
  // A row that is not a tree row.
  std::vector<ReportRow> short_row = rows;
  short_row.push_back({std::vector<std::string>(19), {}});
  std::ostringstream page;
  EXPECT_EQ(ErrorOf([&] { report::WriteBlankReport(h, short_row, {}, page); }),
            "材料行2有19列，应为20列");

  // A body that is gone, a row without bodies, a name with a broken byte, a
  // body in an unreadable orientation: every row is still written.
  const Tag gone = h.AddBody(Shape::Box(10, 10, 10), 10, 6);
  rows.push_back(Row({gone}, 2, "UB-02"));
  h.objects().Delete(gone);
  ReportRow empty{std::vector<std::string>(20), {}};
  empty.columns[0] = "003";
  empty.columns[1] = std::string("垫块\x81");
  rows.push_back(empty);
  const Tag odd = h.AddBody(Shape::Box(10, 20, 30), 10, 6);
  h.attributes().SetString(odd, "材料方位", "1,0,0");
  rows.push_back({std::vector<std::string>(20, "4"), {odd}});
  rows.back().columns[0] = "004";
  const report::ReportResult r = report::WriteBlankReport(h, rows, {}, page);
  EXPECT_EQ(r.rows, 4u);
  EXPECT_EQ(r.drawings, 2u);  // the first row's and the odd body's
  EXPECT_EQ(r.problems,
            (std::vector<std::string>{text::Format("材料行2：实体%u已不存在，无法绘制", gone),
                                      "材料行3：这一行没有实体",
                                      "材料行4：\"材料方位\"无法读取（1,0,0），按绝对坐标绘制"}));
  const std::string html = page.str();
  EXPECT_EQ(Count(html, "<section class=\"row"), 4u);
  EXPECT_NE(html.find(text::GbkToUtf8("垫块") + "\xEF\xBF\xBD"), std::string::npos);
  EXPECT_NE(html.find(text::GbkToUtf8("这一行没有实体")), std::string::npos);

  // Written through the host's platform; a folder that is not there is an error.
  const fs::path dir = test_support::ScratchFolder("report_bad_input");
  h.MapDrive('Q', dir.string());
  const report::ReportResult w = report::WriteBlankReport(h, rows, {}, "Q:\\report.html");
  EXPECT_EQ(fs::file_size(dir / "report.html"), w.bytes);
  EXPECT_EQ(ErrorOf([&] { report::WriteBlankReport(h, rows, {}, "Q:\\no\\such\\report.html"); }),
            "无法写入毛坯报告：Q:\\no\\such\\report.html");
}

TEST_F(ReportTest, TheSummaryAddsUpWeightsBeforeRounding) {
  // Eleven SKD11 blocks of 30 x 20 x 10: 0.0471 kg each, shown as 0.0 and,
  // net, as 0.047; the last row's size edited by hand into text that is no size.
  std::vector<ReportRow> rows;
  for (int i = 0; i < 11; ++i) {
    rows.push_back(Row({h.AddBody(Shape::Box(30, 20, 10, {50.0 * i, 0, 0}), 10, 36)}, i + 1,
                       text::Format("UB-%02d", i + 1)));
    rows.back().columns[report::kGroupNetWeightColumn] = "0.047";
    rows.back().columns[report::kNetWeightColumn] = "0.047";
  }
  ASSERT_EQ(rows[0].columns[report::kWeightColumn], "0.0");
  rows.back().columns[report::kSpecColumn] = "按图加工";
  rows.back().columns[report::kWeightColumn] = "0.5";
  // And a round pin, bought as a 20 x 20 x 20 bar: 0.0628 kg, shown as 0.1.
  const Tag pin = h.AddBody(Shape::Cylinder(10, 20, {0, 100, 0}), 10, 36);
  h.attributes().SetString(pin, "圆件", "Y");
  rows.push_back(Row({pin}, 12, "UB-12"));
  ASSERT_EQ(rows.back().columns[report::kSpecColumn], "Φ20.0xH20.0");
  ASSERT_EQ(rows.back().columns[report::kWeightColumn], "0.1");
  rows.back().columns[report::kNetWeightColumn] = "0.049";
  // The material's line and the totals: blank and net weight.
  auto summary = [&](const report::ReportOptions& options) {
    std::ostringstream page;
    report::WriteBlankReport(h, rows, options, page);
    const std::string p = page.str();
    const std::regex line(
        R"re(<tr><td>SKD11</td><td class="n">12</td><td class="n">([^<]*)</td><td class="n">([^<]*)</td>)re");
    const std::regex totals(R"re(毛坯重量 <b>([^<]*)</b> KG，净重 <b>([^<]*)</b>)re");
    std::smatch m, t;
    const std::string gbk = text::Utf8ToGbk(p);
    if (!std::regex_search(gbk, m, line) || !std::regex_search(gbk, t, totals))
      return std::string("not found");
    return m[1].str() + " " + m[2].str() + " | " + t[1].str() + " " + t[2].str();
  };
  report::ReportOptions known;
  known.blank_density = 7.85;
  known.net_density = 7.85;
  // Ten blanks of 0.0471 kg, the hand-sized row's 0.5 kg and the pin's
  // 0.0628 kg; eleven net weights of 0.0471 kg and the pin's 0.0493 kg: the
  // gross weight is not below the net weight.
  EXPECT_EQ(summary(known), "1.0 0.567 | 1.0 0.567");
  // Without the densities the rows' own texts are added up.
  EXPECT_EQ(summary({}), "0.6 0.566 | 0.6 0.566");
}

TEST_F(ReportTest, IdenticalDrawingsAreWrittenOnce) {
  std::vector<ReportRow> rows;
  for (int i = 0; i < 3; ++i)
    rows.push_back(Row({h.AddBody(Plate().Translated({300.0 * i, 0, 0}), 10, 6)}, i + 1,
                       "UB-0" + std::to_string(i + 1)));
  rows.push_back(Row({h.AddBody(Shape::Box(30, 20, 10, {0, -100, 0}), 10, 6)}, 4, "UB-04"));
  std::ostringstream page;
  const report::ReportResult r = report::WriteBlankReport(h, rows, {}, page);
  EXPECT_EQ(r.drawings, 4u);
  EXPECT_EQ(r.distinct_drawings, 8u);  // isometric, front, left and top of two bodies
  EXPECT_EQ(Count(page.str(), "class=\"drawing iso\""), 4u);
}

// --- In the browser --------------------------------------------------------------

// Loads the page and checks what every page must show: no script error, the
// viewer set up, one section per row with its drawing, and the flags.
void CheckInBrowser(const std::string& chromium, const fs::path& file,
                    const std::vector<ReportRow>& rows, const report::ReportResult& r) {
  const LoadedPage page = LoadPage(chromium, file);
  ASSERT_EQ(page.status, 0);
  EXPECT_TRUE(page.console.empty()) << page.console.front();
  const std::string& dom = page.dom;
  EXPECT_NE(dom.find("data-ready=\"yes\""), std::string::npos) << "the page's script did not run";
  EXPECT_NE(dom.find("<div id=\"js-errors\" hidden=\"\"></div>"), std::string::npos);
  EXPECT_EQ(Count(dom, "<section class=\"row"), rows.size());
  EXPECT_EQ(Count(dom, "class=\"drawing iso\""), r.drawings);
  EXPECT_EQ(Count(dom, "<li class=\"flag "), r.flags.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const std::string s = Section(dom, "id=\"row-" + std::to_string(i + 1) + "\"");
    ASSERT_FALSE(s.empty()) << "row " << i + 1;
    EXPECT_NE(s.find(text::GbkToUtf8(rows[i].columns[report::kCodeColumn])), std::string::npos);
    EXPECT_NE(s.find("class=\"drawing iso\""), std::string::npos) << "row " << i + 1;
    std::string kinds;
    for (const auto& f : r.flags)
      if (f.row == i) {
        EXPECT_NE(s.find("class=\"flag flag-" + std::string(report::FlagName(f.kind))),
                  std::string::npos);
        kinds += kinds.empty() ? "" : " ";
        kinds += report::FlagName(f.kind);
      }
    EXPECT_NE(s.find("data-flags=\"" + kinds + "\""), std::string::npos) << "row " << i + 1;
  }
  // Every drawing refers to a drawing in the page.
  for (std::size_t at = dom.find("<use href=\"#"); at != std::string::npos;
       at = dom.find("<use href=\"#", at + 1)) {
    const std::string id = dom.substr(at + 12, dom.find('"', at + 12) - at - 12);
    ASSERT_NE(dom.find("<g id=\"" + id + "\""), std::string::npos) << id;
  }
}

TEST_F(ReportTest, OpensInChromiumWithEveryRowDrawingAndFlag) {
  const auto chromium = FindChromium();
  if (!chromium) GTEST_SKIP() << "chromium is not installed (scripts/setup.sh installs it)";
  const std::vector<ReportRow> rows = FlagDie();
  const fs::path file = test_support::ScratchFolder("report_flag_die") / "report.html";
  h.MapDrive('Q', file.parent_path().string());
  report::ReportOptions options;
  options.title = "级进模 <测试>";
  const report::ReportResult r = report::WriteBlankReport(h, rows, options, "Q:\\report.html");
  CheckInBrowser(*chromium, file, rows, r);

  // Clicking a thumbnail (here: the page opened on a row) shows the row large
  // with its three views.
  const LoadedPage shown = LoadPage(*chromium, file, "#show-row-2");
  EXPECT_TRUE(shown.console.empty());
  const std::size_t overlay = shown.dom.find("<div id=\"overlay\" class=\"open\">");
  ASSERT_NE(overlay, std::string::npos);
  const std::string large = shown.dom.substr(overlay);
  EXPECT_NE(large.find(text::GbkToUtf8("UB-02")), std::string::npos);
  for (const char* view : {"iso-large", "ortho front", "ortho left", "ortho top"})
    EXPECT_NE(large.find(std::string("class=\"drawing ") + view + "\""), std::string::npos) << view;
  EXPECT_NE(shown.dom.find(text::GbkToUtf8("级进模 &lt;测试&gt;")), std::string::npos);
}

TEST(ReportOnDies, TheSampleDieAndTheThousandBodyDieOpenInChromium) {
  const auto chromium = FindChromium();
  if (!chromium) GTEST_SKIP() << "chromium is not installed (scripts/setup.sh installs it)";
  for (const int bodies : {0, 1000}) {
    SCOPED_TRACE(bodies);
    MemoryHost h;
    const fs::path dir = test_support::ScratchFolder("report_die_" + std::to_string(bodies));
    const config::MaterialBomSettings settings = UseSampleConfiguration(h, dir);
    samples::BuildSampleDie(h, bodies);
    blank::MaterialParamCalculator calc(h, blank::BomOptions{}, settings);
    // The sample die numbered body by body (its two identical inserts under
    // two codes); the large die with identical bodies grouped, as the tree
    // groups them with the same-body option.
    const std::vector<ReportRow> rows =
        NumberRows(h, calc, TemplateBodies(h, settings), bodies > 0);
    report::ReportOptions options;
    options.title = samples::kSampleDieName;
    const report::ReportResult r = report::WriteBlankReport(h, rows, options, "D:\\report.html");
    EXPECT_TRUE(r.problems.empty()) << r.problems.front();
    EXPECT_EQ(r.drawings, rows.size());
    EXPECT_LT(r.bytes, 20u << 20);
    EXPECT_EQ(r.bodies, TemplateBodies(h, settings).size());
    CheckInBrowser(*chromium, dir / "report.html", rows, r);
  }
}

}  // namespace
