// SPDX-License-Identifier: MIT

#include <AudioDevices/AudioDevices.h>
#include <AudioToolbox/AudioToolbox.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace AudioDevices {
namespace {

struct Meaning {
  OSStatus status;
  std::string_view words;
};

constexpr std::array kMeanings = {
    Meaning{noErr, "no error"},
    Meaning{kAudio_ParamError, "a null pointer or a stale handle"},
    Meaning{kAudio_MemFullError, "out of memory"},
    Meaning{kAudioHardwareUnspecifiedError, "the device failed or is not there"},
    Meaning{kAudioHardwareNotRunningError, "the device is not running"},
    Meaning{kAudioHardwareUnknownPropertyError, "the object has no such property"},
    Meaning{kAudioHardwareBadPropertySizeError, "the value has the wrong size"},
    Meaning{kAudioHardwareIllegalOperationError, "not possible at this point"},
    Meaning{kAudioHardwareBadObjectError, "there is no such object"},
    Meaning{kAudioHardwareBadDeviceError, "there is no such device"},
    Meaning{kAudioHardwareBadStreamError, "the device has no such stream"},
    Meaning{kAudioHardwareUnsupportedOperationError, "the device cannot do this"},
    Meaning{kAudioDeviceUnsupportedFormatError, "the device cannot play this format"},
    Meaning{kAudioDevicePermissionsError, "the device is in use by another program"},
    Meaning{0x666D743F, "no stream of the device takes this format"},  // 'fmt?'
    Meaning{kAudioUnitErr_InvalidProperty, "the unit has no such property"},
    Meaning{kAudioUnitErr_InvalidParameter, "the unit has no such parameter, or not this value"},
    Meaning{kAudioUnitErr_InvalidElement, "the unit has no such element"},
    Meaning{kAudioUnitErr_NoConnection, "the unit has no render callback"},
    Meaning{kAudioUnitErr_FailedInitialization, "the unit cannot be set up"},
    Meaning{kAudioUnitErr_TooManyFramesToProcess, "too many frames at once"},
    Meaning{kAudioUnitErr_FormatNotSupported, "the unit cannot play this format"},
    Meaning{kAudioUnitErr_Uninitialized, "the graph is not initialised"},
    Meaning{kAudioUnitErr_InvalidScope, "the property has another scope"},
    Meaning{kAudioUnitErr_PropertyNotWritable, "the property cannot be set"},
    Meaning{kAudioUnitErr_CannotDoInCurrentContext, "not possible at this point"},
    Meaning{kAudioUnitErr_InvalidPropertyValue, "the property cannot have this value or size"},
    Meaning{kAudioUnitErr_PropertyNotInUse, "the property is not in use"},
    Meaning{kAUGraphErr_NodeNotFound, "the graph has no such node"},
    Meaning{kAUGraphErr_InvalidConnection, "the graph cannot connect this"},
    Meaning{kAUGraphErr_OutputNodeErr, "the graph needs exactly one output node"},
    Meaning{kAUGraphErr_InvalidAudioUnit, "the graph has no such unit"},
};

/// Returns the four characters, quoted and followed by a space, or nothing if any is unprintable.
std::string fourCharacters(OSStatus status) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += static_cast<char>(static_cast<std::uint32_t>(status) >> shift);
  }
  const bool printable = std::ranges::all_of(text, [](char c) { return c >= 0x20 && c < 0x7F; });
  return printable ? "'" + text + "' " : "";
}

}  // namespace

std::string statusText(OSStatus status) {
  const auto found = std::ranges::find(kMeanings, status, &Meaning::status);
  const std::string_view words = found != kMeanings.end() ? found->words : "an unknown error";
  return std::string(words) + " (" + fourCharacters(status) + std::to_string(status) + ")";
}

}  // namespace AudioDevices
