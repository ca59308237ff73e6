#pragma once

#include <cstdint>
#include <optional>

namespace Player {

enum class Key : std::uint8_t { Pause, Back, Forward, Quit };

/// Keys out of the bytes that a terminal sends for them.
class KeyReader {
 public:
  /// The key that ends with this byte; others than those named are no key.
  std::optional<Key> take(char byte);

 private:
  enum class Within : std::uint8_t { Nothing, Escape, Sequence, Parameters };
  Within m_within = Within::Nothing;
};

/// The terminal's keys one by one, without a line's end and without an echo. The terminal is given
/// back when it ends, and when a signal ends or stops the process. One at a time. [host-thread]
class Keyboard {
 public:
  /// Nothing happens unless wanted, nor without a terminal on standard input and standard error.
  explicit Keyboard(bool wanted);
  ~Keyboard();
  Keyboard(const Keyboard&) = delete;
  Keyboard& operator=(const Keyboard&) = delete;

  /// The terminal is as it was when it returns; for those who end the process elsewhere. In signal
  /// handlers, too. [any-thread]
  static void giveBack();

  /// What was pressed since; does not wait. Nothing while the process is in the background.
  std::optional<Key> next();

 private:
  const bool m_inUse;
  KeyReader m_reader;
};

}  // namespace Player
