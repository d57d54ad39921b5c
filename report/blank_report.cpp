#include "report/blank_report.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <optional>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <unordered_map>

#include "host/text.h"
#include "report/drawing.h"
#include "report/flags.h"

namespace report {
namespace {

// The material tree's column headings, in column order.
constexpr const char* kHeadings[kColumnCount] = {
    "序号",     "名称",      "代号",     "材质",     "规格(L*W*T)", "数量",     "重量(KG)",
    "热处理",   "备注",      "订购方式", "是否倒角", "等高",        "采购周期", "实体状态",
    "修改时间", "净重(KG).", "制造流程", "重量(KG)", "净重(KG)",    "余量"};

constexpr FlagKind kFlagKinds[] = {FlagKind::kHoleDirection, FlagKind::kLowFill,
                                   FlagKind::kNoMaterial, FlagKind::kSameBodyOtherCode};

// What the page calls each flag (GBK).
const char* FlagTitle(FlagKind kind) {
  switch (kind) {
    case FlagKind::kHoleDirection:
      return "Z向不沿孔最多的方向";
    case FlagKind::kLowFill:
      return "毛坯利用率低";
    case FlagKind::kNoMaterial:
      return "没有材质";
    case FlagKind::kSameBodyOtherCode:
      return "相同实体代号不同";
  }
  return "";
}

// GBK to UTF-8; a byte that starts no GBK character becomes U+FFFD, so that a
// damaged text still shows what it can.
std::string Utf8(const std::string& gbk) {
  std::string out;
  std::string_view rest(gbk);
  while (!rest.empty()) {
    std::size_t bad = 0;
    if (text::IsValidGbk(rest, &bad)) {
      out += text::GbkToUtf8(rest);
      break;
    }
    out += text::GbkToUtf8(rest.substr(0, bad));
    out += "\xEF\xBF\xBD";
    rest.remove_prefix(bad + 1);
  }
  return out;
}

// Text for HTML content and attribute values, from GBK.
std::string Html(const std::string& gbk) {
  const std::string u = Utf8(gbk);
  std::string out;
  out.reserve(u.size());
  for (char c : u) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

double Number(const std::string& s) {
  char* end = nullptr;
  const double v = std::strtod(s.c_str(), &end);
  return end == s.c_str() || !std::isfinite(v) ? 0.0 : v;
}

std::string Fixed(double v, int digits) { return text::Format("%.*f", digits, v); }

// A whole number text ("40.0", "12"); nothing for anything else.
std::optional<double> WholeNumber(const std::string& s) {
  char* end = nullptr;
  const double v = std::strtod(s.c_str(), &end);
  if (end == s.c_str() || *end != '\0' || !std::isfinite(v) || v < 0) return std::nullopt;
  return v;
}

// The blank weight (kg) of one piece of a size "LxWxT", or of a round part's
// "ΦDxHh" as a D x D x h bar, before rounding; nothing when the size cannot
// be read.
std::optional<double> BlankWeightOfSize(const std::string& spec, double density) {
  static const std::string kDiameter = "Φ";
  std::vector<std::string> pieces;
  for (std::size_t at = 0;;) {
    const std::size_t x = spec.find('x', at);
    pieces.push_back(spec.substr(at, x == std::string::npos ? std::string::npos : x - at));
    if (x == std::string::npos) break;
    at = x + 1;
  }
  std::optional<double> a, b, c;
  if (pieces.size() == 3) {
    a = WholeNumber(pieces[0]), b = WholeNumber(pieces[1]), c = WholeNumber(pieces[2]);
  } else if (pieces.size() == 2 && pieces[0].rfind(kDiameter, 0) == 0 &&
             pieces[1].rfind('H', 0) == 0) {
    a = b = WholeNumber(pieces[0].substr(kDiameter.size()));
    c = WholeNumber(pieces[1].substr(1));
  }
  if (!a || !b || !c) return std::nullopt;
  return *a * *b * *c * density / 1000000.0;
}

// The page's styles: layout, the shade classes of the drawings and the chart.
std::string Styles() {
  std::string css =
      "body{font-family:sans-serif;margin:0;background:#eef0f3;color:#1d2630;font-size:14px}"
      "header{background:#25323f;color:#fff;padding:12px 20px}"
      "header h1{margin:0;font-size:22px}header p{margin:4px 0 0;color:#c8d2dc}"
      "#js-errors{background:#fdd;color:#900;white-space:pre;padding:6px 20px}"
      "#summary{background:#fff;margin:12px 20px;padding:10px 16px;border-radius:4px}"
      "#summary h2{margin:4px 0 8px;font-size:18px}"
      ".totals{font-size:15px}.totals b{font-size:18px}"
      ".tables{display:flex;flex-wrap:wrap;gap:24px;align-items:flex-start}"
      "table.t{border-collapse:collapse}table.t th,table.t td{border:1px solid #ccd3da;"
      "padding:3px 8px;text-align:left}table.t td.n{text-align:right}"
      "table.t th{background:#e6ebf0}"
      ".chart{max-width:760px;width:100%;height:auto}.chart text{font-size:13px;fill:#1d2630}"
      ".chart .blank{fill:#5b7fa6}.chart .net{fill:#e0a03a}"
      ".flaglist a{color:#b3261e;margin-right:6px}"
      ".row{display:flex;gap:16px;background:#fff;margin:10px 20px;padding:10px;"
      "border-left:5px solid #7d9b76;border-radius:4px}"
      ".row.flagged{border-left-color:#c62828}"
      ".thumb{flex:none;width:260px;height:190px;border:1px solid #d4dae0;cursor:zoom-in;"
      "background:#fbfcfd}.thumb svg{width:100%;height:100%}"
      ".info{flex:1;min-width:0}.info h2{margin:0 0 6px;font-size:16px}"
      ".info h2 .seq{color:#5b6b7a}.info h2 .n{color:#5b6b7a;font-weight:normal}"
      "dl.v{display:grid;grid-template-columns:repeat(4,max-content minmax(60px,1fr));"
      "gap:2px 8px;margin:0}dl.v dt{color:#5b6b7a}dl.v dd{margin:0;overflow-wrap:anywhere}"
      "ul.flags{margin:6px 0 0;padding:0;list-style:none}"
      "li.flag{color:#b3261e;margin:2px 0}li.flag b{margin-right:6px}"
      ".note{color:#8a5a00;margin:4px 0}"
      ".sprite{position:absolute;width:0;height:0;overflow:hidden}"
      ".detail{display:none}"
      "#overlay{position:fixed;inset:0;background:rgba(16,22,28,.8);display:none;overflow:auto;"
      "z-index:10}#overlay.open{display:block}"
      "#overlay .detail{display:block;background:#fff;margin:20px auto;padding:12px;"
      "max-width:1400px;border-radius:4px}"
      ".detail h3{margin:0 0 8px}.detail button{float:right}"
      ".views{display:grid;grid-template-columns:3fr 2fr 2fr;gap:8px;"
      "grid-template-areas:'iso front left' 'iso top .'}"
      ".views figure{margin:0;border:1px solid #d4dae0;padding:4px}"
      ".views figcaption{text-align:center;color:#5b6b7a}"
      ".views svg{width:100%;height:auto;max-height:70vh}"
      ".views .fiso{grid-area:iso}.views .ffront{grid-area:front}.views .ftop{grid-area:top}"
      ".views .fleft{grid-area:left}"
      // Drawings are shown through <use>: their rules name the drawing's own
      // classes only, never the <svg> around them.
      ".box{fill:none;stroke:#222;stroke-width:1.3px;vector-effect:non-scaling-stroke}"
      ".box.hid{stroke:#8a939c;stroke-dasharray:5 4}"
      ".ax{stroke-width:2px;vector-effect:non-scaling-stroke}"
      ".x{stroke:#c62828;fill:#c62828}.y{stroke:#2e7d32;fill:#2e7d32}"
      ".z{stroke:#1565c0;fill:#1565c0}"
      ".dim,.al{font-size:60px;text-anchor:middle;dominant-baseline:central;"
      "font-weight:bold;stroke:none}";
  // Shades of steel, dark to light; the stroke hides the seams between facets.
  for (int k = 0; k < kShades; ++k) {
    const double t = 0.22 + 0.86 * k / (kShades - 1);
    const int r = std::min(255, static_cast<int>(std::lround(168 * t)));
    const int g = std::min(255, static_cast<int>(std::lround(184 * t)));
    const int b = std::min(255, static_cast<int>(std::lround(206 * t)));
    css += text::Format(
        ".s%d{fill:#%02x%02x%02x;stroke:#%02x%02x%02x;stroke-width:1.5;stroke-linejoin:round}", k,
        r, g, b, r, g, b);
  }
  return css;
}

// Collects errors of the page's script into the page (the tests read them
// back from the DOM).
constexpr const char* kErrorCollector =
    "<script>(function(){var errs=[];function note(m){errs.push(String(m));"
    "var e=document.getElementById('js-errors');if(e){e.textContent=errs.join('\\n');"
    "e.hidden=false;}}window.addEventListener('error',function(ev){note(ev.message||ev);});"
    "window.addEventListener('unhandledrejection',function(ev){note('rejection: '+ev.reason);});"
    "window.reportErrors=errs;})();</script>";

// A click on a thumbnail shows the row's drawing large with the three views;
// a click beside it, the button or Escape closes it. "#show-row-N" opens
// row N when the page loads.
constexpr const char* kViewer =
    "<script>(function(){var ov=document.getElementById('overlay'),open=null,home=null;"
    "function close(){if(!open)return;home.appendChild(open);open=null;"
    "ov.classList.remove('open');}"
    "function show(row){close();var d=row&&row.querySelector('.detail');if(!d)return;"
    "home=row;open=d;ov.appendChild(d);ov.classList.add('open');}"
    "document.addEventListener('click',function(ev){var t=ev.target.closest('.thumb');"
    "if(t){show(t.closest('.row'));return;}"
    "if(open&&(ev.target.closest('button.close')||!ev.target.closest('.detail')))close();});"
    "document.addEventListener('keydown',function(ev){if(ev.key==='Escape'){close();return;}"
    "var t=ev.target.closest&&ev.target.closest('.thumb');"
    "if(t&&(ev.key==='Enter'||ev.key===' ')){ev.preventDefault();show(t.closest('.row'));}});"
    "var m=/^#show-(row-[0-9]+)$/.exec(location.hash);"
    "if(m)show(document.getElementById(m[1]));"
    "document.body.setAttribute('data-ready','yes');})();</script>";

// What the first pass learns about one row.
struct RowFacts {
  host::Tag body = host::kNullTag;  // the body drawn
  std::optional<BlankFrame> frame;
  std::vector<std::string> notes;  // GBK
  std::vector<std::pair<FlagKind, std::string>> flags;
};

// Drawings written once and referred to after: identical bodies in the same
// blank give identical drawings.
class DrawingStore {
 public:
  // The reference to the drawing; `sprite` gets the definition when it is new.
  std::string Use(const ViewDrawing& d, const char* classes, std::string& sprite) {
    std::string key = std::to_string(d.width) + ' ' + std::to_string(d.height) + ' ' + d.content;
    auto [it, inserted] = ids_.try_emplace(std::move(key), 0);
    if (inserted) {
      it->second = static_cast<int>(ids_.size());
      sprite += "<g id=\"d" + std::to_string(it->second) + "\">" + d.content + "</g>";
    }
    return "<svg class=\"drawing " + std::string(classes) + "\" viewBox=\"0 0 " +
           std::to_string(d.width) + ' ' + std::to_string(d.height) +
           "\" preserveAspectRatio=\"xMidYMid meet\"><use href=\"#d" + std::to_string(it->second) +
           "\"/></svg>";
  }
  std::size_t size() const { return ids_.size(); }

 private:
  std::unordered_map<std::string, int> ids_;
};

struct Totals {
  std::size_t rows = 0, bodies = 0;
  double blank = 0.0, net = 0.0;
};

// The blank weight of one piece of a row: from its size before rounding
// when the density is known, else the weight the row shows.
double RowBlankWeight(const ReportRow& row, const ReportOptions& options) {
  if (options.blank_density > 0)
    if (const auto w = BlankWeightOfSize(row.columns[kSpecColumn], options.blank_density))
      return *w;
  const std::string& w17 = row.columns[kWeightColumn];
  return Number(w17.empty() ? row.columns[kGroupWeightColumn] : w17);
}

// The net weight of a row's `count` pieces: its bodies' volumes before
// rounding when the density is known and every body is there, else the
// weight the row shows for each piece.
double RowNetWeight(host::Host& host, const ReportRow& row, const ReportOptions& options,
                    std::size_t count) {
  if (options.net_density > 0 && !row.bodies.empty()) {
    double net = 0.0;
    bool whole = true;
    for (host::Tag b : row.bodies) {
      if (b == host::kNullTag || !host.objects().Exists(b)) {
        whole = false;
        break;
      }
      try {
        net += host.bodies().Volume(b) * options.net_density / 1000000.0;
      } catch (const host::HostError&) {
        whole = false;
        break;
      }
    }
    if (whole) return net;
  }
  const std::string& n18 = row.columns[kNetWeightColumn];
  return Number(n18.empty() ? row.columns[kGroupNetWeightColumn] : n18) *
         static_cast<double>(count);
}

}  // namespace

const char* FlagName(FlagKind kind) {
  switch (kind) {
    case FlagKind::kHoleDirection:
      return "holes";
    case FlagKind::kLowFill:
      return "fill";
    case FlagKind::kNoMaterial:
      return "material";
    case FlagKind::kSameBodyOtherCode:
      return "same";
  }
  return "";
}

ReportResult WriteBlankReport(host::Host& host, const std::vector<ReportRow>& rows,
                              const ReportOptions& options, std::ostream& out) {
  for (std::size_t i = 0; i < rows.size(); ++i)
    if (rows[i].columns.size() != kColumnCount)
      throw std::invalid_argument(
          text::Format("材料行%zu有%zu列，应为%zu列", i + 1, rows[i].columns.size(), kColumnCount));

  ReportResult result;
  result.rows = rows.size();

  // First pass: blank systems and flags, for the summary at the top.
  BlankFrames frames(host);
  std::vector<RowFacts> facts(rows.size());
  const std::vector<std::optional<std::string>> same = SameBodyFlags(host, rows);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const ReportRow& row = rows[i];
    RowFacts& f = facts[i];
    result.bodies += row.bodies.size();
    if (row.bodies.empty()) f.notes.push_back("这一行没有实体");
    for (host::Tag b : row.bodies) {
      if (b == host::kNullTag || !host.objects().Exists(b)) {
        f.notes.push_back(text::Format("实体%u已不存在，无法绘制", static_cast<unsigned>(b)));
        continue;
      }
      try {
        const BlankFrame frame = frames.Find(b);
        if (!frame.note.empty()) f.notes.push_back(frame.note);
        auto has = [&](FlagKind k) {
          return std::any_of(f.flags.begin(), f.flags.end(),
                             [k](const auto& x) { return x.first == k; });
        };
        if (!has(FlagKind::kHoleDirection))
          if (auto r = HoleDirectionFlag(host, b, frame))
            f.flags.emplace_back(FlagKind::kHoleDirection, *r);
        if (!has(FlagKind::kLowFill))
          if (auto r = FillFlag(host, b, frame, options.fill_limit))
            f.flags.emplace_back(FlagKind::kLowFill, *r);
        if (f.body == host::kNullTag) {
          f.body = b;
          f.frame = frame;
        }
      } catch (const host::HostError& e) {
        f.notes.push_back(text::Format("实体%u无法测量：", static_cast<unsigned>(b)) + e.what());
      }
    }
    if (auto r = NoMaterialFlag(host, row)) f.flags.emplace_back(FlagKind::kNoMaterial, *r);
    if (same[i]) f.flags.emplace_back(FlagKind::kSameBodyOtherCode, *same[i]);
    std::sort(f.flags.begin(), f.flags.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [kind, reason] : f.flags) result.flags.push_back({i, kind, reason});
    for (const std::string& note : f.notes)
      result.problems.push_back(text::Format("材料行%zu：", i + 1) + note);
  }

