#pragma once

/// Tells a device that is to play but runs no cycle, which is silence of another kind than that of
/// who has nothing to play, and says when to open it anew: less and less often, also when each try
/// lets it run for a moment. Judges by what it is told, in host time.

#include <cstdint>

namespace Platform {

class CycleWatchdog {
 public:
  enum class Finding : std::uint8_t {
    Fine,
    BeganToStand,  // no cycle for 1 s, and for four of them
    Stands,
    OpenAnew,  // stands, and it is time for another try
    GoesOn,    // it stood, and does not any more
  };

  /// `cycles`: so far; `cycleNs`: how long one lasts. To be asked a few times a second.
  Finding look(std::uint64_t nowNs, bool plays, std::uint64_t cycles, std::uint64_t cycleNs);

  bool stands() const { return m_stands; }

 private:
  std::uint64_t m_cycles = 0;
  std::uint64_t m_sinceNs = 0;   // when it last was as it should be
  std::uint64_t m_wentOnNs = 0;  // when it last went on
  std::uint64_t m_nextTryNs = 0;
  std::uint64_t m_backOffNs = 0;
  bool m_stands = false;
};

}  // namespace Platform
