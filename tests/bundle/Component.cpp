#include "Component.h"

#include <dlfcn.h>
#include <stdexcept>

#include "fakes/FakeServices.h"

Tavro::GetPluginFunction* getPluginOfBundle() {
  static Tavro::GetPluginFunction* const entry = [] {
    void* bundle = dlopen(BUNDLE_PATH, RTLD_NOW | RTLD_LOCAL);
    if (bundle == nullptr) {
      throw std::runtime_error(dlerror());
    }
    return reinterpret_cast<Tavro::GetPluginFunction*>(dlsym(bundle, "getPlugin"));
  }();
  return entry;
}

Tavro::NarrowString narrow(const std::string& text) {
  return {text.c_str(), Tavro::sharedAllocator<char>()};
}

bool writeTo(Tavro::PortInterface& port, std::uint32_t rate, std::uint32_t channels,
             std::uint32_t bits, std::uint32_t id) {
  Tavro::AudioProperties properties;
  properties.m_sampleRate = rate;
  properties.m_channels = channels;
  properties.m_bitsPerSample = bits;
  Tavro::_Variant value = objectValue(&properties);
  return port.writeQuery(id, &value);
}

Component::Component() {
  if (getPluginOfBundle()(nullptr, &m_plugin) != 0) {
    throw std::runtime_error("getPlugin failed");
  }
  void* facet = nullptr;
  lookUp("com.norvane.flowloom.interface.component", &facet);
  m_component = static_cast<Tavro::ComponentInterface*>(facet);
  lookUp("com.norvane.flowloom.interface.output", &facet);
  m_output = static_cast<Tavro::OutputInterface*>(facet);
}

Component::~Component() {
  SleepGate::instance().open();
  delete m_plugin;
}

std::uint32_t Component::lookUp(const std::string& id, void** out) const {
  int stray = 0;
  *out = &stray;
  return m_plugin->queryInterface(narrow(id), out);
}
