#include "platform/ExtensionModule.h"

#include <utility>

namespace {

constinit CDynLinkLibrary* chain = nullptr;

}  // namespace

bool AfxInitExtensionModule(AFX_EXTENSION_MODULE& module, void* instance) {
  if (module.initialized || !instance) return false;
  module = {true, instance};
  return true;
}

void AfxTermExtensionModule(AFX_EXTENSION_MODULE& module) {
  for (CDynLinkLibrary** link = &chain; *link;) {
    if ((*link)->module_ == &module) {
      delete std::exchange(*link, (*link)->next_);
    } else {
      link = &(*link)->next_;
    }
  }
  module = {};
}

CDynLinkLibrary::CDynLinkLibrary(AFX_EXTENSION_MODULE& module) : module_(&module), next_(std::exchange(chain, this)) {}

int CDynLinkLibrary::count(const AFX_EXTENSION_MODULE& module) {
  int count = 0;
  for (const CDynLinkLibrary* library = chain; library; library = library->next_) count += library->module_ == &module;
  return count;
}