  std::size_t bytes = 0;
  auto emit = [&](const std::string& s) {
    out << s;
    bytes += s.size();
  };

  // Head.
  std::string page =
      "<!DOCTYPE html>\n<html lang=\"zh-CN\"><head><meta charset=\"utf-8\">"
      "<meta name=\"viewport\" content=\"width=device-width\"><title>" +
      Html("毛坯报告") + (options.title.empty() ? "" : " - " + Html(options.title)) +
      "</title><style>" + Styles() + "</style>" + kErrorCollector + "</head><body>";
  page += "<header><h1>" + Html("毛坯报告") + "</h1>";
  if (!options.title.empty()) page += "<p class=\"part\">" + Html(options.title) + "</p>";
  page += "</header><div id=\"js-errors\" hidden></div>";

  // Summary: counts, weights per material, ordering methods, flags.
  std::map<std::string, Totals> materials;  // by material text (GBK)
  std::map<std::string, Totals> methods;
  Totals all;
  for (const ReportRow& row : rows) {
    const std::size_t count =
        row.bodies.empty()
            ? static_cast<std::size_t>(std::max(1, std::atoi(row.columns[kCountColumn].c_str())))
            : row.bodies.size();
    const double blank = RowBlankWeight(row, options) * static_cast<double>(count);
    const double net = RowNetWeight(host, row, options, count);
    for (Totals* t :
         {&materials[row.columns[kMaterialColumn]], &methods[row.columns[kOrderingColumn]], &all}) {
      t->rows += 1;
      t->bodies += row.bodies.size();
      t->blank += blank;
      t->net += net;
    }
  }
  page += "<section id=\"summary\"><h2>" + Html("概要") + "</h2><p class=\"totals\">" +
          Html("实体") + " <b id=\"body-count\">" + std::to_string(result.bodies) + "</b> " +
          Html("个，材料行") + " <b id=\"row-count\">" + std::to_string(rows.size()) + "</b> " +
          Html("行，毛坯重量") + " <b>" + Fixed(all.blank, 1) + "</b> KG" + Html("，净重") +
          " <b>" + Fixed(all.net, 3) + "</b> KG" + Html("，需查看") + " <b id=\"flag-count\">" +
          std::to_string(result.flags.size()) + "</b> " + Html("处") + "</p>";

