#pragma once

#include <host/TavroCore.h>
#include <string>

/// The bundle's entry, loaded once a process.
Tavro::GetPluginFunction* getPluginOfBundle();

Tavro::NarrowString narrow(const std::string& text);

/// `pointer` as the value of an object's variant.
template <class T>
Tavro::_Variant objectValue(T* pointer) {
  return {Tavro::VariantType::kObject, reinterpret_cast<std::uintptr_t>(pointer)};
}

/// Writes stream properties to an input port.
bool writeTo(Tavro::PortInterface& port, std::uint32_t rate, std::uint32_t channels,
             std::uint32_t bits, std::uint32_t id = Tavro::PortQuery::kConfigurePcm);

/// A component as a host holds it: got from getPlugin, asked for its facets, deleted at the end.
class Component {
 public:
  Component();
  ~Component();  // lets a parked feeder go first, as the deletion waits for it
  Component(const Component&) = delete;
  Component& operator=(const Component&) = delete;

  /// Answers the code of the lookup; `*out` holds a stray pointer before it.
  std::uint32_t lookUp(const std::string& id, void** out) const;

  Tavro::Plugin* plugin() const { return m_plugin; }
  Tavro::ComponentInterface* operator->() const { return m_component; }
  Tavro::OutputInterface& output() const { return *m_output; }

 private:
  Tavro::Plugin* m_plugin = nullptr;
  Tavro::ComponentInterface* m_component = nullptr;
  Tavro::OutputInterface* m_output = nullptr;
};
