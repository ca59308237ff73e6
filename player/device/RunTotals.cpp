// SPDX-License-Identifier: MIT

#include "player/device/RunTotals.h"

#include <algorithm>

namespace Player {

void RunTotals::moveTo(AudioDeviceID device) {
  m_onOthers = sum();
  m_device = device;
  m_atFirst = AudioDevices::totalsOf(device);
}

AudioDevices::DeviceTotals RunTotals::sum() const {
  using Totals = AudioDevices::DeviceTotals;
  const Totals now = AudioDevices::totalsOf(m_device);
  Totals all = now;
  for (const auto count : {&Totals::cycles, &Totals::framesPlayed, &Totals::framesHeard,
                           &Totals::framesDiscarded, &Totals::framesWritten, &Totals::lateCycles,
                           &Totals::underruns, &Totals::burstCycles, &Totals::bursts}) {
    all.*count = m_onOthers.*count + now.*count - std::min(now.*count, m_atFirst.*count);
  }
  return all;
}

}  // namespace Player
