#include "cli/revision_options.h"

#include <cstdio>

#include "blank/material_param.h"
#include "host/text.h"
#include "material_bom/bom_header.h"
#include "material_bom/node_param.h"
#include "revision/previous_part.h"
#include "workbook/workbook.h"

namespace cli {
namespace {

using T = blank::BodyAttributeTitles;

constexpr const char* kDeltaKind = "补料单";

std::string Text(host::Host& host, host::Tag object, const char* title) {
  return host.attributes().Has(object, title) ? host.attributes().GetString(object, title)
                                              : std::string();
}

// The entry of a body of the new model: by tag, else by identity (a body
// the BOM replaced keeps its attributes). Null for a body made since.
const revision::RevisedBody* EntryOf(memory::MemoryHost& host,
                                     const revision::CarryOverResult& result, host::Tag body) {
  if (const revision::RevisedBody* b = result.OfCurrent(body)) return b;
  return result.OfIdentity(Text(host, body, T::kIdentity));
}

}  // namespace

std::vector<OptionSpec> RevisionOptionSpecs(bool with_delta) {
  std::vector<OptionSpec> specs = {{"previous", 0, true}, {"keep-colours", 0, false}};
  if (with_delta) specs.push_back({"delta", 0, false});
  return specs;
}

RevisionArgs ReadRevisionArgs(const ParsedArgs& parsed) {
  RevisionArgs args;
  const auto it = parsed.values.find("previous");
  if (it != parsed.values.end()) {
    args.previous = it->second;
    if (args.previous.empty())
      throw UsageError("--previous needs the previous revision's part file");
  }
  args.keep_colours = parsed.flags.count("keep-colours") > 0;
  args.delta = parsed.flags.count("delta") > 0;
  if (args.previous.empty() && args.keep_colours)
    throw UsageError("--keep-colours needs --previous");
  if (args.previous.empty() && args.delta) throw UsageError("--delta needs --previous");
  return args;
}

std::string StatusTotals(const revision::CarryOverResult& result) {
  std::string out;
  for (revision::Status s : revision::kStatuses)
    out +=
        text::Format("%s%s %d", out.empty() ? "" : ", ", revision::StatusName(s), result.Count(s));
  return out;
}

revision::CarryOverResult CarryOverForTool(memory::MemoryHost& host, const RevisionArgs& args,
                                           revision::CarryOverOptions options,
                                           const std::string& tool) {
  options.keep_colours = args.keep_colours;
  const revision::CarryOverResult result = revision::CarryOver(host, args.previous, options);
  PrintError(tool + ": carried over from " + PathText(args.previous) + ": " + StatusTotals(result) +
             "\n");
  for (const revision::RevisedBody& b : result.bodies) {
    if (b.twin != host::kNullTag) {
      PrintError(tool + ": new: " + b.name + text::Format(" (layer %d)", b.layer) +
                 " lies where an identical body lies; that one took the previous BOM\n");
    }
    if (b.status != revision::Status::kRemoved) continue;
    PrintError(tool + ": removed: " + (b.code.empty() ? std::string("-") : b.code) + " " + b.name +
               text::Format(" (layer %d)", b.layer) + (b.old_spec.empty() ? "" : " " + b.old_spec) +
               "\n");
  }
  return result;
}

std::vector<material_bom::RowTexts> RowsToBuy(memory::MemoryHost& host,
                                              const std::vector<TreeRowBodies>& rows,
                                              const revision::CarryOverResult& result) {
  std::vector<material_bom::RowTexts> out;
  for (const TreeRowBodies& row : rows) {
    int count = 0;
    for (host::Tag body : row.bodies) {
      const revision::RevisedBody* b = EntryOf(host, result, body);
      if (b == nullptr || b->ToBuy()) ++count;
    }
    if (count == 0) continue;
    material_bom::RowTexts texts = row.texts;
    texts.resize(material_bom::kMaterialColumnCount);
    if (count != static_cast<int>(row.bodies.size()) && row.bodies.size() > 1) {
      // Only part of a group is bought: its count and the group weights.
      texts[material_bom::kColQuantity] = text::Format("%d", count);
      const std::string times = count > 1 ? text::Format("x%d", count) : std::string();
      const std::string& weight = texts[material_bom::kColWeight];
      const std::string& net = texts[material_bom::kColNetWeight];
      texts[material_bom::kColGroupWeight] = weight.empty() ? "" : weight + times;
      texts[material_bom::kColGroupNetWeight] = net.empty() ? "" : net + times;
    }
    out.push_back(std::move(texts));
  }
  return out;
}

std::string WriteDeltaWorkbook(memory::MemoryHost& host, const std::string& workbook,
                               const std::vector<material_bom::RowTexts>& rows,
                               const config::MaterialBomSettings& settings) {
  host::Platform& platform = host.platform();
  const std::string folder = workbook.substr(0, workbook.rfind('\\') + 1);
  const std::string leaf = host.session().PartLeaf(host.session().WorkPart());
  const std::string path = material_bom::FreeWorkbookPath(platform, folder, leaf, kDeltaKind);
  const std::string template_path = settings.config_folder + material_bom::kMaterialTemplate;
  if (!platform.FileExists(template_path))
    throw Failure(PathText(host.LocalPath(template_path)) + " 配置文件不存在");

  material_bom::BomHeader header;
  const host::Tag part = host.session().WorkPart();
  for (int i = 0; i < material_bom::BomHeader::kFieldCount; ++i)
    header.fields[i] = Text(host, part, material_bom::BomHeader::kTitles[i]);

  platform.CopyFile(template_path, path, false);
  const std::string native = platform.NativePath(path);
  const std::unique_ptr<workbook::Book> book = workbook::CreateXlsBook();
  workbook::Sheet* sheet = book->Load(native) ? book->GetSheet(book->ActiveSheet()) : nullptr;
  const bool written = sheet != nullptr &&
                       material_bom::WriteMaterialSheet(*sheet, header, rows, settings.common) &&
                       book->Save(native);
  const std::string error = book->ErrorMessage();
  book->Release();
  if (!written) {
    platform.RemoveFile(path);
    throw Failure("cannot write " + PathText(host.LocalPath(path)) + ": " + error);
  }
  return path;
}

}  // namespace cli
