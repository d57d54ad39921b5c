// What the 3D view gets from the studio over real HTTP: the face each
// triangle belongs to, and the blank of every body in its blank system.
#include <cstring>
#include <map>
#include <set>

#include "host/text.h"
#include "tests/studio/studio_fixture.h"

namespace studio_test {
namespace {

using nlohmann::json;

// The mesh buffer's face section, by body tag: the face tag of each triangle.
std::map<std::uint32_t, std::vector<std::uint32_t>> FacesOf(const std::string& b) {
  std::size_t at = 0;
  auto u32 = [&]() {
    std::uint32_t v = 0;
    if (at + 4 <= b.size()) std::memcpy(&v, b.data() + at, 4);
    at += 4;
    return v;
  };
  std::vector<std::pair<std::uint32_t, std::uint32_t>> bodies;  // tag, triangles
  const std::uint32_t count = u32();
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t tag = u32(), vertices = u32(), indices = u32();
    at += 24 * std::size_t{vertices} + 4 * std::size_t{indices};
    bodies.emplace_back(tag, indices / 3);
  }
  std::map<std::uint32_t, std::vector<std::uint32_t>> out;
  if (b.compare(at, 4, "FACE") != 0) return out;
  at += 4;
  for (const auto& [tag, triangles] : bodies) {
    std::vector<std::uint32_t>& faces = out[tag];
    const std::uint32_t n = u32();
    EXPECT_EQ(n, triangles) << "one face per triangle of body " << tag;
    for (std::uint32_t k = 0; k < n; ++k) faces.push_back(u32());
  }
  EXPECT_EQ(at, b.size()) << "nothing after the face section";
  return out;
}

json BodyNamed(const json& snapshot, const std::string& name) {
  for (const json& b : snapshot["bodies"])
    if (b["name"] == text::GbkToUtf8(name)) return b;
  return json();
}

json BlankOf(const json& snapshot, int tag) {
  for (const json& b : snapshot["blanks"])
    if (b["tag"] == tag) return b;
  return json();
}

void ExpectTriple(const json& v, double x, double y, double z, const std::string& what) {
  ASSERT_TRUE(v.is_array()) << what;
  EXPECT_NEAR(v[0].get<double>(), x, 1e-6) << what;
  EXPECT_NEAR(v[1].get<double>(), y, 1e-6) << what;
  EXPECT_NEAR(v[2].get<double>(), z, 1e-6) << what;
}

TEST_F(StudioTest, MeshNamesTheFaceOfEveryTriangle) {
  Start(P("die.xbf"));
  const json s = State();
  auto res = client_->Get("/api/mesh", Token());
  ASSERT_TRUE(res);
  ASSERT_EQ(res->status, 200);
  const auto faces = FacesOf(res->body);
  ASSERT_EQ(faces.size(), 61u);
  // The first body is a plain block: six faces, two triangles each, and no
  // face tag is shared with another body.
  const std::uint32_t first = s["bodies"][0]["tag"];
  std::map<std::uint32_t, int> triangles;
  for (std::uint32_t f : faces.at(first)) ++triangles[f];
  ASSERT_EQ(triangles.size(), 6u);
  for (const auto& [face, n] : triangles) {
    EXPECT_NE(face, 0u);
    EXPECT_EQ(n, 2) << "face " << face;
  }
  std::set<std::uint32_t> seen;
  for (const auto& [body, list] : faces) {
    const std::set<std::uint32_t> own(list.begin(), list.end());
    EXPECT_EQ(own.count(0u), 0u) << "a triangle without a face in body " << body;
    for (std::uint32_t f : own) EXPECT_TRUE(seen.insert(f).second) << "face " << f << " twice";
  }
  // A round punch: its top, bottom and side (the side may come in pieces).
  std::uint32_t punch = 0;
  for (const json& b : s["bodies"])
    if (b["name"] == text::GbkToUtf8("冲孔冲头")) punch = b["tag"];
  ASSERT_NE(punch, 0u);
  const std::set<std::uint32_t> round(faces.at(punch).begin(), faces.at(punch).end());
  EXPECT_GE(round.size(), 3u);
}

TEST_F(StudioTest, SnapshotHoldsEveryBodysBlank) {
  Start(P("die.xbf"));
  const json s = State();
  ASSERT_TRUE(s["blanks"].is_array());
  ASSERT_EQ(s["blanks"].size(), 61u);
  // A foot of the lower shoe: a 400 x 50 x 40 block on the world axes.
  const json foot = BlankOf(s, s["bodies"][0]["tag"]);
  ExpectTriple(foot["extents"], 400, 50, 40, "foot extents");
  // The stop block turned 30 degrees about Z, before any orientation: its
  // box on the world axes is 40cos30 + 16sin30 by 40sin30 + 16cos30 by 20.
  const json stop = BodyNamed(s, "斜置挡块");
  ASSERT_FALSE(stop.is_null());
  const json blank = BlankOf(s, stop["tag"]);
  EXPECT_EQ(blank["source"], "world");
  ExpectTriple(blank["extents"], 42.64101615137754, 33.85640646055102, 20, "turned block");
  ExpectTriple(blank["axes"][0], 1, 0, 0, "X axis");
  ExpectTriple(blank["axes"][2], 0, 0, 1, "Z axis");
  // The same blanks again: nothing measured twice while nothing changed.
  EXPECT_EQ(State()["blanks"], s["blanks"]);
}

}  // namespace
}  // namespace studio_test
