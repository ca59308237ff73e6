// SPDX-License-Identifier: MIT

// A bundle that can be loaded and asked, and then breaks its promises in the ways that a program
// which checks bundles must survive.

#include <atomic>
#include <cstdlib>
#include <thread>

#include "host/TavroCore.h"

namespace {

class Misbehaving : public Tavro::Plugin, public Tavro::OutputComponent {
 public:
  using Plugin::Plugin;
  ~Misbehaving() override {
    m_stop = true;
    m_worker.join();
  }

  std::uint32_t queryInterface(const Tavro::NarrowString& id, void** out) override {
    const Tavro::NarrowString output("com.norvane.flowloom.interface.output",
                                     Tavro::sharedAllocator<char>());
    *out = id == output ? static_cast<void*>(static_cast<Tavro::OutputInterface*>(this))
                        : static_cast<Tavro::ComponentInterface*>(this);
    return Tavro::InterfaceResult::kFound;
  }

  bool create(Tavro::GraphSessionInterface* session) override {
    while (session == nullptr && !m_stop) {  // never returns
    }
    return true;
  }
  bool getInfoKeys(std::vector<const char*>*) override { std::abort(); }
  bool getInfo(const char*, Tavro::_Variant*) override { return false; }
  bool getSupportedFormats(Tavro::SettingsInterface*, Tavro::MediaType, Tavro::DataModel,
                           Tavro::PortType, Tavro::FormatList*) override {
    std::exit(0);
  }
  Tavro::PortInterface* connectInput(Tavro::MediaType, const Tavro::FormatDescriptor*,
                                     Tavro::StreamSource*) override {
    return nullptr;
  }
  bool disconnectInput(Tavro::PortInterface*) override { return false; }

 private:
  std::atomic<bool> m_stop{false};
  std::thread m_worker{[this] {
    while (!m_stop) {
      Tavro::SleepMS(10);
    }
  }};
};

}  // namespace

extern "C" std::uint32_t getPlugin(Tavro::PluginContext* context, Tavro::Plugin** out) {
  *out = new Misbehaving(context);
  return 0;
}
