// The bodies' triangles for the 3D view, from the geometry kernel's
// tessellation, in one little-endian buffer:
//   uint32 count, then per body: uint32 tag, uint32 vertex_count,
//   uint32 index_count, float32[3 * vertex_count] positions,
//   float32[3 * vertex_count] normals, uint32[index_count] indices;
// then the faces: uint32 "FACE" (0x45434146), and per body in the same order
// uint32 triangle_count, uint32[triangle_count] the host's tag of the face
// each triangle belongs to. A reader that knows only the bodies stops before.
// Triangles face outwards. A body is tessellated once per geometry: the cache
// keeps each geometry's triangles until it is no longer in the part.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/memory/memory_host.h"

namespace studio {

// One body's triangles.
struct BodyMesh {
  std::vector<float> positions, normals;  // three per vertex
  std::vector<std::uint32_t> indices;     // three per triangle
  std::vector<std::uint32_t> faces;       // per triangle: the face's index in the face map
};

// Tessellates a body's shape (a copy of it: the model's own shape is left
// as it was). Faces keep their own vertices, so edges stay sharp.
BodyMesh TessellateBody(memory::MemoryHost& host, host::Tag body);

class MeshCache {
 public:
  // The buffer of every body of the work part; only geometries not seen
  // before are tessellated.
  std::string Build(memory::MemoryHost& host);
  std::size_t tessellated() const { return tessellated_; }

 private:
  std::map<std::uint64_t, std::shared_ptr<const BodyMesh>> by_geometry_;
  std::size_t tessellated_ = 0;
};

}  // namespace studio
