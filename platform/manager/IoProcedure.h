// SPDX-License-Identifier: MIT

#pragma once

/// I/O procedures registered on devices. An identifier is a number that is never reused.

#include <CoreAudio/CoreAudio.h>

#include <cstddef>
#include <memory>

#include "platform/device/Device.h"

namespace Platform {

/// Return kAudioHardwareBadDeviceError if there is no such device, and
/// kAudioHardwareIllegalOperationError if the device has no such procedure. [any-thread]
OSStatus createIoProcedure(AudioObjectID device, AudioDeviceIOProc procedure, void* clientData,
                           AudioDeviceIOProcID* id);
OSStatus destroyIoProcedure(AudioObjectID device, AudioDeviceIOProcID id);
OSStatus startIoProcedure(AudioObjectID device, AudioDeviceIOProcID id);
OSStatus stopIoProcedure(AudioObjectID device, AudioDeviceIOProcID id);

std::size_t ioProcedureCount();

}  // namespace Platform
