#pragma once

#include <AudioDevices/AudioDevices.h>

#include <cstdint>
#include <string>

#include "tavro_core/Ledger.h"

namespace Player {

/// What is told at the end.
struct Totals {
  std::string device;
  bool simulated = false;
  int exitStatus = 0;
  Tavro::LedgerTotals buffers;
  std::uint64_t callbacks = 0;
  std::uint64_t silentCallbacks = 0;
  std::uint64_t silentBetween = 0;  // between the first and the last sample
  AudioDevices::DeviceTotals cycles;
  std::uint64_t eventsLost = 0;
  std::uint32_t graphMs = 0;
  std::uint64_t hostMs = 0;  // since the program's start
};

/// As JSON; "-" is standard output. Throws PlayerError when it cannot be written.
void writeTotals(const Totals& totals, const std::string& path);

}  // namespace Player
