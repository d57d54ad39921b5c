// Part files of the in-memory host: STEP models in and out, and the host's
// own part file.
//
// The part file (".xbf") is an Open CASCADE XCAF document in its binary
// format, so any XCAF reader sees the bodies with their names, colours and
// layers. Besides what XCAF knows it keeps, exactly: each body's colour index,
// layer and blank status, every user attribute of the bodies, of the part and
// of the coordinate systems (titles and values in order), the named
// coordinate systems (origin, axes, name, layer, blank status), the state of
// every layer and the work layer. A check record (CRC-32 and length) follows
// the document, so a damaged file is refused before it is read. A save writes
// a new file beside the old one and renames it over the old one: an
// interrupted save leaves the previous file as it was.
//
// Opening a file replaces the whole work part of the host (bodies, systems,
// layers, attributes); on any error the host is left as it was. The part's
// leaf name becomes the file name without folder and extension.
//
// Paths here are local paths (UTF-8). Names and attributes in the host are GBK.
// Every failure throws host::HostError with a message naming the file.
#pragma once

#include <string>
#include <vector>

#include "host/memory/memory_host.h"

namespace memory {

inline constexpr const char* kPartFileExtension = ".xbf";

// A layer name of a STEP file that is not a layer number 1 to 256, and the
// layer its bodies were put on.
struct MappedLayer {
  std::string name;  // GBK
  int layer = 0;
};

struct StepReport {
  int bodies = 0;                   // solids read, each now a body
  std::vector<MappedLayer> mapped;  // by name, in the order of the names
  int skipped_shapes = 0;           // shapes that hold no solid (wires, sheets ...)
  // Pieces outside every solid, which are not read: sheets (open shells and
  // faces), curves (edges) and points.
  int sheets = 0, curves = 0, points = 0;
};

// What a file is, by its first bytes.
enum class PartFileKind { kMissing, kStep, kPartFile, kOther };
PartFileKind DetectPartFile(const std::string& path);

// Reads a STEP (AP203/AP214/AP242) model into a new work part: every solid
// becomes a body, in the order of the file's product structure.
//
// Colour: the solid's own colour, else the colour of its product or
// instance, else the colour that covers the largest area of its faces (face
// areas added up per colour index), else the default colour 87; each mapped
// to the nearest index of the colour table (host/memory/colors.h).
// Layer: a layer named with a number 1 to 256 is that layer. Other layer
// names are sorted and given, in that order, the lowest layers from 2 up that
// no numbered layer of the file uses (never 256, which holds the blank
// coordinate systems); they are listed in the report. A solid on no layer is
// on layer 1. A layer the file marks invisible is hidden (status 4).
// Name: the solid's own name, else its product's or instance's name; text
// that has no GBK form is written with "?" in its place.
StepReport OpenStep(MemoryHost& host, const std::string& path);

// Writes the bodies of the work part as a STEP AP214 file with their names
// (an unnamed body is called "body N", N its place among the bodies),
// colours (sRGB of the colour table) and layers (named with their numbers).
// `time_stamp` is the header's time stamp ("2024-01-01T00:00:00"); empty
// means the current time.
void SaveStep(MemoryHost& host, const std::string& path, const std::string& time_stamp = {});

// The host's part file.
void SavePartFile(MemoryHost& host, const std::string& path);
void OpenPartFile(MemoryHost& host, const std::string& path);

// Opens a STEP file or a part file, whichever `path` holds (by its content).
// The report is empty for a part file. The file is read first in a child
// process: a file that brings the kernel's reader down (a damaged STEP file,
// a forged part file) gives a HostError naming the file, and the program
// goes on.
StepReport OpenPart(MemoryHost& host, const std::string& path);

}  // namespace memory
