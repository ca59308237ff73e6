// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>

namespace Player {

enum class Key : std::uint8_t { Pause, Back, Forward, Quit };

/// Converts the bytes that a terminal sends to keys.
class KeyReader {
 public:
  /// Returns the key that ends with this byte; ignores keys other than those of Key.
  std::optional<Key> take(char byte);

 private:
  enum class Within : std::uint8_t { Nothing, Escape, Sequence, Parameters };
  Within m_within = Within::Nothing;
};

/// Reads the terminal's keys one by one, without line buffering and echo. Restores the terminal at
/// its end, and when a signal ends or stops the process. One instance at a time. [host-thread]
class Keyboard {
 public:
  /// Does nothing unless `wanted` and standard input and standard error are terminals.
  explicit Keyboard(bool wanted);
  ~Keyboard();
  Keyboard(const Keyboard&) = delete;
  Keyboard& operator=(const Keyboard&) = delete;

  /// Restores the terminal; for code elsewhere that ends the process. Async-signal-safe.
  /// [any-thread]
  static void giveBack();

  /// Returns the next key pressed, without waiting; none while the process is in the background.
  std::optional<Key> next();

 private:
  const bool m_inUse;
  KeyReader m_reader;
};

}  // namespace Player