  // Bar chart of blank and net weight per material.
  {
    double top = 0.0;
    for (const auto& [name, t] : materials) top = std::max({top, t.blank, t.net});
    const int label = 150, bar = 480, lane = 34;
    const int height = 30 + lane * static_cast<int>(materials.size());
    std::string svg =
        "<svg class=\"chart\" id=\"weight-chart\" viewBox=\"0 0 760 " + std::to_string(height) +
        "\" role=\"img\"><text x=\"" + std::to_string(label) + "\" y=\"14\">" +
        Html("毛坯重量(KG)") + "</text><rect class=\"blank\" x=\"" + std::to_string(label - 16) +
        "\" y=\"4\" width=\"12\" height=\"12\"/><text x=\"" + std::to_string(label + 170) +
        "\" y=\"14\">" + Html("净重(KG)") + "</text><rect class=\"net\" x=\"" +
        std::to_string(label + 154) + "\" y=\"4\" width=\"12\" height=\"12\"/>";
    int y = 26;
    for (const auto& [name, t] : materials) {
      const double wb = top > 0 ? bar * t.blank / top : 0.0;
      const double wn = top > 0 ? bar * t.net / top : 0.0;
      svg += "<g class=\"bar\" data-material=\"" + Html(name) + "\"><text x=\"" +
             std::to_string(label - 8) + "\" y=\"" + std::to_string(y + 16) +
             "\" text-anchor=\"end\">" + Html(name.empty() ? "（无材质）" : name) +
             "</text><rect class=\"blank\" x=\"" + std::to_string(label) + "\" y=\"" +
             std::to_string(y + 2) + "\" width=\"" + Fixed(wb, 1) +
             "\" height=\"13\"/><rect class=\"net\" x=\"" + std::to_string(label) + "\" y=\"" +
             std::to_string(y + 16) + "\" width=\"" + Fixed(wn, 1) +
             "\" height=\"13\"/><text x=\"" + Fixed(label + wb + 6, 1) + "\" y=\"" +
             std::to_string(y + 13) + "\">" + Fixed(t.blank, 1) + "</text><text x=\"" +
             Fixed(label + wn + 6, 1) + "\" y=\"" + std::to_string(y + 27) + "\">" +
             Fixed(t.net, 3) + "</text></g>";
      y += lane;
    }
    svg += "</svg>";
    page += svg;
  }

