// User attributes on any object (bodies, parts, coordinate systems).
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/types.h"

namespace host {

// Attribute types: string (UF_ATTR_string) and "any type" in queries (UF_ATTR_any).
inline constexpr int kStringAttribute = 5;
inline constexpr int kAnyAttribute = 100;
// Not an array element.
inline constexpr int kNoIndex = -1;

struct AttributeValue {
  int type = 0;  // 0 when the attribute does not exist
  std::string text;
};

class Attributes {
 public:
  virtual ~Attributes() = default;

  // NXOpen::NXObject::HasUserAttribute(title, type, index -1).
  virtual bool Has(Tag object, const std::string& title, int type = kStringAttribute) = 0;
  // NXOpen::NXObject::GetStringUserAttribute(title, -1); throws HostError when missing.
  virtual std::string GetString(Tag object, const std::string& title) = 0;
  // UF_ATTR_read_value with any type: type 0 when missing.
  virtual AttributeValue Read(Tag object, const std::string& title) = 0;
  // NXOpen::NXObject::SetUserAttribute(title, -1, value, update option 0) and
  // UF_ATTR_assign: sets a string attribute, overwriting one of the same title.
  virtual void SetString(Tag object, const std::string& title, const std::string& value) = 0;
  // NXOpen::NXObject::DeleteUserAttribute(type, title, whole array, update 0).
  virtual void Delete(Tag object, int type, const std::string& title) = 0;
  // UF_ATTR_delete_all: removes every attribute of the type (kAnyAttribute: all).
  virtual void DeleteAll(Tag object, int type) = 0;
  // NXOpen::NXObject::GetUserAttributes: every (title, value), in creation order.
  virtual std::vector<std::pair<std::string, std::string>> List(Tag object) = 0;
};

}  // namespace host
