#include "coreaudio/CoreAudioOutput.h"
#include "host/TavroCore.h"

/// The bundle's one export: a new component, the caller's to destroy. Answers 0; exceptions of the
/// construction (no memory, no thread, no mutex) pass through, with `*out` not written.
extern "C" __attribute__((visibility("default"))) std::uint32_t getPlugin(
    Tavro::PluginContext* context, Tavro::Plugin** out) {
  *out = new Tavro::CoreAudioOutput(context);
  return 0;
}
