// The sample die: a small progressive die, shaped after a real one, built in
// the in-memory host. It uses the layers of the sample layer table (连续模
// template layers 10 to 140, standard parts on 150, strip and product on 200
// and 210) and the colours of the sample colour table.
//
// The die, from the bottom: lower feet, lower die shoe, lower backing plate,
// die plate with four inserts (two of them identical, one in the changed-body
// colour), stripper, stop plate, punch holder, upper backing plate, upper die
// shoe, upper feet. Plates and shoes carry guide-pin, screw and dowel holes;
// round punches are cylinders marked as round parts; four round stop pins;
// two guide rails; one guide block turned 30 degrees about Z; the strip and a
// product; and bought standard parts (guide pins and bushes, springs,
// screws, dowels, lifter pins) that carry "名称" and "PART_ATTR", three of
// them added in the changed-body colour (a spring and two gas springs).
#pragma once

#include <string>
#include <vector>

#include "host/memory/memory_host.h"

namespace samples {

// What the generator meant for one body, in body order.
struct SampleBody {
  std::string name;  // the body's name (GBK)
  int layer = 0;
  int color = 0;
  bool standard = false;  // a bought standard part ("PART_ATTR")
  // The material name the blank list shows: "材料名称" when the body carries
  // it, else the name of its layer in the layer table.
  std::string material_name;
  // The blank the body is drawn for, as the blank list prints it in either
  // mode (all sizes are whole millimetres); empty for standard parts and
  // for bodies off the template layers.
  std::string spec;
};

// Builds the sample die into the host's work part (after what is there) and
// returns what each body is meant to be. With `bodies` > 0 the die is
// repeated side by side, each copy moved along X and Y, until exactly that
// many bodies are made (a scaled model for benchmarks).
std::vector<SampleBody> BuildSampleDie(memory::MemoryHost& host, int bodies = 0);

// The number of bodies of one die.
int SampleDieBodyCount();

// Writes `folder`/`name`.step and `folder`/`name`.xbf. The STEP file has a
// fixed time stamp; the same die gives the same bodies, names, colours,
// layers and attributes every time (the order of the STEP file's style
// records may change).
void WriteSampleDie(const std::string& folder, const std::string& name, int bodies = 0);

inline constexpr const char* kSampleDieName = "sample_die";
inline constexpr const char* kSampleTimeStamp = "2024-06-01T08:00:00";

}  // namespace samples
