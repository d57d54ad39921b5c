// Bodies, faces, edges and measurement.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/types.h"

namespace host {

// UF_MODL_ask_face_data face types.
enum FaceType : int {
  kCylindricalFace = 16,
  kConicalFace = 17,
  kSphericalFace = 18,
  kToroidalFace = 19,
  kParametricFace = 20,
  kPlanarFace = 22,
  kBlendingFace = 23,
  kOffsetFace = 24,
  kSweptFace = 25,
};

// Result of UF_MODL_ask_face_data.
struct FaceData {
  int type = 0;        // FaceType
  Point3d point;       // a point on the axis (cylinder, cone), on the plane, the centre (sphere)
  Vector3d direction;  // axis direction or plane normal (unit)
  std::array<double, 6> box{};  // face box: xmin, ymin, zmin, xmax, ymax, zmax
  double radius = 0.0;          // cylinder/cone/sphere radius; major radius of a torus
  double radius_data = 0.0;     // minor radius of a torus; half-angle of a cone
  // +1 when the outward surface normal points away from the axis (a boss),
  // -1 when it points toward the axis (a hole). +1 for planes along `direction`.
  int norm_dir = 1;
};

// UF_MODL_ask_bounding_box_exact: the box of a body along the axes of a
// coordinate system, as a corner point (absolute coordinates), the three axis
// directions and the three distances along them.
struct ExactBox {
  Point3d corner;
  std::array<Vector3d, 3> directions;
  std::array<double, 3> distances{};
};

// Curve type of an edge (UF_EVAL / UF_CURVE), as far as the logic needs it.
enum class EdgeKind { kLine, kCircle, kOther };
struct EdgeData {
  EdgeKind kind = EdgeKind::kOther;
  Point3d start, end;   // end points (equal for a closed edge)
  Vector3d direction;   // line direction, or circle axis
  Point3d center;       // circle centre (UF_EVAL_ask_arc), else unset
  double radius = 0.0;  // circle radius, else 0
};

// Facets of a body (UF_FACET_facet_solid / NXOpen::Facet::FacetedBody):
// vertices, and triangles as index triples into them, outward facing.
struct Facets {
  std::vector<Point3d> vertices;
  std::vector<std::array<int, 3>> triangles;
};

// UF_MODL_ask_mass_props_3d, as far as the in-house services use it.
struct MassProperties {
  double volume = 0.0;  // mm^3
  Point3d centroid;
  std::array<double, 3> principal_moments{};  // about the centroid, ascending
  std::array<Vector3d, 3> principal_axes;
};

// One body's geometry taken away from the host to be measured on another
// thread. The host itself is single-threaded: every call of Bodies stays on
// its thread. A BodyGeometry, once made there, answers on whichever one
// thread uses it, while the host goes on; its answers are the host's answers
// for the body as it was when it was taken, to the last bit.
class BodyGeometry {
 public:
  virtual ~BodyGeometry() = default;

  struct Face {
    FaceData data;
    // Every edge of the face (FaceEdges) is a closed curve (AskCurveClosed 1).
    bool closed_edges = false;
  };
  // BodyFaces with AskFaceData, in the same order.
  virtual std::vector<Face> Faces() = 0;
  // BodyEdges with AskEdgeData, in the same order.
  virtual std::vector<EdgeData> Edges() = 0;
  // AskFacets.
  virtual Facets AskFacets(double chord_tolerance, double angle_tolerance) = 0;
  // AskBoundingBoxExact in a coordinate system with this origin and matrix.
  virtual ExactBox AskBoundingBoxExact(const Point3d& origin, const Matrix3x3& matrix) = 0;
  // Volume.
  virtual double Volume() = 0;
};

// UF_MODL_check_interference results.
enum class Interference { kInterferes = 1, kNone = 2, kTouches = 3 };

class Bodies {
 public:
  virtual ~Bodies() = default;

