#include "dialogs/select_datum.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>

#include "blank/body_info.h"
#include "dialogs/dialog_support.h"
#include "host/text.h"

namespace {

constexpr const char* kLayout = "SelectDatum.dlx";
constexpr const char* kDatumTitle = "标注基准";
constexpr const char* kOrientTitle = "材料方位";
constexpr const char* kIdentityTitle = "实体标识";
constexpr int kPreviewColor = 186;

// A whole decimal number; false for anything else.
bool ParseInt(const std::string& s, int& value) {
  if (s.empty()) return false;
  char* end = nullptr;
  errno = 0;
  const long v = std::strtol(s.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || v < -1000000 || v > 1000000) return false;
  value = static_cast<int>(v);
  return true;
}

// A decimal number, blanks around it allowed; false for anything else.
bool ParseDouble(const std::string& s, double& value) {
  const char* begin = s.c_str();
  char* end = nullptr;
  value = std::strtod(begin, &end);
  if (end == begin) return false;
  while (*end == ' ' || *end == '\t') ++end;
  return *end == '\0';
}

// The orthonormal matrix of a stored orientation "x1,y1,z1,x2,y2,z2,...";
// false unless it has more than six fields, six numbers and two directions
// that make a system.
bool ReadOrientation(const std::string& orient, host::Matrix3x3& matrix) {
  const std::vector<std::string> fields = SelectDatum::SplitStr(orient, ",");
  if (fields.size() <= 6) return false;
  double v[6];
  for (int i = 0; i < 6; ++i)
    if (!ParseDouble(fields[i], v[i])) return false;
  return host::Mtx3Initialize({v[0], v[1], v[2]}, {v[3], v[4], v[5]}, matrix) == 0;
}

}  // namespace

using dialogs::Required;

SelectDatum::SelectDatum(host::Host& host) : host_(host), dialog_name_(kLayout) {
  dialog_ = host_.dialogs().CreateDialog(dialog_name_);
  dialog_->AddApplyHandler([this] { return apply_cb(); });
  dialog_->AddOkHandler([this] { return ok_cb(); });
  dialog_->AddUpdateHandler([this](host::UIBlock* block) { return update_cb(block); });
  dialog_->AddInitializeHandler([this] { initialize_cb(); });
  dialog_->AddDialogShownHandler([this] { dialogShown_cb(); });
}

SelectDatum::~SelectDatum() = default;

int SelectDatum::Show() { return dialog_->Show(); }

void SelectDatum::initialize_cb() {
  try {
    host::CompositeBlock* top = dialog_->TopBlock();
    group0_ = top->Find<host::Group>("group0");
    bodySelect0_ = top->Find<host::BodyCollector>("bodySelect0");
    separator0_ = top->Find<host::Separator>("separator0");
    enum0_ = top->Find<host::Enumeration>("enum0");
    enum01_ = top->Find<host::Enumeration>("enum01");
    enum02_ = top->Find<host::Enumeration>("enum02");
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
  }
}

void SelectDatum::dialogShown_cb() {
  try {
    UpdateShow();
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
  }
}

int SelectDatum::apply_cb() {
  try {
    DeleteSpheres();
    const int face = Required(enum01_, kLayout, "enum01").Value();
    const int point = Required(enum02_, kLayout, "enum02").Value();
    const std::string value = text::Format("%d-%d", face, point);
    for (host::Tag object : Required(bodySelect0_, kLayout, "bodySelect0").GetSelectedObjects()) {
      if (!dialogs::IsBody(host_, object)) continue;
      bodies_.push_back(object);
      host_.attributes().SetString(object, kDatumTitle, value);
    }
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
    return 1;
  }
  return 0;
}

int SelectDatum::ok_cb() { return apply_cb(); }

int SelectDatum::update_cb(host::UIBlock* block) {
  try {
    if (block == nullptr) return 0;
    if (block == bodySelect0_) {
      const std::vector<host::Tag> selected = bodySelect0_->GetSelectedObjects();
      if (!selected.empty() && dialogs::IsBody(host_, selected.front())) {
        // A datum that cannot be read is reported; the preview follows the
        // choice shown all the same.
        try {
          ReadDatumOfBody(selected.front());
        } catch (const std::exception& e) {
          dialogs::ShowCallbackError(host_, e);
        }
      }
      UpdateShow();
    } else if (block == enum01_ || block == enum02_) {
      UpdateShow();
    }
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
  }
  return 0;
}

void SelectDatum::ReadDatumOfBody(host::Tag body) {
  host::Attributes& attributes = host_.attributes();
  if (!attributes.Has(body, kDatumTitle, host::kStringAttribute)) return;
  const std::string value = attributes.GetString(body, kDatumTitle);
  const std::size_t dash = value.find('-');
  int face = -1;
  int point = -1;
  host::Enumeration& faces = Required(enum01_, kLayout, "enum01");
  host::Enumeration& points = Required(enum02_, kLayout, "enum02");
  if (dash == std::string::npos || !ParseInt(value.substr(0, dash), face) ||
      !ParseInt(value.substr(dash + 1), point) || face < 0 ||
      face >= static_cast<int>(faces.GetEnumMembers().size()) || point < 0 ||
      point >= static_cast<int>(points.GetEnumMembers().size())) {
    throw std::runtime_error("实体的" + std::string(kDatumTitle) + "\"" + value +
                             "\"无效，应为\"面-点\"，如0-4");
  }
  faces.SetValue(face);
  points.SetValue(point);
}

