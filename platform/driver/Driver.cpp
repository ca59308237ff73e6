// SPDX-License-Identifier: MIT

#include "platform/driver/Driver.h"

#include <algorithm>

namespace Platform {

AudioStreamRangedDescription atItsRate(const AudioStreamBasicDescription& format) {
  return {.mFormat = format, .mSampleRateRange = {format.mSampleRate, format.mSampleRate}};
}

std::uint32_t cycleFramesAt(std::uint32_t rate) { return std::clamp(rate / 100, 64U, 4096U); }

OSStatus Driver::setFormat(std::size_t /*stream*/, const AudioStreamBasicDescription& /*format*/,
                           bool /*running*/) {
  return kAudioHardwareUnsupportedOperationError;
}

OSStatus Driver::setLayout(const Labels& /*labels*/, bool /*running*/) {
  return kAudioHardwareUnsupportedOperationError;
}

OSStatus Driver::negotiateFormat(const PcmFormat& /*format*/, bool /*running*/) { return noErr; }

void Driver::restart(CycleSource& source) {
  stop();
  start(source);
}

bool Driver::isSounding() const { return false; }

bool Driver::isSuspended() const { return false; }

bool Driver::isResponsive() const { return true; }

void Driver::finish() {}

void Driver::trimEnd(std::uint32_t /*frames*/) {}

std::uint32_t Driver::latencyFrames() const { return 0; }

AudioDevices::Failure Driver::failure() const { return {}; }

std::uint64_t Driver::framesWritten() const { return 0; }

std::uint64_t Driver::underruns() const { return 0; }

std::optional<double> Driver::driftPpm() const { return std::nullopt; }

AudioDevices::BurstReport Driver::burstReport() const { return {}; }

}  // namespace Platform
