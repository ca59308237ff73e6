#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Player {

/// Whether AC-3 goes to the device as it is.
enum class PassthroughMode : std::uint8_t { Auto, On, Off };

struct Options {
  std::vector<std::string> files;
  std::string device = "auto";
  std::optional<bool> simulated;          // unset: as the device has it
  std::optional<std::uint32_t> volume;    // percent
  std::optional<std::uint32_t> channels;  // of a file device
  std::uint64_t startNs = 0;              // where each file begins
  std::optional<std::uint64_t> lengthNs;  // how much of each file
  std::uint32_t loops = 1;
  std::string eventsPath;
  std::string jsonPath;    // of the totals, or of what is shown instead of playing
  std::string pluginPath;  // empty: beside the program
  PassthroughMode passthrough = PassthroughMode::Auto;
  std::optional<std::uint64_t> pauseAtNs;  // graph time
  std::uint64_t pauseForNs = 0;            // host time
  std::optional<std::uint64_t> seekAtNs;   // graph time
  std::uint64_t seekToNs = 0;              // from the beginning of the part that is played
  std::uint32_t bufferMs = 20;             // of decoded sound in a media buffer
  int fileDriftPpm = 0;                    // how much faster a file device is than nominal
  bool explainPassthrough = false;
  bool listDevices = false;
  bool quiet = false;
  bool verbose = false;
};

/// Nanoseconds of "[[HH:]MM:]SS[.fraction]"; nothing for anything else.
std::optional<std::uint64_t> parseTime(const std::string& text);

/// The options of a command line. Answers an exit status when there is nothing more to do: help and
/// version were printed, or the one line that says what is wrong.
std::optional<int> parseOptions(int argc, char** argv, Options& options);

}  // namespace Player
