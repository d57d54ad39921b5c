// Carrying the BOM of a die's previous revision over to its new model.
//
// A revision often arrives as a new model (a STEP export keeps names,
// colours and layers and drops every user attribute). Before the BOM runs on
// it, each body of the new model is matched with the previous revision's
// bodies (revision/match.h) and:
// - unchanged and moved bodies take every user attribute the previous body
//   carried (the material-BOM values, the identity, the orientation, the
//   round-part and frame marks, the drawing mark "转图标识", the
//   standard-part values); their blank coordinate system is made again from
//   the orientation, turned with the body when it moved, so the stored size
//   holds;
// - changed bodies take them too, but their blank size (and blank weight) is
//   measured again in the carried orientation, the body's allowance applied;
//   the previous size stays on the body as "改模前规格", which marks its row
//   in the size-changed colour;
// - new bodies lose what would make the BOM take them for processed bodies
//   (identity, code, sizes and weights, orientation, dates: a copied body
//   carries its original's), get the changed-body colour unless the colours
//   are kept, so that the BOM numbers them "新增" after the highest code of
//   their layer (the material and heat treatment their own colour gave them
//   stay on them as "材料材质" and "材料热处理"), and the drawing mark unless
//   they are standard parts;
// - removed bodies are listed.
// The work part's header attributes of the previous revision are carried
// over where the new model has none.
#pragma once

#include <string>
#include <vector>

#include "config/material_bom_config.h"
#include "host/host.h"
#include "revision/match.h"

namespace revision {

struct CarryOverOptions {
  bool keep_colours = false;  // new bodies keep their colour
  int changed_colour = 186;   // the configured changed-body colour ("改模颜色")
  int mode = 0;               // blank extents: 0 the half-unit rule, else exact
  // The configuration for blank weights (the material table's density);
  // without it, the weights of changed bodies are left as they were.
  const config::MaterialBomSettings* settings = nullptr;
  // Also measure the blank of each new body (as the BOM will), for a
  // comparison; nothing of it is kept on the body.
  bool measure_new = false;
  MatchOptions match;
};

// One body of either revision after the carry-over. Texts are GBK.
struct RevisedBody {
  Status status = Status::kNew;
  host::Tag previous = host::kNullTag, current = host::kNullTag;
  host::Tag twin = host::kNullTag;  // see BodyMatch::twin
  std::string name;      // "材料名称", else a standard part's "名称", else the body's name
  std::string code;      // "材料代号"
  std::string identity;  // "实体标识" (of the previous body for removed ones)
  int layer = 0;
  std::string old_spec, new_spec;      // "材料规格" before and after
  std::string old_weight, new_weight;  // "材料重量"
  // A new body, or a changed one whose blank is larger in some extent (or
  // had no size): its blank must be bought again.
  bool ToBuy() const;
};

struct CarryOverResult {
  std::vector<RevisedBody> bodies;  // in the order of the match
  int Count(Status status) const;
  // The entry whose current body carries `identity`, or null.
  const RevisedBody* OfIdentity(const std::string& identity) const;
  const RevisedBody* OfCurrent(host::Tag body) const;
};

// Whether `later` is larger than `earlier` in some extent: sizes
// "LxWxT" or "ΦDxHh", compared extent by extent (the orientation is carried,
// so the extents keep their axes). A size that cannot be read, or that
// changed its form, counts as larger.
bool SizeGrew(const std::string& earlier, const std::string& later);

// Whether `previous`'s work part holds what the BOM stores: some body with
// "材料代号", "实体标识" or "PART_ATTR".
bool HasBomAttributes(host::Host& previous);

// Writes the carry-over of `match` on `current`'s work part.
CarryOverResult ApplyCarryOver(host::Host& previous, host::Host& current, const MatchResult& match,
                               const CarryOverOptions& options);

}  // namespace revision
