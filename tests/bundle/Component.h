// SPDX-License-Identifier: MIT

#pragma once

#include <host/TavroCore.h>
#include <memory>
#include <string>

#include "tavro_core/Bundle.h"

/// The bundle under test, loaded once a process.
Tavro::Bundle& bundle();

Tavro::NarrowString narrow(const std::string& text);

/// `pointer` as the value of an object's variant.
template <class T>
Tavro::_Variant objectValue(T* pointer) {
  return {Tavro::VariantType::kObject, reinterpret_cast<std::uintptr_t>(pointer)};
}

/// A component of the bundle as a host holds it.
class Component {
 public:
  explicit Component(Tavro::PluginContext* context = nullptr)
      : m_held(bundle().makeComponent(context)) {}
  ~Component();  // lets a parked feeder go first, as the deletion waits for it
  Component(const Component&) = delete;
  Component& operator=(const Component&) = delete;

  Tavro::Plugin* plugin() const { return dynamic_cast<Tavro::Plugin*>(&m_held->component()); }
  Tavro::ComponentInterface* operator->() const { return &m_held->component(); }
  Tavro::OutputInterface& output() const { return m_held->output(); }

 private:
  const std::unique_ptr<Tavro::Component> m_held;
};
