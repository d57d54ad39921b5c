#include "blank/body_geometry.h"

#include <cmath>

namespace blank {
namespace {

class HostGeometry : public host::BodyGeometry {
 public:
  HostGeometry(host::Host& host, host::Tag body) : host_(host), body_(body) {}

  std::vector<Face> Faces() override {
    auto& bodies = host_.bodies();
    std::vector<Face> out;
    for (host::Tag face : bodies.BodyFaces(body_)) {
      Face f;
      f.data = bodies.AskFaceData(face);
      f.closed_edges = true;
      for (host::Tag edge : bodies.FaceEdges(face))
        if (bodies.AskCurveClosed(edge) != 1) {
          f.closed_edges = false;
          break;
        }
      out.push_back(f);
    }
    return out;
  }
  std::vector<host::EdgeData> Edges() override {
    std::vector<host::EdgeData> out;
    for (host::Tag edge : host_.bodies().BodyEdges(body_))
      out.push_back(host_.bodies().AskEdgeData(edge));
    return out;
  }
  host::Facets AskFacets(double chord, double angle) override {
    return host_.bodies().AskFacets(body_, chord, angle);
  }
  host::ExactBox AskBoundingBoxExact(const host::Point3d& origin,
                                     const host::Matrix3x3& matrix) override {
    auto& csys = host_.csys();
    const host::Tag m = csys.CreateMatrix(matrix);
    const host::Tag c = csys.CreateTempCsys(origin, m);
    struct Cleanup {
      host::Host& host;
      host::Tag c, m;
      ~Cleanup() {
        try {
          host.objects().Delete(c);
          host.objects().Delete(m);
        } catch (const std::exception&) {
        }
      }
    } cleanup{host_, c, m};
    return host_.bodies().AskBoundingBoxExact(body_, c);
  }
  double Volume() override { return host_.bodies().Volume(body_); }

 private:
  host::Host& host_;
  host::Tag body_;
};

}  // namespace

std::unique_ptr<host::BodyGeometry> TakeBodyGeometry(host::Host& host, host::Tag body) {
  if (auto taken = host.bodies().TakeGeometry(body)) return taken;
  return std::make_unique<HostGeometry>(host, body);
}

double BoxVolumeIn(const host::ExactBox& b, const host::Point3d& origin,
                   const host::Matrix3x3& matrix) {
  host::Point3d max = b.corner;
  for (int i = 0; i < 3; ++i) {
    max.X += b.directions[i].X * b.distances[i];
    max.Y += b.directions[i].Y * b.distances[i];
    max.Z += b.directions[i].Z * b.distances[i];
  }
  const host::Point3d lo = host::ToLocal(b.corner, origin, matrix);
  const host::Point3d hi = host::ToLocal(max, origin, matrix);
  return std::fabs(hi.X - lo.X) * std::fabs(hi.Y - lo.Y) * std::fabs(hi.Z - lo.Z);
}

}  // namespace blank
