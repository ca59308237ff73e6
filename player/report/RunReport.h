// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/AudioDevices.h>

#include <cstdint>
#include <string>

#include "tavro_core/Ledger.h"

namespace Player {

/// Counts of the AC-3 frames that were passed through.
struct PassthroughTotals {
  std::uint64_t framesRead = 0;        // except those that a seek took back
  std::uint64_t burstsHandedOver = 0;  // and consumed
  std::uint64_t burstsAccepted = 0;    // by the device, less the violations that it found
  std::uint64_t violations = 0;
  std::uint64_t pauses = 0;     // cycles of silence between bursts
  std::uint64_t sentAgain = 0;  // after a pause
};

/// The totals reported at the end.
struct RunReport {
  std::string device;
  bool simulated = false;
  int exitStatus = 0;
  Tavro::LedgerTotals buffers;
  PassthroughTotals passthrough;
  std::uint64_t callbacks = 0;
  std::uint64_t silentCallbacks = 0;
  std::uint64_t silentBetween = 0;  // between the first and the last sample of a stream
  std::uint64_t seeks = 0;
  AudioDevices::DeviceTotals cycles;
  std::uint64_t eventsLost = 0;
  std::uint32_t graphMs = 0;
  std::uint64_t hostMs = 0;  // since the run began
};

/// Writes JSON to `path`; "-" is standard output. Throws PlayerError if writing fails.
void writeRunReport(const RunReport& totals, const std::string& path);

}  // namespace Player
