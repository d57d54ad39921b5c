// The snapshot of what the studio's window shows: the dialogs being shown
// with their blocks and trees, the bodies and coordinate systems of the part.
// Texts are GBK inside the host and UTF-8 here.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/memory/dialogs/dialogs.h"
#include "host/memory/memory_host.h"

namespace studio {

// GBK text as UTF-8; bytes that are not GBK become U+FFFD.
std::string Utf8(const std::string& gbk);

// One shown dialog: its layout file, title, buttons and blocks in layout
// order, containers holding their children.
nlohmann::json DialogJson(memory::DialogDriver& dialog);

// One tree block: columns, tool tips and rows (with their children). The rows
// are held aside as text: SnapshotText puts them in.
nlohmann::json TreeJson(memory::DialogDriver& dialog, const std::string& tree_id);

// The bodies of the work part with their display state, and the named
// coordinate systems. A body picked in a selection block of a shown dialog,
// or the body of a selected tree row, is "selected" and drawn highlighted.
std::string BodiesText(memory::MemoryHost& host);  // as JSON text
nlohmann::json SystemsJson(memory::MemoryHost& host);

// The dialogs shown now, innermost last.
nlohmann::json DialogsJson(memory::MemoryHost& host);

// One tree's rows as the last DialogsJson on this thread wrote them, each
// row's own fields without its children, in the order of their paths.
struct TreeRows {
  std::size_t dialog = 0;  // index in DialogsJson's array
  std::string tree;        // block id
  std::vector<std::string> paths, rows;
};
std::vector<TreeRows> TakeTreeRows();

// The JSON text of a snapshot made of the blocks above, their rows included.
std::string SnapshotText(const nlohmann::json& snapshot);
// The same of a snapshot (or a part of one) already written as text.
std::string WithRows(std::string text);

// "#rrggbb" of a host colour index; grey for an index outside the table.
std::string ColorText(int index);

}  // namespace studio
