#include "platform/ModuleEntry.h"

#include "engine/EngineState.h"
#include "modern/web/WebState.h"
#include "net/FetchState.h"
#include "opml/OPMLState.h"
#include "platform/CInternetSession.h"
#include "platform/ExtensionModule.h"
#include "store/ImageDownloads.h"

namespace quillmoria {
namespace {

constinit AFX_EXTENSION_MODULE extensionModule;

/// Stops the pulls, cuts off what is under way and waits for the threads; then nothing of the engine runs but calls
/// that the host itself makes. Returns whether that is so: it is not on a pull's own thread.
bool shutDown() {
  engineState->stopForGood();
  CInternetSession::CutOffTransfers();
  return engineState->waitForPulls(-1);
}

}  // namespace

void buildModuleObjects() {
  constexpr auto atExit = [] { static_cast<void>(shutDown()); };
  CInternetSession::ResumeTransfers();
  CInternetSession::SetShutDown(atExit);
  fetchState.build();
  imageDownloads.build();
  webState.build();
  opmlState.build();
  engineState.build(atExit);
}

void closeModuleObjects() {
  // A callback that ends the process still runs on what the engine has.
  if (!shutDown()) return;
  engineState->close();
  opmlState->close();
  webState->close();
  imageDownloads->close();
  fetchState->close();
}

bool DllMain(void* instance, std::uint32_t reason, void*) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      if (!AfxInitExtensionModule(extensionModule, instance)) return false;
      new CDynLinkLibrary(extensionModule);
      return true;
    case DLL_PROCESS_DETACH:
      AfxTermExtensionModule(extensionModule);
      return true;
    default:
      return true;
  }
}

}  // namespace quillmoria
