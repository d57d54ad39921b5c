// The plug-in's entry points and what they run on.
#pragma once

#include <functional>
#include <memory>

#include "host/host.h"

class ExportMaterialBom;

namespace entry {

// The host the entry points work on. The host's own session is global, so the
// entry takes it from here; it must be installed before ufusr is called.
void SetHost(host::Host* host);
// The installed host; throws std::logic_error when none is installed.
host::Host& GetHost();

// How a run makes its material BOM dialog. Empty restores the default, which
// constructs ExportMaterialBom on the host; a test installs its own to watch
// the dialog it hands over.
using MaterialBomFactory = std::function<std::unique_ptr<ExportMaterialBom>(host::Host&)>;
void SetMaterialBomFactory(MaterialBomFactory factory);

// Checks the result code of a host session call. A non-zero code is written
// to the system log and, when it opens, to the listing window as
// "*** ERROR code <code> at line <line> in <file>:\n+++ " + the host's text
// for the code + "\n" + the call text + ";\n". Returns the code.
int ReportError(const char* file, int line, const char* call, int code);

}  // namespace entry

// Runs one session of the tool: the options dialog, then the material BOM.
// None of the three arguments is used.
extern "C" void ufusr(char* param, int* retcode, int param_len);
// The host's unload policy for the library: 1, unload as soon as ufusr returns.
extern "C" int ufusr_ask_unload(void);
