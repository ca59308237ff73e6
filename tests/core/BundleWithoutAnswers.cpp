// SPDX-License-Identifier: MIT

#include "host/TavroCore.h"

namespace {

class Deaf : public Tavro::Plugin {
 public:
  using Plugin::Plugin;
  std::uint32_t queryInterface(const Tavro::NarrowString&, void** out) override {
    *out = nullptr;
    return Tavro::InterfaceResult::kUnknown;
  }
};

}  // namespace

extern "C" std::uint32_t getPlugin(Tavro::PluginContext* context, Tavro::Plugin** out) {
  *out = new Deaf(context);
  return 0;
}
