// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Player {

/// Whether AC-3 is passed to the device unmodified.
enum class PassthroughMode : std::uint8_t { Auto, On, Off };

struct Options {
  std::vector<std::string> files;
  std::string device = "auto";
  std::optional<bool> simulated;          // unset: for file devices only
  std::optional<std::uint32_t> volume;    // percent
  std::optional<std::uint32_t> channels;  // of a file device
  std::uint64_t startNs = 0;              // start position in each file
  std::optional<std::uint64_t> lengthNs;  // duration to play of each file
  std::uint32_t loops = 1;
  std::string eventsPath;
  std::string jsonPath;    // for the totals, or for a report printed instead of playing
  std::string pluginPath;  // empty: the installed one
  PassthroughMode passthrough = PassthroughMode::Auto;
  std::optional<std::uint64_t> pauseAtNs;  // graph time
  std::uint64_t pauseForNs = 0;            // host time
  std::optional<std::uint64_t> seekAtNs;   // graph time
  std::uint64_t seekToNs = 0;              // from the start of the played part
  std::uint32_t bufferMs = 20;             // decoded audio per media buffer
  int fileDriftPpm = 0;                    // speed of a file device's clock relative to nominal
  bool explainPassthrough = false;
  bool listDevices = false;
  bool quiet = false;
  bool verbose = false;
};

/// Parses "[[HH:]MM:]SS[.fraction]" to nanoseconds; returns nullopt for anything else.
std::optional<std::uint64_t> parseTime(const std::string& text);

/// Parses the command line. Returns an exit status if nothing is left to do: after printing the
/// help, the version, or a one-line error.
std::optional<int> parseOptions(int argc, char** argv, Options& options);

}  // namespace Player
