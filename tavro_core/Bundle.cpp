// SPDX-License-Identifier: MIT

#include "tavro_core/Bundle.h"

#include <dlfcn.h>
#include <filesystem>
#include <system_error>

namespace Tavro {

namespace {

template <class Interface>
Interface* answered(Plugin& plugin, const char* id, const std::string& path) {
  void* found = nullptr;
  const NarrowString name(id, sharedAllocator<char>());
  if (plugin.queryInterface(name, &found) != InterfaceResult::kFound || found == nullptr) {
    throw BundleError(path + ": its component does not answer the interface " + id);
  }
  return static_cast<Interface*>(found);
}

/// Returns the file's path. dlopen() alone would search beside the program that calls it, or beside
/// a library loaded in between.
std::string located(const std::string& path) {
  Dl_info self{};
  if (path.find('/') != std::string::npos ||
      dladdr(reinterpret_cast<const void*>(&located), &self) == 0) {
    return path;
  }
  const auto beside = std::filesystem::path(self.dli_fname).parent_path() / path;
  std::error_code unknown;
  return std::filesystem::exists(beside, unknown) ? beside.string() : path;
}

}  // namespace

Component::~Component() {
  const HostTime::JoinScope joining(m_worker);
  delete m_plugin;
}

Bundle::Bundle(const std::string& path) : m_path(path) {
  m_handle = dlopen(located(path).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (m_handle == nullptr) {
    throw BundleError(std::string("cannot load the bundle: ") + dlerror());
  }
  m_getPlugin = reinterpret_cast<GetPluginFunction*>(dlsym(m_handle, "getPlugin"));
  if (m_getPlugin == nullptr) {
    dlclose(m_handle);
    throw BundleError(path + ": not a bundle (it exports no getPlugin)");
  }
}

Bundle::~Bundle() { dlclose(m_handle); }

std::unique_ptr<Component> Bundle::makeComponent(PluginContext* context) {
  std::unique_ptr<Component> made(new Component);
  HostTime::ThreadStartWaiter newcomer;
  const std::uint32_t result = m_getPlugin(context, &made->m_plugin);
  if (result != 0 || made->m_plugin == nullptr) {
    throw BundleError(m_path + ": getPlugin made no component");
  }
  made->m_worker = newcomer.await();
  made->m_component =
      answered<ComponentInterface>(*made->m_plugin, InterfaceId::kComponent, m_path);
  made->m_output = answered<OutputInterface>(*made->m_plugin, InterfaceId::kOutput, m_path);
  return made;
}

}  // namespace Tavro
