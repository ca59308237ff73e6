// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "player/ffmpeg/Ffmpeg.h"
#include "player/ffmpeg/PipeInput.h"
#include "player/media/Decoders.h"

namespace Player {

/// Returns the library's text for its code.
std::string errorText(int code);

/// Throws InputError if `result` is an error.
void require(int result, const char* what);

/// Opens a file, or the pipe if there is one, and finds its streams. Throws InputError, also for a
/// format that is merely guessed.
Owned<AVFormatContext> openContainer(const std::string& path, PipeInput* pipe,
                                     ShouldStop shouldStop);

/// Returns what a container without audio contains instead.
std::string contentWithoutAudio(const AVFormatContext& container);

}  // namespace Player
