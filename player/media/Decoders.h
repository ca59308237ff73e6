// SPDX-License-Identifier: MIT

#pragma once

// The player's interface to FFmpeg's libraries. They depend on more than a hundred others, whose
// loading takes longer than the rest of the start-up. So they are in a module that is loaded
// permanently with the first file that needs it.

#include <cstdint>
#include <memory>
#include <string>

#include "player/media/BurstReader.h"
#include "player/media/MediaFile.h"
#include "player/media/Track.h"

namespace Player {

/// Returns true once reading must stop waiting. [any-thread]
using ShouldStop = bool (*)();

struct Decoders {
  std::unique_ptr<MediaFile> (*open)(const std::string& path, ShouldStop shouldStop) = nullptr;
  std::unique_ptr<BurstReader> (*readBursts)(Track track, std::uint32_t rate) = nullptr;
};

/// Loads them on the first call; throws InputError if that fails. [any-thread]
const Decoders& decoders();

inline constexpr const char* kDecodersModule = "libtavro_play_decoders.so";
inline constexpr const char* kDecodersEntry = "tavroPlayDecoders";

}  // namespace Player
