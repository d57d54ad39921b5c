#include "report/flags.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <numbers>

#include "blank/body_info.h"
#include "blank/hole_analysis.h"
#include "host/text.h"

namespace report {
namespace {

constexpr const char* kRoundPartTitle = "圆件";
constexpr double kParallel = blank::HoleAnalysis::kParallelTolerance;
// Bodies whose volumes differ by more than this share cannot be the same
// part; the identical-body check is made only within it.
constexpr double kVolumeWindow = 1e-4;

bool Blank(const std::string& s) {
  return std::all_of(s.begin(), s.end(), [](char c) { return c == ' ' || c == '\t'; });
}

// The direction named after the blank axis it runs along, else by its
// components in absolute coordinates.
std::string DirectionName(const host::Vector3d& d, const host::Matrix3x3& axes) {
  if (host::IsParallel(d, axes.XAxis(), kParallel)) return "X";
  if (host::IsParallel(d, axes.YAxis(), kParallel)) return "Y";
  if (host::IsParallel(d, axes.ZAxis(), kParallel)) return "Z";
  const host::Vector3d u = host::Unit(d);
  return text::Format("(%.2f,%.2f,%.2f)", u.X, u.Y, u.Z);
}

std::string RowName(const std::vector<ReportRow>& rows, std::size_t i) {
  const std::string& seq = rows[i].columns[kSequenceColumn];
  return seq.empty() ? text::Format("%03zu", i + 1) : seq;
}

host::Tag FirstLiveBody(host::Host& host, const ReportRow& row) {
  for (host::Tag b : row.bodies)
    if (b != host::kNullTag && host.objects().Exists(b)) return b;
  return host::kNullTag;
}

}  // namespace

std::optional<std::string> HoleDirectionFlag(host::Host& host, host::Tag body,
                                             const BlankFrame& frame) {
  blank::HoleAnalysis analysis(host);
  const std::vector<blank::SimpleHoleInfo> holes = analysis.GetSimpleHoles(body);
  if (holes.empty()) return std::nullopt;
  const host::Vector3d z = frame.axes.ZAxis();
  int along_z = 0;
  const blank::SimpleHoleInfo* most = &holes.front();
  for (const blank::SimpleHoleInfo& h : holes) {
    if (host::IsParallel(h.direction, z, kParallel)) along_z += h.count;
    if (h.count > most->count) most = &h;
  }
  if (most->count <= along_z) return std::nullopt;
  return text::Format("毛坯Z向不是孔最多的方向：Z向%d个孔，%s向%d个孔", along_z,
                      DirectionName(most->direction, frame.axes).c_str(), most->count);
}

std::optional<std::string> FillFlag(host::Host& host, host::Tag body, const BlankFrame& frame,
                                    double limit) {
  const host::AttributeValue round = host.attributes().Read(body, kRoundPartTitle);
  const bool is_round = round.type != 0 && round.text == "Y";
  const double x = frame.Extent(0), y = frame.Extent(1), z = frame.Extent(2);
  const double blank_volume = is_round ? std::numbers::pi / 4 * x * x * z : x * y * z;
  if (!(blank_volume > 0.0)) return std::nullopt;
  const double share = host.bodies().Volume(body) / blank_volume;
  if (share >= limit) return std::nullopt;
  return text::Format("实体只占毛坯体积的%.0f%%（不足%.0f%%），可考虑换料型或用圆料", share * 100,
                      limit * 100);
}

std::optional<std::string> NoMaterialFlag(host::Host& host, const ReportRow& row) {
  if (!Blank(row.columns[kMaterialColumn])) return std::nullopt;
  const host::Tag body = FirstLiveBody(host, row);
  if (body == host::kNullTag) return std::string("没有材质");
  return text::Format("没有材质：实体颜色%d未在颜色表中配置", host.objects().Color(body));
}

std::vector<std::optional<std::string>> SameBodyFlags(host::Host& host,
                                                      const std::vector<ReportRow>& rows) {
  std::vector<std::optional<std::string>> out(rows.size());
  struct Entry {
    std::size_t row;
    double volume;
    blank::BodyInfo* info;
  };
  std::deque<blank::BodyInfo> infos;  // stable addresses
  std::vector<Entry> entries;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const host::Tag body = FirstLiveBody(host, rows[i]);
    if (body == host::kNullTag) continue;
    double volume = 0.0;
    try {
      volume = host.bodies().Volume(body);
    } catch (const host::HostError&) {
      continue;
    }
    if (!(volume > 0.0)) continue;
    infos.emplace_back(host, body);
    entries.push_back({i, volume, &infos.back()});
  }
  std::vector<std::size_t> by_volume(entries.size());
  for (std::size_t k = 0; k < by_volume.size(); ++k) by_volume[k] = k;
  std::sort(by_volume.begin(), by_volume.end(),
            [&](std::size_t a, std::size_t b) { return entries[a].volume < entries[b].volume; });
  std::vector<std::size_t> position(entries.size());
  for (std::size_t k = 0; k < by_volume.size(); ++k) position[by_volume[k]] = k;

  for (std::size_t k = 0; k < entries.size(); ++k) {
    const Entry& e = entries[k];
    const std::string& code = rows[e.row].columns[kCodeColumn];
    const double reach = e.volume * kVolumeWindow;
    // The rows of near volume and another code, in row order.
    std::vector<std::size_t> candidates;
    for (std::size_t p = position[k]; p-- > 0;) {
      const Entry& o = entries[by_volume[p]];
      if (e.volume - o.volume > reach) break;
      if (rows[o.row].columns[kCodeColumn] != code) candidates.push_back(by_volume[p]);
    }
    for (std::size_t p = position[k] + 1; p < by_volume.size(); ++p) {
      const Entry& o = entries[by_volume[p]];
      if (o.volume - e.volume > reach) break;
      if (rows[o.row].columns[kCodeColumn] != code) candidates.push_back(by_volume[p]);
    }
    std::sort(candidates.begin(), candidates.end(),
              [&](std::size_t a, std::size_t b) { return entries[a].row < entries[b].row; });
    for (std::size_t c : candidates) {
      bool same = false;
      try {
        same = e.info->IsSameBody(*entries[c].info);
      } catch (const host::HostError&) {
      }
      if (!same) continue;
      const std::size_t other = entries[c].row;
      out[e.row] =
          text::Format("与第%s行（代号%s）的实体相同，但代号不同", RowName(rows, other).c_str(),
                       rows[other].columns[kCodeColumn].c_str());
      break;
    }
  }
  return out;
}

}  // namespace report
