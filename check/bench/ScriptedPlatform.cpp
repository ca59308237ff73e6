// SPDX-License-Identifier: MIT

#include "check/bench/ScriptedPlatform.h"

#include <algorithm>

namespace Check {

namespace Script = AudioDevices::Script;

ScriptedPlatform::ScriptedPlatform() {
  useDevice({.name = "check", .streams = {{.format = AudioDevices::pcmInteger(48000, 2, 16)}}});
  forgetCalls();
}

void ScriptedPlatform::useDevice(const AudioDevices::ScriptedSetup& setup) {
  m_device.reset();
  m_device = std::make_unique<AudioDevices::ScriptedDevice>(setup);
  m_device->makeDefault();
}

std::optional<BuiltOutput> ScriptedPlatform::output() const { return builtOutput(Script::calls()); }

Calls ScriptedPlatform::calls() const {
  Calls all = Script::calls();
  all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(m_callsTaken));
  return all;
}

Lines ScriptedPlatform::takeCalls(const Lines& prefixes) {
  Lines lines = inWords(calls());
  m_callsTaken += lines.size();
  std::erase_if(lines, [&](const std::string& line) {
    return std::ranges::none_of(prefixes, [&](const auto& p) { return line.starts_with(p); });
  });
  return lines;
}

void ScriptedPlatform::forgetCalls() {
  Script::reset();
  Script::record();
  m_callsTaken = 0;
}

}  // namespace Check
