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

/// A component of a bundle, from getPlugin() to its destruction. Its own ComponentInterface
/// create() and destroy() stay the caller's to call. [host-thread]
class Component {
 public:
  ~Component();
  Component(const Component&) = delete;
  Component& operator=(const Component&) = delete;

  ComponentInterface& component() { return *m_component; }
  OutputInterface& output() { return *m_output; }

 private:
  friend class Bundle;
  Component() = default;

  Plugin* m_plugin = nullptr;
  ComponentInterface* m_component = nullptr;
  OutputInterface* m_output = nullptr;
  HostTime::MemberId m_worker = 0;  // its thread, which its destruction joins
};

/// A loaded bundle. It outlives its components. [host-thread]
class Bundle {
 public:
  /// Loads a file. A name without a slash is searched for beside this library, then where the
  /// system searches for libraries. Throws BundleError if it is missing or is no bundle.
  explicit Bundle(const std::string& path);
  ~Bundle();
  Bundle(const Bundle&) = delete;
  Bundle& operator=(const Bundle&) = delete;

  /// A new component whose thread, if it has one, has come to its first wait. Throws BundleError
  /// when an interface of an output is not answered; what the bundle throws passes through.
  std::unique_ptr<Component> makeComponent(PluginContext* context = nullptr);

 private:
  void* m_handle = nullptr;
  GetPluginFunction* m_getPlugin = nullptr;
  std::string m_path;
};

}  // namespace Tavro
