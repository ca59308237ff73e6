#pragma once

#include <AudioDevices/AudioDevices.h>

#include <cstdint>
#include <string>

#include "tavro_core/Ledger.h"

namespace Player {

/// What became of the AC-3 frames that were passed through.
struct PassthroughTotals {
  std::uint64_t framesRead = 0;        // but for those that a seek took away
  std::uint64_t burstsHandedOver = 0;  // and consumed
  std::uint64_t burstsAccepted = 0;    // by the device: given, and found right where it looks
  std::uint64_t violations = 0;
  std::uint64_t pauses = 0;     // cycles of silence between bursts
  std::uint64_t sentAgain = 0;  // after a pause
};

/// What is told at the end.
struct Totals {
  std::string device;
  bool simulated = false;
  int exitStatus = 0;
  Tavro::LedgerTotals buffers;
  PassthroughTotals passthrough;
  std::uint64_t callbacks = 0;
  std::uint64_t silentCallbacks = 0;
  std::uint64_t silentBetween = 0;  // between the first and the last sample
  std::uint64_t seeks = 0;
  AudioDevices::DeviceTotals cycles;
  std::uint64_t eventsLost = 0;
  std::uint32_t graphMs = 0;
  std::uint64_t hostMs = 0;  // since the program's start
};

/// As JSON; "-" is standard output. Throws PlayerError when it cannot be written.
void writeTotals(const Totals& totals, const std::string& path);

}  // namespace Player
