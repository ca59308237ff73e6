// SPDX-License-Identifier: MIT

#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "host/TavroCore.h"
#include "time/HostTime.h"

namespace Tavro {

/// Why a bundle cannot be used, in a sentence.
class BundleError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A component of a bundle, from getPlugin() to its destruction. The caller calls its
/// ComponentInterface create() and destroy(). [host-thread]
class Component {
 public:
  ~Component();
  Component(const Component&) = delete;
  Component& operator=(const Component&) = delete;

  ComponentInterface& component() { return *m_component; }
  OutputInterface& output() { return *m_output; }
  Plugin& plugin() { return *m_plugin; }

 private:
  friend class Bundle;
  Component() = default;

  Plugin* m_plugin = nullptr;
  ComponentInterface* m_component = nullptr;
  OutputInterface* m_output = nullptr;
  HostTime::MemberId m_worker = 0;  // its thread, joined by its destruction
};

/// Returns the path of a module that belongs to this library's build or installation, or the name
/// alone if there is none.
std::string modulePath(const std::string& name);

/// A loaded bundle. It must outlive its components. [host-thread]
class Bundle {
 public:
  /// A list of folders, separated by colons.
  static constexpr const char* kPathVariable = "TAVRO_BUNDLE_PATH";

  /// Returns the path of the first file of that name: in the folders of TAVRO_BUNDLE_PATH (which
  /// privileged programs ignore), beside this library, where a build has its bundles, and in the
  /// folder `tavro` below it, where an installation has them. Throws BundleError, which names every
  /// folder searched, if there is none.
  static std::string find(const std::string& name);

  /// Loads a file; a name without a slash is one for find(). Throws BundleError if it is missing or
  /// not a bundle.
  explicit Bundle(const std::string& path);
  ~Bundle();
  Bundle(const Bundle&) = delete;
  Bundle& operator=(const Bundle&) = delete;

  /// Creates a component. In simulated time its thread, if any, has reached its first wait. Throws
  /// BundleError if the component lacks an output's interface; the bundle's exceptions pass
  /// through.
  std::unique_ptr<Component> makeComponent(PluginContext* context = nullptr);

 private:
  void* m_handle = nullptr;
  GetPluginFunction* m_getPlugin = nullptr;
  std::string m_path;
};

}  // namespace Tavro
