// SPDX-License-Identifier: MIT

#include "Component.h"

#include "fakes/FakeServices.h"

Tavro::Bundle& bundle() {
  static Tavro::Bundle loaded(BUNDLE_PATH);
  return loaded;
}

Tavro::NarrowString narrow(const std::string& text) {
  return {text.c_str(), Tavro::sharedAllocator<char>()};
}

Component::~Component() { SleepGate::instance().open(); }