  page += "<div class=\"tables\"><table class=\"t\" id=\"materials\"><tr><th>" + Html("材质") +
          "</th><th>" + Html("实体数") + "</th><th>" + Html("毛坯重量(KG)") + "</th><th>" +
          Html("净重(KG)") + "</th></tr>";
  for (const auto& [name, t] : materials)
    page += "<tr><td>" + Html(name.empty() ? "（无材质）" : name) + "</td><td class=\"n\">" +
            std::to_string(t.bodies) + "</td><td class=\"n\">" + Fixed(t.blank, 1) +
            "</td><td class=\"n\">" + Fixed(t.net, 3) + "</td></tr>";
  page += "</table><table class=\"t\" id=\"methods\"><tr><th>" + Html("订购方式") + "</th><th>" +
          Html("行数") + "</th><th>" + Html("实体数") + "</th></tr>";
  for (const auto& [name, t] : methods)
    page += "<tr data-method=\"" + Html(name) + "\"><td>" + Html(name.empty() ? "（未定）" : name) +
            "</td><td class=\"n\">" + std::to_string(t.rows) + "</td><td class=\"n\">" +
            std::to_string(t.bodies) + "</td></tr>";
  page += "</table><table class=\"t\" id=\"flag-kinds\"><tr><th>" + Html("需查看") + "</th><th>" +
          Html("行数") + "</th><th>" + Html("材料行") + "</th></tr>";
  for (FlagKind kind : kFlagKinds) {
    std::string links;
    std::size_t n = 0;
    for (const ReportFlag& flag : result.flags) {
      if (flag.kind != kind) continue;
      ++n;
      const std::string& seq = rows[flag.row].columns[kSequenceColumn];
      links += "<a href=\"#row-" + std::to_string(flag.row + 1) + "\">" +
               (seq.empty() ? std::to_string(flag.row + 1) : Html(seq)) + "</a>";
    }
    page += "<tr data-flag=\"" + std::string(FlagName(kind)) + "\"><td>" + Html(FlagTitle(kind)) +
            "</td><td class=\"n\">" + std::to_string(n) + "</td><td class=\"flaglist\">" + links +
            "</td></tr>";
  }
  page += "</table></div></section><main>";
  emit(page);

