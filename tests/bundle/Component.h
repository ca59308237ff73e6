#pragma once

#include <host/TavroCore.h>
#include <string>

/// The bundle's entry, loaded once a process.
Tavro::GetPluginFunction* getPluginOfBundle();

Tavro::NarrowString narrow(const std::string& text);

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
