#pragma once

/// The seam to ALSA. A module of its own, loaded when it is first needed, knows libasound; so a
/// machine without it starts all the same. The module is linked to nothing of this layer; what both
/// need is compiled into both.
///
/// libasound's plug-ins may wait for whatever they like (a server, say), so each call of it that
/// may do so is made on a thread of its own and waited for until kAlsaPatience has passed. A thread
/// that does not come back is left to itself.

#include <AudioDevices/AudioDevices.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "platform/driver/Driver.h"

namespace Platform {

inline constexpr std::chrono::seconds kAlsaPatience{3};

/// The PCMs for playback that ALSA's configuration gives hints of; none of them is opened. Empty,
/// with `failure` filled: it cannot be read. [host-thread]
using ListAlsaNames = void(std::vector<AudioDevices::AttachableDevice>& names,
                           AudioDevices::Failure& failure);

/// The PCM is there no more, or does not work any more: why. On the driver's thread, which runs no
/// cycle afterwards, with a lock of the driver's held: hand on and return.
using AlsaLoss = std::function<void(const AudioDevices::Failure& loss)>;

/// Opens the PCM for a moment to learn what it takes. Null, with `failure` filled:
/// kAudioDevicePermissionsError, it is in use or not for this user; kAudioHardwareBadDeviceError,
/// it is not there; kAudioDeviceUnsupportedFormatError, it takes nothing that this layer plays. The
/// driver is the caller's. [host-thread]
using MakeAlsaDriver = Driver*(const std::string& name, AlsaLoss onLoss,
                               AudioDevices::Failure& failure);

inline constexpr const char* kAlsaModule = "libCoreAudio_Alsa.so";
inline constexpr const char* kListAlsaNamesEntry = "listAlsaNames";
inline constexpr const char* kMakeAlsaDriverEntry = "makeAlsaDriver";

}  // namespace Platform
