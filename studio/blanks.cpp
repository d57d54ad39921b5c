#include "studio/blanks.h"

#include <memory>
#include <set>
#include <vector>

#include "report/drawing.h"
#include "studio/snapshot.h"

namespace studio {

namespace {

using nlohmann::json;

constexpr const char* kIdentityTitle = "实体标识";
constexpr const char* kOrientationTitle = "材料方位";

json Triple(double x, double y, double z) { return json::array({x, y, z}); }

const char* SourceName(report::BlankFrame::Source s) {
  switch (s) {
    case report::BlankFrame::Source::kNamedSystem:
      return "system";
    case report::BlankFrame::Source::kOrientation:
      return "orientation";
    case report::BlankFrame::Source::kWorld:
      break;
  }
  return "world";
}

std::string Text(host::Host& host, host::Tag body, const char* title) {
  const host::AttributeValue v = host.attributes().Read(body, title);
  return v.type == 0 ? std::string("\x01") : v.text;
}

// What a body's blank depends on, as one string: a blank whose key is
// unchanged needs no new measure.
std::string KeyOf(host::Host& host, host::Tag body, const std::map<std::string, host::Tag>& named) {
  std::string key = std::to_string(host.bodies().GeometryIdentity(body));
  const std::string identity = Text(host, body, kIdentityTitle);
  key += '\x02' + identity + '\x02' + Text(host, body, kOrientationTitle);
  const auto it = named.find(identity);
  if (it != named.end()) {
    const host::CsysInfo info = host.csys().AskCsysInfo(it->second);
    key += '\x02' + std::to_string(it->second);
    for (double v : {info.origin.X, info.origin.Y, info.origin.Z}) key += ' ' + std::to_string(v);
    for (const host::Vector3d& a : {info.matrix.XAxis(), info.matrix.YAxis(), info.matrix.ZAxis()})
      for (double v : {a.X, a.Y, a.Z}) key += ' ' + std::to_string(v);
  }
  return key;
}

json EntryOf(host::Host& host, report::BlankFrames& frames, host::Tag body) {
  json e = {{"tag", body}};
  try {
    const report::BlankFrame f = frames.Find(body);
    e["source"] = SourceName(f.source);
    e["origin"] = Triple(f.origin.X, f.origin.Y, f.origin.Z);
    json axes = json::array();
    for (const host::Vector3d& a : {f.axes.XAxis(), f.axes.YAxis(), f.axes.ZAxis()})
      axes.push_back(Triple(a.X, a.Y, a.Z));
    e["axes"] = std::move(axes);
    e["low"] = Triple(f.low.X, f.low.Y, f.low.Z);
    e["high"] = Triple(f.high.X, f.high.Y, f.high.Z);
    e["extents"] = Triple(f.Extent(0), f.Extent(1), f.Extent(2));
    if (!f.note.empty()) e["note"] = Utf8(f.note);
  } catch (const std::exception& error) {
    e["error"] = Utf8(error.what());
  }
  (void)host;
  return e;
}

}  // namespace

const std::string& BlankCache::Text(host::Host& host) {
  std::map<std::string, host::Tag> named;
  for (host::Tag t : host.csys().PartCsys(host.session().WorkPart())) {
    const std::string name = host.objects().Name(t);
    if (!name.empty()) named.emplace(name, t);
  }
  std::vector<host::Tag> order;
  bool changed = false;
  std::unique_ptr<report::BlankFrames> frames;  // made only when a body is measured
  for (host::Tag b : host.bodies().PartBodies(host.session().WorkPart())) {
    order.push_back(b);
    std::string key = KeyOf(host, b, named);
    auto it = by_body_.find(b);
    if (it != by_body_.end() && it->second.first == key) continue;
    if (!frames) frames = std::make_unique<report::BlankFrames>(host);
    by_body_[b] = {std::move(key),
                   EntryOf(host, *frames, b).dump(-1, ' ', false, json::error_handler_t::replace)};
    ++measured_;
    changed = true;
  }
  if (!changed && order == order_) return text_;
  order_ = std::move(order);
  std::set<host::Tag> seen(order_.begin(), order_.end());
  for (auto it = by_body_.begin(); it != by_body_.end();)
    it = seen.count(it->first) ? std::next(it) : by_body_.erase(it);
  text_ = "[";
  for (host::Tag b : order_) {
    if (text_.size() > 1) text_ += ',';
    text_ += by_body_[b].second;
  }
  text_ += ']';
  return text_;
}

}  // namespace studio
