#pragma once

/// Modules that stand beside this library and are loaded when they are first needed, so that the
/// libraries they are linked to need not be on the machine. Loaded once and for good.

#include <string>

namespace Platform {

template <class Function>
struct ModuleEntry {
  Function* entry = nullptr;
  std::string reason;  // why there is none
  explicit operator bool() const { return entry != nullptr; }
};

/// `packages` are those of Debian that hold the libraries behind it; the reason names them.
void* findEntry(const char* module, const char* name, const char* packages, std::string& reason);

template <class Function>
ModuleEntry<Function> loadEntry(const char* module, const char* name, const char* packages) {
  ModuleEntry<Function> found;
  found.entry = reinterpret_cast<Function*>(findEntry(module, name, packages, found.reason));
  return found;
}

}  // namespace Platform
