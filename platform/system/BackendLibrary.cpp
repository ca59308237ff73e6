// SPDX-License-Identifier: MIT

#include "platform/system/BackendLibrary.h"

#include <dlfcn.h>
#include <filesystem>
#include <system_error>

namespace Platform {
namespace {

/// Returns the module's path: beside this library, as in a build, or in the private folder of an
/// installation below it.
std::string modulePath(const char* module) {
  Dl_info self{};
  ::dladdr(reinterpret_cast<const void*>(&findEntry), &self);
  const std::filesystem::path library(self.dli_fname != nullptr ? self.dli_fname : "");
  const std::filesystem::path built = library.parent_path() / module;
  std::error_code unreadable;
  const bool isBuilt = std::filesystem::exists(built, unreadable);
  return (isBuilt ? built : library.parent_path() / PRIVATE_FOLDER / module).string();
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
