#pragma once

/// A library that extends its host, as the framework knows it.
struct AFX_EXTENSION_MODULE {
  bool initialized = false;
  void* instance = nullptr;
};

/// Fills `module` for the loaded library `instance`. False, with nothing changed, if there is no instance or the record
/// is in use already.
bool AfxInitExtensionModule(AFX_EXTENSION_MODULE& module, void* instance);

/// Empties `module` and takes its libraries out of the chain, releasing them. Bears a record that is empty.
void AfxTermExtensionModule(AFX_EXTENSION_MODULE& module);

/// An entry in the framework's chain of extension libraries. Made with `new`; from then on the chain owns it. Entries
/// are made and released by the module entry alone, whose calls the system serialises.
class CDynLinkLibrary {
 public:
  explicit CDynLinkLibrary(AFX_EXTENSION_MODULE& module);
  CDynLinkLibrary(const CDynLinkLibrary&) = delete;
  CDynLinkLibrary& operator=(const CDynLinkLibrary&) = delete;

  /// How many libraries `module` has in the chain.
  static int count(const AFX_EXTENSION_MODULE& module);

 private:
  friend void AfxTermExtensionModule(AFX_EXTENSION_MODULE& module);
  ~CDynLinkLibrary() = default;

  AFX_EXTENSION_MODULE* module_;
  CDynLinkLibrary* next_;
};
