// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <cstdint>

#include "norvane_string.h"

namespace Tavro {

class PluginContext;  // defined by the host; only passed through

/// Base of the object that a bundle's getPlugin() creates. It starts with one reference; the host
/// owns it and destroys it with release() or delete.
class Plugin {
 public:
  explicit Plugin(PluginContext* context);
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  virtual ~Plugin();
  virtual std::uint32_t retain();   // returns the new count [any-thread]
  virtual std::uint32_t release();  // returns the new count; deletes the object at 0 [any-thread]
  virtual std::uint32_t holdCount();
  virtual const void* getPluginInfo() const;  // null if there is none
  virtual PluginContext* getPluginContext() const;

  /// Converts the object to the interface that `id` names. Returns InterfaceResult::kFound, or
  /// kUnknown with `*out` set to null. [any-thread]
  virtual std::uint32_t queryInterface(const NarrowString& id, void** out) = 0;

 private:
  PluginContext* m_context;
  std::atomic<std::uint32_t> m_holds{1};
};

namespace InterfaceResult {
inline constexpr std::uint32_t kFound = 0;
inline constexpr std::uint32_t kUnknown = 3;
}  // namespace InterfaceResult

/// The only export of a bundle:
/// `extern "C" std::uint32_t getPlugin(PluginContext*, Plugin** out)`.
using GetPluginFunction = std::uint32_t(PluginContext*, Plugin**);

}  // namespace Tavro
