#pragma once

#include <atomic>
#include <cstdint>

#include "norvane_string.h"

namespace Tavro {

class PluginContext;  // the host's own; only passed on

/// Base of the object that a bundle's getPlugin() hands out. Made with one hold; the host owns it
/// and destroys it by release() or by delete.
class Plugin {
 public:
  explicit Plugin(PluginContext* context);
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  virtual ~Plugin();
  virtual std::uint32_t retain();   // the holds after it [any-thread]
  virtual std::uint32_t release();  // the holds after it; at 0 the object is deleted [any-thread]
  virtual std::uint32_t holdCount();
  virtual const void* getPluginInfo() const;  // null: none
  virtual PluginContext* getPluginContext() const;

  /// Converts the object to the interface that `id` names. Answers InterfaceResult::kFound, or
  /// kUnknown with `*out` null. [any-thread]
  virtual std::uint32_t queryInterface(const NarrowString& id, void** out) = 0;

 private:
  PluginContext* m_context;
  std::atomic<std::uint32_t> m_holds{1};
};

namespace InterfaceResult {
inline constexpr std::uint32_t kFound = 0;
inline constexpr std::uint32_t kUnknown = 3;
}  // namespace InterfaceResult

/// The one export of a bundle: `extern "C" std::uint32_t getPlugin(PluginContext*, Plugin** out)`.
using GetPluginFunction = std::uint32_t(PluginContext*, Plugin**);

}  // namespace Tavro
