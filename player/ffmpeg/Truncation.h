#pragma once

#include <cstdint>
#include <string>

namespace Player {

/// What a file lacks by its container's own account. Reads a few headers of the file; both return
/// "nothing" for containers that do not say, as those that were written to a pipe.

/// Bytes that the container declares behind the file's end: of WAV, AVI, Matroska, and MP4.
std::uint64_t missingBytes(const std::string& path);

/// True if it is an Ogg file that does not end with a whole page marked as the last.
bool lacksLastPage(const std::string& path);

}  // namespace Player
