#include <exception>
#include <stdexcept>

#include "entry/entry.h"
#include "entry/set_bom_option.h"
#include "material_bom/export_material_bom.h"

namespace entry {
namespace {

host::Host* g_host = nullptr;
MaterialBomFactory g_factory;

// The name the run reports its session calls under; the lines are fixed texts
// of the reports.
constexpr const char* kSourceName = "Tarnel";
constexpr int kInitializeLine = 127;
constexpr int kTerminateLine = 229;

}  // namespace

void SetHost(host::Host* host) { g_host = host; }

host::Host& GetHost() {
  if (g_host == nullptr) throw std::logic_error("no host is installed for the entry points");
  return *g_host;
}

void SetMaterialBomFactory(MaterialBomFactory factory) { g_factory = std::move(factory); }

int ReportError(const char* file, int line, const char* call, int code) {
  if (code == 0) return 0;
  host::Host& host = GetHost();
  const std::string header =
      text::Format("*** ERROR code %d at line %d in %s:\n+++ ", code, line, file);
  const std::string message = host.session().FailMessage(code);
  host::Messages& messages = host.messages();
  const std::string pieces[] = {header, message, "\n", call, ";\n"};
  for (const std::string& piece : pieces) messages.PrintSyslog(piece);
  if (messages.OpenListingWindow() == 0) {
    for (const std::string& piece : pieces) messages.WriteListingWindow(piece);
  }
  return code;
}

}  // namespace entry

extern "C" void ufusr(char* /*param*/, int* /*retcode*/, int /*param_len*/) {
  host::Host& host = entry::GetHost();
  if (entry::ReportError(entry::kSourceName, entry::kInitializeLine, "UF_initialize()",
                         host.session().Initialize()) != 0) {
    return;
  }
  // A second initialisation, matched by the single termination below; the
  // imbalance is deliberate.
  host.session().Initialize();

  std::unique_ptr<BaseBom> material_bom;
  try {
    SetBomOption option(host);
    option.Show();
    if (!option.IsOk()) return;  // cancelled: no termination, no report

    bool a = false, b = false, c = false;
    int n = 0;
    option.GetOption(a, b, c, n);
    std::unique_ptr<ExportMaterialBom> dialog =
        entry::g_factory ? entry::g_factory(host) : std::make_unique<ExportMaterialBom>(host);
    if (!dialog) throw std::logic_error("the material BOM factory made no dialog");
    ExportMaterialBom& bom = *dialog;
    material_bom = std::move(dialog);
    bom.SetSmartCalc(a, b, c, n);
    bom.Show();
  } catch (const std::exception& e) {
    host.messages().ShowMessage("导出BOM", host::kErrorMessage, e.what());
  }
  material_bom.reset();
  entry::ReportError(entry::kSourceName, entry::kTerminateLine, "UF_terminate()",
                     host.session().Terminate());
}

extern "C" int ufusr_ask_unload(void) { return 1; }
