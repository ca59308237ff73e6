// SPDX-License-Identifier: MIT

#include "coreaudio/CoreAudioOutput.h"
#include "host/TavroCore.h"

/// The bundle's only export: creates a component, which the caller must destroy. Returns 0.
/// Exceptions from the construction (no memory, thread or mutex) pass through; `*out` is then
/// unchanged.
extern "C" __attribute__((visibility("default"))) std::uint32_t getPlugin(
    Tavro::PluginContext* context, Tavro::Plugin** out) {
  *out = new Tavro::CoreAudioOutput(context);
  return 0;
}
