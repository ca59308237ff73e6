// SPDX-License-Identifier: MIT

#include "tavro_core/Bundle.h"

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <optional>
#include <sstream>
#include <system_error>
#include <vector>

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

using Folders = std::vector<std::filesystem::path>;

/// Returns where this library's modules lie: beside it in a build, in the private folder where it
/// is installed.
Folders moduleFolders() {
  Dl_info self{};
  dladdr(reinterpret_cast<const void*>(&moduleFolders), &self);
  const auto beside = std::filesystem::path(self.dli_fname).parent_path();
  return {beside, beside / PRIVATE_FOLDER};
}

Folders bundleFolders() {
  Folders folders;
  const char* const listed = secure_getenv(Bundle::kPathVariable);
  std::istringstream list(listed != nullptr ? listed : "");
  for (std::string folder; std::getline(list, folder, ':');) {
    if (!folder.empty()) {
      folders.emplace_back(folder);
    }
  }
  for (auto& folder : moduleFolders()) {
    folders.push_back(std::move(folder));
  }
  return folders;
}

std::optional<std::string> foundIn(const Folders& folders, const std::string& name) {
  for (const auto& folder : folders) {
    std::error_code unreadable;
    if (std::filesystem::exists(folder / name, unreadable)) {
      return (folder / name).string();
    }
  }
  return std::nullopt;
}

}  // namespace

std::string modulePath(const std::string& name) {
  return foundIn(moduleFolders(), name).value_or(name);
}

Component::~Component() {
  const HostTime::JoinScope joining(m_worker);
  delete m_plugin;
}

std::string Bundle::find(const std::string& name) {
  const Folders folders = bundleFolders();
  if (const auto path = foundIn(folders, name)) {
    return *path;
  }
  std::string message = "cannot find the bundle " + name + " in";
  for (const auto& folder : folders) {
    message += ' ' + folder.string();
  }
  throw BundleError(message + " (" + kPathVariable + " can name other folders)");
}

Bundle::Bundle(const std::string& path)
    : m_path(path.find('/') == std::string::npos ? find(path) : path) {
  m_handle = dlopen(m_path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (m_handle == nullptr) {
    throw BundleError(std::string("cannot load the bundle: ") + dlerror());
  }
  m_getPlugin = reinterpret_cast<GetPluginFunction*>(dlsym(m_handle, "getPlugin"));
  if (m_getPlugin == nullptr) {
    dlclose(m_handle);
    throw BundleError(m_path + ": not a bundle (it exports no getPlugin)");
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
