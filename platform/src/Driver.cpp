#include "Driver.h"

namespace Platform {

OSStatus Driver::setFormat(std::size_t /*stream*/, const AudioStreamBasicDescription& /*format*/,
                           bool /*running*/) {
  return kAudioHardwareUnsupportedOperationError;
}

OSStatus Driver::setLayout(const Labels& /*labels*/, bool /*running*/) {
  return kAudioHardwareUnsupportedOperationError;
}

OSStatus Driver::offerFormat(const PcmFormat& /*format*/, bool /*running*/) { return noErr; }

void Driver::finish() {}

std::uint32_t Driver::latencyFrames() const { return 0; }

AudioDevices::Failure Driver::failure() const { return {}; }

std::uint64_t Driver::framesWritten() const { return 0; }

std::uint64_t Driver::underruns() const { return 0; }

std::optional<double> Driver::driftPpm() const { return std::nullopt; }

AudioDevices::BurstReport Driver::burstReport() const { return {}; }

}  // namespace Platform
