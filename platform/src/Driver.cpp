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

AudioDevices::Failure Driver::failure() const { return {}; }

std::uint64_t Driver::framesWritten() const { return 0; }

AudioDevices::BurstReport Driver::burstReport() const { return {}; }

}  // namespace Platform