  // One section per row.
  DrawingStore store;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const ReportRow& row = rows[i];
    RowFacts& f = facts[i];
    std::string flags_attr;
    for (const auto& [kind, reason] : f.flags) {
      if (!flags_attr.empty()) flags_attr += ' ';
      flags_attr += FlagName(kind);
    }
    const std::string id = "row-" + std::to_string(i + 1);
    std::string sprite, thumb, detail;
    if (f.frame) {
      try {
        const Mesh mesh =
            BlankMesh(host, f.body, *f.frame, options.chord_share, options.facet_angle);
        const ViewDrawing iso = DrawView(mesh, *f.frame, View::kIsometric);
        thumb = store.Use(iso, "iso", sprite);
        detail = "<figure class=\"fiso\">" + store.Use(iso, "iso-large", sprite) + "<figcaption>" +
                 Html("轴测图") + "</figcaption></figure>";
        if (options.orthographic_views) {
          const std::pair<View, const char*> views[] = {
              {View::kFront, "front"}, {View::kLeft, "left"}, {View::kTop, "top"}};
          const char* captions[] = {"主视图", "左视图", "俯视图"};
          for (int v = 0; v < 3; ++v) {
            const ViewDrawing d = DrawView(mesh, *f.frame, views[v].first);
            detail += "<figure class=\"f" + std::string(views[v].second) + "\">" +
                      store.Use(d, (std::string("ortho ") + views[v].second).c_str(), sprite) +
                      "<figcaption>" + Html(captions[v]) + "</figcaption></figure>";
          }
        }
        ++result.drawings;
      } catch (const host::HostError& e) {
        const std::string note =
            text::Format("实体%u无法绘制：", static_cast<unsigned>(f.body)) + e.what();
        result.problems.push_back(text::Format("材料行%zu：", i + 1) + note);
        f.notes.push_back(note);
        thumb.clear();
        detail.clear();
      }
    }
    std::string s;
    if (!sprite.empty())
      s += "<svg class=\"sprite\" aria-hidden=\"true\"><defs>" + sprite + "</defs></svg>";
    s += "<section class=\"row" + std::string(f.flags.empty() ? "" : " flagged") + "\" id=\"" + id +
         "\" data-seq=\"" + Html(row.columns[kSequenceColumn]) + "\" data-code=\"" +
         Html(row.columns[kCodeColumn]) + "\" data-bodies=\"" + std::to_string(row.bodies.size()) +
         "\" data-flags=\"" + flags_attr + "\">";
    s += "<div class=\"thumb\" tabindex=\"0\" title=\"" + Html("点击放大") + "\">" + thumb +
         "</div>";
    const std::string heading =
        "<span class=\"seq\">" + Html(row.columns[kSequenceColumn]) + "</span> " +
        Html(row.columns[kCodeColumn]) + " " + Html(row.columns[kNameColumn]) +
        (row.bodies.size() > 1
             ? " <span class=\"n\">x" + std::to_string(row.bodies.size()) + "</span>"
             : "");
    s += "<div class=\"info\"><h2>" + heading + "</h2><dl class=\"v\">";
    for (std::size_t c = 1; c < kColumnCount; ++c)
      s += "<dt>" + Html(kHeadings[c]) + "</dt><dd>" + Html(row.columns[c]) + "</dd>";
    s += "</dl>";
    if (!f.flags.empty()) {
      s += "<ul class=\"flags\">";
      for (const auto& [kind, reason] : f.flags)
        s += "<li class=\"flag flag-" + std::string(FlagName(kind)) + "\"><b>" +
             Html(FlagTitle(kind)) + "</b>" + Html(reason) + "</li>";
      s += "</ul>";
    }
    for (const std::string& note : f.notes) s += "<p class=\"note\">" + Html(note) + "</p>";
    s += "</div>";
    if (!detail.empty())
      s += "<div class=\"detail\"><button class=\"close\" type=\"button\">" + Html("关闭") +
           "</button><h3>" + heading + "</h3><div class=\"views\">" + detail + "</div></div>";
    s += "</section>\n";
    emit(s);
  }
  emit(std::string("</main><div id=\"overlay\"></div>") + kViewer + "</body></html>\n");
  result.distinct_drawings = store.size();
  result.bytes = bytes;
  return result;
}

ReportResult WriteBlankReport(host::Host& host, const std::vector<ReportRow>& rows,
                              const ReportOptions& options, const std::string& path) {
  std::ostringstream page;
  ReportResult result = WriteBlankReport(host, rows, options, page);
  if (!host.platform().WriteFile(path, page.str()))
    throw std::runtime_error("无法写入毛坯报告：" + path);
  return result;
}

}  // namespace report
