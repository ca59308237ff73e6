#pragma once

// What FFmpeg's libraries do for the player. They bring more than a hundred others along, whose
// loading takes longer than all the rest of a start: they are in a module beside the program that
// is loaded with the first file that needs it, for good.

#include <cstdint>
#include <memory>
#include <string>

#include "player/media/BurstReader.h"
#include "player/media/MediaFile.h"
#include "player/media/Track.h"

namespace Player {

/// Returns true once reading must not wait any more. [any-thread]
using ShouldStop = bool (*)();

struct Decoders {
  std::unique_ptr<MediaFile> (*open)(const std::string& path, ShouldStop shouldStop) = nullptr;
  std::unique_ptr<BurstReader> (*readBursts)(Track track, std::uint32_t rate) = nullptr;
};

/// [any-thread]; throws InputError: they cannot be loaded.
const Decoders& decoders();

inline constexpr const char* kDecodersModule = "libtavro_play_decoders.so";
inline constexpr const char* kDecodersEntry = "tavroPlayDecoders";

}  // namespace Player
