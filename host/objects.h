// Objects by handle: type, display properties, names, deletion.
#pragma once

#include <string>

#include "host/types.h"

namespace host {

// UF_OBJ_ask_type_and_subtype values used by the logic.
inline constexpr int kSolidType = 70;             // UF_solid_type
inline constexpr int kSolidBodySubtype = 0;       // UF_solid_body_subtype
inline constexpr int kSolidFaceSubtype = 2;       // UF_solid_face_subtype
inline constexpr int kSolidEdgeSubtype = 3;       // UF_solid_edge_subtype
inline constexpr int kCoordinateSystemType = 45;  // UF_coordinate_system_type
inline constexpr int kMatrixType = 55;            // UF_matrix_type
inline constexpr int kPartType = 2;               // UF_part_type
inline constexpr int kFeatureType = 205;          // UF_feature_type

struct TypeAndSubtype {
  int type = 0;
  int subtype = 0;
};

class Objects {
 public:
  virtual ~Objects() = default;

  // NXOpen::NXObjectManager::Get: whether the handle names a live object.
  virtual bool Exists(Tag object) = 0;
  // UF_OBJ_ask_type_and_subtype.
  virtual TypeAndSubtype AskTypeAndSubtype(Tag object) = 0;
  // DisplayableObject::Layer / SetLayer, UF_OBJ_set_layer.
  virtual int Layer(Tag object) = 0;
  virtual void SetLayer(Tag object, int layer) = 0;
  // DisplayableObject::Color / SetColor, UF_OBJ_set_color (colour index).
  virtual int Color(Tag object) = 0;
  virtual void SetColor(Tag object, int color) = 0;
  // DisplayableObject::IsBlanked / Blank / Unblank, UF_OBJ_set_blank_status.
  virtual bool IsBlanked(Tag object) = 0;
  virtual void SetBlanked(Tag object, bool blanked) = 0;
  // DisplayableObject::Highlight / Unhighlight, UF_DISP_set_highlight.
  virtual bool IsHighlighted(Tag object) = 0;
  virtual void SetHighlighted(Tag object, bool highlighted) = 0;
  // DisplayableObject::RedisplayObject.
  virtual void Redisplay(Tag object) = 0;
  // NXObject::Name / UF_OBJ_set_name.
  virtual std::string Name(Tag object) = 0;
  virtual void SetName(Tag object, const std::string& name) = 0;
  // UF_OBJ_delete_object; 0 on success.
  virtual int Delete(Tag object) = 0;
};

}  // namespace host
