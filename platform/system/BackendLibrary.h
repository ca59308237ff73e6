// SPDX-License-Identifier: MIT

#pragma once

/// Modules of this library that are loaded on first use, so that the libraries they link to need
/// not be installed. They lie beside it in a build, and in its private folder where it is
/// installed. They are never unloaded.

#include <string>

namespace Platform {

template <class Function>
struct ModuleEntry {
  Function* entry = nullptr;
  std::string reason;  // why it is missing
  explicit operator bool() const { return entry != nullptr; }
};

/// Returns null and fills `reason` on failure. `packages` are the Debian packages of the libraries
/// behind the module; the reason names them.
void* findEntry(const char* module, const char* name, const char* packages, std::string& reason);

template <class Function>
ModuleEntry<Function> loadFunction(const char* module, const char* name, const char* packages) {
  ModuleEntry<Function> found;
  found.entry = reinterpret_cast<Function*>(findEntry(module, name, packages, found.reason));
  return found;
}

}  // namespace Platform