std::vector<host::Tag> SelectDatum::GetCsysByName(const std::string& name, host::Tag part) {
  std::vector<host::Tag> found;
  for (host::Tag csys : host_.csys().PartCsys(part)) {
    if (host_.objects().Name(csys) == name) found.push_back(csys);
  }
  return found;
}

std::vector<std::string> SelectDatum::SplitStr(const std::string& text,
                                               const std::string& separator) {
  std::vector<std::string> fields;
  if (separator.empty()) {
    fields.push_back(text);
    return fields;
  }
  std::size_t start = 0;
  for (;;) {
    const std::size_t at = text.find(separator, start);
    if (at == std::string::npos) break;
    fields.push_back(text.substr(start, at - start));
    start = at + separator.size();
  }
  fields.push_back(text.substr(start));
  return fields;
}

void SelectDatum::DeleteSpheres() {
  host::Objects& objects = host_.objects();
  for (host::Tag feature : spheres_) {
    if (objects.Exists(feature)) objects.Delete(feature);
  }
  spheres_.clear();
}

void SelectDatum::UpdateShow() {
  host::CoordinateSystems& csys = host_.csys();
  host::Objects& objects = host_.objects();
  host::Attributes& attributes = host_.attributes();

  const host::Tag saved_wcs = csys.AskWcs();
  const int face = Required(enum01_, kLayout, "enum01").Value();
  const int point = Required(enum02_, kLayout, "enum02").Value();
  DeleteSpheres();
  // A choice that names no face and point has nothing to show.
  if (face < 0 || face > 1 || point < 0 || point > 8) return;

  // The systems built from orientations are temporary: they are removed,
  // and the work coordinate system restored, however the preview ends.
  std::vector<host::Tag> temporary;
  struct Restore {
    host::Host& host;
    host::Tag wcs;
    std::vector<host::Tag>& temporary;
    ~Restore() {
      try {
        if (host.objects().Exists(wcs)) host.csys().SetWcs(wcs);
        for (host::Tag t : temporary) {
          if (host.objects().Exists(t)) host.objects().Delete(t);
        }
      } catch (...) {
      }
    }
  } restore{host_, saved_wcs, temporary};

  const host::Tag part = host_.session().DisplayPart();
  for (host::Tag body : Required(bodySelect0_, kLayout, "bodySelect0").GetSelectedObjects()) {
    if (!dialogs::IsBody(host_, body)) continue;

    // The body's material coordinate system: the one named by its identity,
    // else one built from its stored orientation.
    host::Tag system = host::kNullTag;
    const bool has_orient = attributes.Has(body, kOrientTitle, host::kStringAttribute);
    if (has_orient && attributes.Has(body, kIdentityTitle, host::kStringAttribute)) {
      const std::vector<host::Tag> named =
          GetCsysByName(attributes.GetString(body, kIdentityTitle), part);
      if (!named.empty()) system = named.front();
    }
    if (system == host::kNullTag && has_orient) {
      // Only a value with more than six fields is read; the first three are
      // the X direction, the next three the Y direction. Numbers that cannot
      // be read, or directions that make no system, leave the body measured
      // in the work coordinate system as it stands, like a body without one.
      host::Matrix3x3 matrix;
      if (ReadOrientation(attributes.GetString(body, kOrientTitle), matrix)) {
        const host::Tag matrix_object = csys.CreateMatrix(matrix);
        temporary.push_back(matrix_object);
        system = csys.CreateTempCsys({0.0, 0.0, 0.0}, matrix_object);
        temporary.push_back(system);
      }
    }
    if (system != host::kNullTag) csys.SetWcs(system);

    blank::BodyInfo info(host_, body);
    const host::Point3d a = info.MapPointToWCS(info.GetMinCorner());
    const host::Point3d b = info.MapPointToWCS(info.GetMaxCorner());
    const host::Point3d lo{std::min(a.X, b.X), std::min(a.Y, b.Y), std::min(a.Z, b.Z)};
    const host::Point3d hi{std::max(a.X, b.X), std::max(a.Y, b.Y), std::max(a.Z, b.Z)};
    const double xs[3] = {lo.X, (lo.X + hi.X) / 2.0, hi.X};
    const double ys[3] = {hi.Y, (lo.Y + hi.Y) / 2.0, lo.Y};
    const host::Point3d local{xs[point % 3], ys[point / 3], face == 0 ? hi.Z : lo.Z};
    const host::Point3d centre = info.MapPointToABS(local);

    const double smallest =
        std::min({info.GetBodyWide(), info.GetBodyLength(), info.GetBodyHeight()});
    const double diameter = std::strtod(text::Format("%f", smallest / 3.0).c_str(), nullptr);
    if (!(diameter > 0.0)) {  // a sheet has no thickness to size a sphere by
      if (objects.Exists(saved_wcs)) csys.SetWcs(saved_wcs);
      continue;
    }
    const host::Tag feature = host_.bodies().CreateSphere(centre, diameter);
    spheres_.push_back(feature);
    objects.SetColor(host_.bodies().AskFeatureBody(feature), kPreviewColor);

    if (objects.Exists(saved_wcs)) csys.SetWcs(saved_wcs);
  }
}
