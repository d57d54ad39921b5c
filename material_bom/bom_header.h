// The BOM header: eleven text fields, shown in the dialog's string blocks and
// stored as string attributes of the work part under their titles.
#pragma once

#include <array>
#include <string>

namespace material_bom {

struct BomHeader {
  static constexpr int kFieldCount = 11;

  // The field titles (also the work-part attribute titles), in field order.
  static constexpr std::array<const char*, kFieldCount> kTitles = {
      "订单编号", "ERP编号",  "产品材质", "模具编号", "模具吨位", "产品编号",
      "客户名称", "产品厚度", "模具类型", "设计担当", "产品名称"};
  // The dialog's string block of each field, in field order.
  static constexpr std::array<const char*, kFieldCount> kBlockIds = {
      "string03", "string02", "string031", "string01", "string032", "string033",
      "string0",  "string034", "string035", "string036", "string04"};

  // The field values (GBK), in field order.
  std::array<std::string, kFieldCount> fields;

  // The index of the field titled `title`, or -1.
  static int IndexOf(const std::string& title) {
    for (int i = 0; i < kFieldCount; ++i) {
      if (title == kTitles[i]) return i;
    }
    return -1;
  }
  // The value of the field titled `title`; empty for another title.
  const std::string& Get(const std::string& title) const {
    static const std::string kEmpty;
    const int i = IndexOf(title);
    return i < 0 ? kEmpty : fields[i];
  }
};

}  // namespace material_bom
