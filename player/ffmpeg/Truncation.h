// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>

namespace Player {

/// What a file lacks according to its container. Reads a few headers of the file; nothing is
/// missing if the container does not declare it, as when it was written to a pipe.

/// Returns the bytes that the container declares past the file's end: for WAV, AVI, Matroska and
/// MP4.
std::uint64_t missingBytes(const std::string& path);

/// Returns true for an Ogg file that does not end with a whole page marked as the last.
bool lacksLastPage(const std::string& path);

}  // namespace Player
