#include "report/drawing.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "host/math.h"

namespace report {
namespace {

using host::Point3d;
using host::Tag;
using host::Vector3d;

constexpr const char* kIdentityTitle = "实体标识";
constexpr const char* kOrientationTitle = "材料方位";

// Drawing units: the longer side of a view's box is this long.
constexpr double kSpan = 1000.0;
// Room around the box for the axes' letters and the extents.
constexpr double kMargin = 200.0;

Vector3d Sub(const Point3d& a, const Point3d& b) { return {a.X - b.X, a.Y - b.Y, a.Z - b.Z}; }
double DotP(const Point3d& p, const Vector3d& v) { return p.X * v.X + p.Y * v.Y + p.Z * v.Z; }
Point3d Along(const Point3d& p, const Vector3d& v, double t) {
  return {p.X + v.X * t, p.Y + v.Y * t, p.Z + v.Z * t};
}

// "x1,y1,z1,x2,y2,z2": the X and the Y axis. False unless exactly six numbers.
bool ParseOrientation(const std::string& text, Vector3d& x, Vector3d& y) {
  double v[6];
  const char* p = text.c_str();
  for (int i = 0; i < 6; ++i) {
    char* end = nullptr;
    v[i] = std::strtod(p, &end);
    if (end == p || !std::isfinite(v[i])) return false;
    p = end;
    while (*p == ' ') ++p;
    if (i < 5) {
      if (*p != ',') return false;
      ++p;
    }
  }
  if (*p != '\0') return false;
  x = {v[0], v[1], v[2]};
  y = {v[3], v[4], v[5]};
  return true;
}

// A view: screen right, screen up and the direction toward the viewer, in
// blank coordinates (right x up = back).
struct Projection {
  Vector3d right, up, back;
};

Projection ProjectionOf(View view) {
  const double r2 = std::sqrt(2.0), r3 = std::sqrt(3.0), r6 = std::sqrt(6.0);
  switch (view) {
    case View::kIsometric:  // seen from (1, 1, 1): X to the lower left, Y to the lower right
      return {{-1 / r2, 1 / r2, 0}, {-1 / r6, -1 / r6, 2 / r6}, {1 / r3, 1 / r3, 1 / r3}};
    case View::kFront:  // seen from -Y
      return {{1, 0, 0}, {0, 0, 1}, {0, -1, 0}};
    case View::kTop:  // seen from +Z
      return {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    case View::kLeft:  // seen from -X (first-angle: drawn to the right of the front view)
      return {{0, -1, 0}, {0, 0, 1}, {-1, 0, 0}};
  }
  return {};
}

void AppendInt(std::string& out, long v) {
  char buffer[24];
  const auto r = std::to_chars(buffer, buffer + sizeof buffer, v);
  out.append(buffer, r.ptr);
}

struct ScreenPoint {
  long x = 0, y = 0;
};

// Maps blank coordinates to drawing units.
struct Screen {
  Projection pr;
  double scale = 1.0, min_x = 0.0, max_y = 0.0;
  double X(const Point3d& p) const { return (DotP(p, pr.right) - min_x) * scale + kMargin; }
  double Y(const Point3d& p) const { return (max_y - DotP(p, pr.up)) * scale + kMargin; }
  // Rounded a little off the half: exact halves are common with round
  // sizes, and noise must not round the same point of two copies apart.
  ScreenPoint At(const Point3d& p) const {
    return {std::lround(X(p) + kNudge), std::lround(Y(p) + kNudge)};
  }
  static constexpr double kNudge = 1.37e-4;
};

const char* AxisClass(int axis) { return axis == 0 ? "x" : axis == 1 ? "y" : "z"; }

Vector3d AxisVector(int axis) {
  return axis == 0 ? Vector3d{1, 0, 0} : axis == 1 ? Vector3d{0, 1, 0} : Vector3d{0, 0, 1};
}

Point3d Corner(const BlankFrame& f, int bits) {
  return {bits & 1 ? f.high.X : f.low.X, bits & 2 ? f.high.Y : f.low.Y,
          bits & 4 ? f.high.Z : f.low.Z};
}

void AppendText(std::string& out, const char* cls, double x, double y, const std::string& text) {
  out += "<text class=\"";
  out += cls;
  out += "\" x=\"";
  AppendInt(out, std::lround(x));
  out += "\" y=\"";
  AppendInt(out, std::lround(y));
  out += "\">";
  out += text;  // digits and axis letters only
  out += "</text>";
}

}  // namespace

double BlankFrame::Extent(int axis) const {
  return axis == 0 ? high.X - low.X : axis == 1 ? high.Y - low.Y : high.Z - low.Z;
}

BlankFrames::BlankFrames(host::Host& host) : host_(host) {
  for (Tag t : host.csys().PartCsys(host.session().WorkPart())) {
    const std::string name = host.objects().Name(t);
    if (!name.empty()) named_.emplace(name, t);
  }
}

BlankFrame BlankFrames::Find(Tag body) {
  BlankFrame f;
  auto& attributes = host_.attributes();
  Tag csys = host::kNullTag;
  const host::AttributeValue identity = attributes.Read(body, kIdentityTitle);
  if (identity.type != 0 && !identity.text.empty()) {
    const auto it = named_.find(identity.text);
    if (it != named_.end() && host_.objects().Exists(it->second)) csys = it->second;
  }
  Tag temp_matrix = host::kNullTag, temp_csys = host::kNullTag;
  if (csys != host::kNullTag) {
    const host::CsysInfo info = host_.csys().AskCsysInfo(csys);
    f.source = BlankFrame::Source::kNamedSystem;
    f.origin = info.origin;
    f.axes = info.matrix;
    if (host::Mtx3OrthoNormalize(f.axes) != 0) f.axes = host::Matrix3x3{};
  } else {
    const host::AttributeValue orientation = attributes.Read(body, kOrientationTitle);
    if (orientation.type != 0) {
      Vector3d x, y;
      host::Matrix3x3 m;
      if (ParseOrientation(orientation.text, x, y) && host::Mtx3Initialize(x, y, m) == 0) {
        f.source = BlankFrame::Source::kOrientation;
        f.axes = m;
        temp_matrix = host_.csys().CreateMatrix(m);
        temp_csys = host_.csys().CreateTempCsys({}, temp_matrix);
        csys = temp_csys;
      } else {
        f.note = std::string("\"") + kOrientationTitle + "\"无法读取（" + orientation.text +
                 "），按绝对坐标绘制";
      }
    }
  }
  host::ExactBox box;
  try {
    box = host_.bodies().AskBoundingBoxExact(body, csys);
  } catch (...) {
    if (temp_csys != host::kNullTag) host_.objects().Delete(temp_csys);
    if (temp_matrix != host::kNullTag) host_.objects().Delete(temp_matrix);
    throw;
  }
  if (temp_csys != host::kNullTag) host_.objects().Delete(temp_csys);
  if (temp_matrix != host::kNullTag) host_.objects().Delete(temp_matrix);
  f.low = host::ToLocal(box.corner, f.origin, f.axes);
  f.high = {f.low.X + box.distances[0], f.low.Y + box.distances[1], f.low.Z + box.distances[2]};
  return f;
}

Mesh BlankMesh(host::Host& host, Tag body, const BlankFrame& frame, double chord_share,
               double angle) {
  const double diagonal = host::Length({frame.Extent(0), frame.Extent(1), frame.Extent(2)});
  const double chord = std::max(1e-3, diagonal * chord_share);
  host::Facets facets = host.bodies().AskFacets(body, chord, angle);
  Mesh mesh;
  mesh.vertices.reserve(facets.vertices.size());
  for (const Point3d& p : facets.vertices)
    mesh.vertices.push_back(host::ToLocal(p, frame.origin, frame.axes));
  mesh.triangles = std::move(facets.triangles);
  return mesh;
}

ViewDrawing DrawView(const Mesh& mesh, const BlankFrame& frame, View view) {
  const bool iso = view == View::kIsometric;
  Screen s;
  s.pr = ProjectionOf(view);
  const Projection& pr = s.pr;

  double extent[3], longest = 0.0;
  for (int a = 0; a < 3; ++a) longest = std::max(longest, extent[a] = frame.Extent(a));
  if (!(longest > 0.0)) longest = 1.0;

  // The axes start at the blank's origin: the box's centre in X and Y, on its
  // lower face; those in the view's plane are drawn.
  const Point3d origin{(frame.low.X + frame.high.X) / 2, (frame.low.Y + frame.high.Y) / 2,
                       frame.low.Z};
  bool shown[3];
  Point3d tip[3];
  for (int a = 0; a < 3; ++a) {
    const Vector3d v = AxisVector(a);
    shown[a] = std::abs(host::Dot(v, pr.back)) < 0.9;  // not seen end-on
    const double reach = (a == 2 ? extent[2] : extent[a] / 2) + 0.25 * longest;
    tip[a] = Along(origin, v, reach);
  }

  // Bounds of the box and the axes on the screen.
  double min_x = 1e300, max_x = -1e300, min_y = 1e300, max_y = -1e300;
  auto grow = [&](const Point3d& p) {
    const double x = DotP(p, pr.right), y = DotP(p, pr.up);
    min_x = std::min(min_x, x), max_x = std::max(max_x, x);
    min_y = std::min(min_y, y), max_y = std::max(max_y, y);
  };
  for (int c = 0; c < 8; ++c) grow(Corner(frame, c));
  for (int a = 0; a < 3; ++a)
    if (shown[a]) grow(tip[a]);
  // The isometric view fills its own box; the orthographic views share one
  // scale, set by the blank's longest side.
  s.scale = kSpan / (iso ? std::max({max_x - min_x, max_y - min_y, 1e-9}) : longest * 1.25);
  s.min_x = min_x;
  s.max_y = max_y;

  ViewDrawing d;
  d.width = static_cast<int>(std::lround((max_x - min_x) * s.scale + 2 * kMargin));
  d.height = static_cast<int>(std::lround((max_y - min_y) * s.scale + 2 * kMargin));
  std::string& out = d.content;

  // Faces toward the viewer, far ones first, flat shaded.
  struct Face {
    double depth;
    int shade;
    ScreenPoint p[3];
  };
  std::vector<Face> faces;
  faces.reserve(mesh.triangles.size() / 2 + 1);
  Vector3d light{-0.35 * pr.right.X + 0.55 * pr.up.X + 0.75 * pr.back.X,
                 -0.35 * pr.right.Y + 0.55 * pr.up.Y + 0.75 * pr.back.Y,
                 -0.35 * pr.right.Z + 0.55 * pr.up.Z + 0.75 * pr.back.Z};
  light = host::Unit(light);
  const int n = static_cast<int>(mesh.vertices.size());
  for (const auto& t : mesh.triangles) {
    if (t[0] < 0 || t[1] < 0 || t[2] < 0 || t[0] >= n || t[1] >= n || t[2] >= n) continue;
    const Point3d& a = mesh.vertices[t[0]];
    const Point3d& b = mesh.vertices[t[1]];
    const Point3d& c = mesh.vertices[t[2]];
    const Vector3d normal = host::Unit(host::Cross(Sub(b, a), Sub(c, a)));
    if (host::Dot(normal, pr.back) <= 1e-6) continue;  // facing away, or seen edge-on
    Face f;
    f.p[0] = s.At(a), f.p[1] = s.At(b), f.p[2] = s.At(c);
    const long area = (f.p[1].x - f.p[0].x) * (f.p[2].y - f.p[0].y) -
                      (f.p[2].x - f.p[0].x) * (f.p[1].y - f.p[0].y);
    if (area == 0) continue;
    // Depth rounded so that coplanar faces tie, and keep the facets' order,
    // in copies of a body as well.
    f.depth = std::round((DotP(a, pr.back) + DotP(b, pr.back) + DotP(c, pr.back)) / 3 * 1e4);
    const double lit = 0.3 + 0.7 * std::max(0.0, host::Dot(normal, light));
    f.shade = std::clamp(static_cast<int>(std::lround(lit * (kShades - 1))), 0, kShades - 1);
    faces.push_back(f);
  }
  std::stable_sort(faces.begin(), faces.end(),
                   [](const Face& a, const Face& b) { return a.depth < b.depth; });
  // One path per run of equally shaded faces: the order stays the painter's.
  for (std::size_t i = 0; i < faces.size();) {
    const int shade = faces[i].shade;
    out += "<path class=\"s";
    AppendInt(out, shade);
    out += "\" d=\"";
    for (; i < faces.size() && faces[i].shade == shade; ++i) {
      out += 'M';
      for (int k = 0; k < 3; ++k) {
        if (k) out += ' ';
        AppendInt(out, faces[i].p[k].x);
        out += ' ';
        AppendInt(out, faces[i].p[k].y);
      }
      out += 'Z';
    }
    out += "\"/>";
  }

  // The blank box.
  if (iso) {
    std::string visible, hidden;
    for (int c = 0; c < 8; ++c)
      for (int a = 0; a < 3; ++a) {
        const int bit = 1 << a;
        if (c & bit) continue;
        const ScreenPoint p = s.At(Corner(frame, c)), q = s.At(Corner(frame, c | bit));
        std::string& path = c == 0 ? hidden : visible;  // the far corner's edges are hidden
        path += 'M';
        AppendInt(path, p.x), path += ' ', AppendInt(path, p.y), path += ' ';
        AppendInt(path, q.x), path += ' ', AppendInt(path, q.y);
      }
    out +=
        "<path class=\"box hid\" d=\"" + hidden + "\"/><path class=\"box\" d=\"" + visible + "\"/>";
  } else {
    long x0 = 1L << 40, y0 = 1L << 40, x1 = -(1L << 40), y1 = -(1L << 40);
    for (int c = 0; c < 8; ++c) {
      const ScreenPoint p = s.At(Corner(frame, c));
      x0 = std::min(x0, p.x), y0 = std::min(y0, p.y), x1 = std::max(x1, p.x),
      y1 = std::max(y1, p.y);
    }
    out += "<path class=\"box\" d=\"M";
    AppendInt(out, x0), out += ' ', AppendInt(out, y0), out += 'H', AppendInt(out, x1);
    out += 'V', AppendInt(out, y1), out += 'H', AppendInt(out, x0), out += "Z\"/>";
  }

  // The axes, with arrow heads and letters.
  const ScreenPoint o = s.At(origin);
  for (int a = 0; a < 3; ++a) {
    if (!shown[a]) continue;
    const ScreenPoint t = s.At(tip[a]);
    double dx = static_cast<double>(t.x - o.x), dy = static_cast<double>(t.y - o.y);
    const double len = std::hypot(dx, dy);
    if (len < 1.0) continue;
    dx /= len, dy /= len;
    const double head = std::min(34.0, len / 2);
    out += "<path class=\"ax ";
    out += AxisClass(a);
    out += "\" d=\"M";
    AppendInt(out, o.x), out += ' ', AppendInt(out, o.y), out += ' ';
    AppendInt(out, t.x), out += ' ', AppendInt(out, t.y), out += "M";
    AppendInt(out, t.x), out += ' ', AppendInt(out, t.y), out += ' ';
    AppendInt(out, std::lround(t.x - head * dx + 0.35 * head * dy)), out += ' ';
    AppendInt(out, std::lround(t.y - head * dy - 0.35 * head * dx)), out += ' ';
    AppendInt(out, std::lround(t.x - head * dx - 0.35 * head * dy)), out += ' ';
    AppendInt(out, std::lround(t.y - head * dy + 0.35 * head * dx)), out += "Z\"/>";
    const std::string cls = std::string("al ") + AxisClass(a);
    AppendText(out, cls.c_str(), t.x + 48 * dx, t.y + 48 * dy, std::string(1, "XYZ"[a]));
  }

  // The extents, written beside a box edge along each axis in the view:
  // in the isometric view the two far edges of the top face and the right
  // upright, all on the outline with nothing beyond them (the X and Y axes
  // leave the box under the near bottom edges, so an extent written there
  // would stand at the tip of the other axis); in the others the edge at the
  // bottom or on the left (the axes run from the middle of the box to the
  // right and up).
  const Point3d centre{(frame.low.X + frame.high.X) / 2, (frame.low.Y + frame.high.Y) / 2,
                       (frame.low.Z + frame.high.Z) / 2};
  const double cx = s.X(centre), cy = s.Y(centre);
  for (int a = 0; a < 3; ++a) {
    if (!shown[a]) continue;
    const int bit = 1 << a;
    int best = -1;
    double best_score = -1e300;
    for (int c = 0; c < 8; ++c) {
      if (c & bit) continue;
      if (iso) {
        // X on the edge at low Y, high Z; Y at low X, high Z; Z at low X, high Y.
        const int want = a == 2 ? 2 : 4;
        if (c != want) continue;
        best = c;
        break;
      }
      const Point3d m = Along(Corner(frame, c), AxisVector(a), extent[a] / 2);
      const bool horizontal = std::abs(host::Dot(AxisVector(a), pr.right)) > 0.5;
      const double score = horizontal ? s.Y(m) : -s.X(m);
      if (score > best_score + 1e-9) best_score = score, best = c;
    }
    if (best < 0) continue;
    const Point3d m = Along(Corner(frame, best), AxisVector(a), extent[a] / 2);
    double mx = s.X(m), my = s.Y(m);
    double ox = mx - cx, oy = my - cy;
    const double ol = std::hypot(ox, oy);
    if (ol > 1e-9)
      ox /= ol, oy /= ol;
    else
      ox = 0, oy = 1;
    char value[32];
    std::snprintf(value, sizeof value, "%.1f", extent[a]);
    const std::string cls = std::string("dim ") + AxisClass(a);
    AppendText(out, cls.c_str(), mx + 64 * ox, my + 64 * oy, value);
  }
  return d;
}

}  // namespace report
