// SPDX-License-Identifier: MIT

#pragma once

/// The interface to ALSA's module, which is loaded on first use and alone links to libasound, so
/// that the layer also runs on a machine without it. The module links to nothing of this layer;
/// what both need is compiled into both.
///
/// libasound's plug-ins may block (on a server, say), so each call that may do so is made on a
/// thread of its own and waited for until kAlsaTimeout has passed. A thread that does not return
/// by then is abandoned.

#include <AudioDevices/AudioDevices.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "platform/driver/Driver.h"

namespace Platform {

inline constexpr std::chrono::seconds kAlsaTimeout{3};

/// Returns the playback PCMs that ALSA's configuration has hints for, without opening any. Empty,
/// with `failure` filled, if it cannot be read. [host-thread]
using ListAlsaNames = void(std::vector<AudioDevices::AttachableDevice>& names,
                           AudioDevices::Failure& failure);

/// Called when the PCM is gone or has failed, with the reason. On the driver's thread, which runs
/// no cycle afterwards, with a lock of the driver's held: must pass it on and return.
using AlsaLoss = std::function<void(const AudioDevices::Failure& loss)>;

/// Opens the PCM briefly to learn what it supports. Returns a driver, owned by the caller, or null
/// with `failure` filled, with kAudioDevicePermissionsError if it is in use or not permitted,
/// kAudioHardwareBadDeviceError if it does not exist or respond, kAudioDeviceUnsupportedFormatError
/// if it supports nothing that this layer plays. [host-thread]
using MakeAlsaDriver = Driver*(const std::string& name, AlsaLoss onLoss,
                               AudioDevices::Failure& failure);

inline constexpr const char* kAlsaModule = "libCoreAudio_Alsa.so";
inline constexpr const char* kListAlsaNamesEntry = "listAlsaNames";
inline constexpr const char* kMakeAlsaDriverEntry = "makeAlsaDriver";

}  // namespace Platform