  // NXOpen::Part::Bodies iteration: every body of the part, in host order.
  virtual std::vector<Tag> PartBodies(Tag part) = 0;
  // NXOpen::Body::IsSolidBody.
  virtual bool IsSolidBody(Tag body) = 0;
  // NXOpen::Body::GetFaces.
  virtual std::vector<Tag> BodyFaces(Tag body) = 0;
  // NXOpen::Face::GetEdges: the face's boundary edges; a full cylinder reports
  // its closed boundary circles and never a seam edge.
  virtual std::vector<Tag> FaceEdges(Tag face) = 0;
  // NXOpen::Body::GetEdges.
  virtual std::vector<Tag> BodyEdges(Tag body) = 0;
  // NXOpen::Face::GetBody.
  virtual Tag FaceBody(Tag face) = 0;
  // UF_MODL_ask_face_data.
  virtual FaceData AskFaceData(Tag face) = 0;
  // UF_MODL_ask_curve_closed: 1 when the edge's curve is closed.
  virtual int AskCurveClosed(Tag edge) = 0;
  // UF_EVAL_ask_line / UF_EVAL_ask_arc.
  virtual EdgeData AskEdgeData(Tag edge) = 0;
  // UF_MODL_ask_bounding_box_exact in the given coordinate system (kNullTag: absolute).
  virtual ExactBox AskBoundingBoxExact(Tag body, Tag csys) = 0;
  // NXOpen::MeasureManager::NewMassProperties (accuracy 0.99) -> MeasureBodies::Volume, mm^3.
  virtual double Volume(Tag body) = 0;
  // UF_MODL_ask_mass_props_3d.
  virtual MassProperties AskMassProperties(Tag body) = 0;
  // UF_FACET_facet_solid with a chordal tolerance (mm) and an angle tolerance (radians).
  virtual Facets AskFacets(Tag body, double chord_tolerance, double angle_tolerance) = 0;
  // UF_MODL_check_interference of two bodies: interiors overlap, faces touch, or neither.
  virtual Interference CheckInterference(Tag a, Tag b) = 0;
  // Whether two bodies share volume (CheckInterference reports kInterferes);
  // faces that only touch share none. Hosts that can answer this without
  // telling touching from apart do so faster.
  virtual bool ShareVolume(Tag a, Tag b) {
    return CheckInterference(a, b) == Interference::kInterferes;
  }
  // The identity of the body's present geometry: it stays the same while the
  // geometry is unchanged and is never given to other geometry in this
  // process; a body whose shape is replaced (edited, read back from a file)
  // gets a new one. 0 when the host cannot tell: the geometry is then taken
  // as changed at every call.
  virtual std::uint64_t GeometryIdentity(Tag body) {
    (void)body;
    return 0;
  }
  // The body's geometry for measuring on another thread; null when this host
  // cannot hand it out (the caller then measures through the host).
  virtual std::unique_ptr<BodyGeometry> TakeGeometry(Tag body) {
    (void)body;
    return nullptr;
  }
  // UF_MODL_edit_face_join: merges faces that lie on one surface.
  virtual int JoinFaces(Tag body) = 0;
  // UF_PS_export_data: writes the bodies to a neutral file; 0 on success.
  virtual int ExportNeutral(const std::vector<Tag>& bodies, const std::string& path) = 0;
  // ImportManager::CreateParasolidImporter, SetFileName, Commit,
  // GetCommittedObjects: the bodies read, as new bodies with new tags on the work layer.
  virtual std::vector<Tag> ImportNeutral(const std::string& path) = 0;
  // UF_MODL_create_sphere: a sphere feature (no Boolean); its body by AskFeatureBody.
  virtual Tag CreateSphere(const Point3d& centre, double diameter) = 0;
  // UF_MODL_ask_feat_body.
  virtual Tag AskFeatureBody(Tag feature) = 0;
};

}  // namespace host
