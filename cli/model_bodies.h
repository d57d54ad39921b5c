// Which bodies of the opened model a job lists, and what the tool says on
// standard error about the rest and about a configuration that would make
// the list silently wrong. Shared by the jobs that list the die's bodies.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "config/material_bom_config.h"
#include "host/host.h"
#include "host/memory/memory_host.h"
#include "host/memory/part_file.h"

namespace blank {
struct MaterialParam;
}

namespace cli {

struct ModelBodies {
  // The listed bodies, layer by layer, in the part's order within a layer.
  std::vector<host::Tag> bodies;
  int standard_parts = 0;                  // solids with "PART_ATTR" on listed layers, left out
  std::map<int, int> off_template;         // other solids on other layers: layer -> count
  int non_solid_bodies = 0;                // bodies of the part that are not solids
  int sheets = 0, curves = 0, points = 0;  // pieces of the file that became no body
};

// The solid bodies on `template_layers`, or on every layer with `all_layers`;
// standard parts are left out either way. `report` is what opening the file
// said about pieces it did not read.
ModelBodies ChooseModelBodies(host::Host& host, const std::set<int>& template_layers,
                              bool all_layers, const memory::StepReport& report);

// Lines for standard error (GBK, each ending in "\n", each starting with
// `tool` + ": "): how many solids lie on which layers outside the template
// layers and the option that lists them, and how many shapes are not solids.
std::string BodySummary(const std::string& tool, const ModelBodies& bodies);

// Lines for standard error about a configuration that would give a wrong
// list without a word: an unreadable or empty material table or one without
// a density, a missing colour table, a missing machining-process table, and
// the listed bodies whose colour has no material (how many, which colours).
std::string MaterialWarnings(const std::string& tool, memory::MemoryHost& host,
                             const config::MaterialBomSettings& settings,
                             const std::vector<blank::MaterialParam>& records);

// A logic path (GBK) of the configuration as the user knows it: the local
// file it stands for, with "/" separators (GBK).
std::string ShownPath(memory::MemoryHost& host, const std::string& logic_path);
// GBK text with every "\\" separator turned into "/" (second bytes of
// double-byte characters left alone): the configuration's messages, whose
// paths join the local root and the configuration's own names.
std::string ForwardSlashes(const std::string& gbk);

}  // namespace cli
