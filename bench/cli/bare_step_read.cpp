// The geometry kernel's own read of a STEP file, as the tool's reader asks
// for it and with nothing after it: parse the file and transfer it into an
// XCAF document with colours, layers and names. The yardstick that
// bom_bench holds `diebom bom` against.
//
//   bare_step_read FILE.step
//
// Exit status 0 when the file was read and transferred, 1 otherwise.
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <STEPCAFControl_Reader.hxx>
#include <TDocStd_Document.hxx>
#include <XCAFApp_Application.hxx>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: bare_step_read FILE.step\n", stderr);
    return 2;
  }
  Message::DefaultMessenger()->ChangePrinters().Clear();
  Handle(TDocStd_Application) app = XCAFApp_Application::GetApplication();
  Handle(TDocStd_Document) doc;
  app->NewDocument("MDTV-XCAF", doc);
  STEPCAFControl_Reader reader;
  reader.SetColorMode(Standard_True);
  reader.SetNameMode(Standard_True);
  reader.SetLayerMode(Standard_True);
  if (reader.ReadFile(argv[1]) != IFSelect_RetDone) return 1;
  return reader.Transfer(doc) ? 0 : 1;
}
