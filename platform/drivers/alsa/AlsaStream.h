// SPDX-License-Identifier: MIT

#pragma once

/// One PCM from open to close, on a thread of its own that runs the cycles whenever there is room.
/// The thread owns what it uses, so that it can be abandoned if a plug-in of libasound blocks it.
///
/// Fills the buffer gradually (40 ms at first, then up to three cycles at a time), so as not to
/// drain the client's own queue at once. The device starts when the buffer is full. The thread
/// sleeps until there should be room instead of polling: poll() restarts its timeout on every event
/// of the device, progress or not.

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>

#include "locks/Condition.h"
#include "locks/Mutex.h"
#include "platform/driver/Alsa.h"
#include "platform/drivers/alsa/Pcm.h"
#include "platform/drivers/alsa/PcmWriter.h"

namespace Platform {

struct AlsaConfig {
  std::string name;
  PcmSetup setup;
  Positions positions;   // wanted, in the PCM's order; empty for bursts
  bool exactly = false;  // without conversion of samples, too
};

/// Figures of the present stream, or of the last one; each is independent. [any-thread]
struct AlsaStats {
  std::atomic<std::uint32_t> latencyFrames{0};
  std::atomic<std::uint64_t> underruns{0};  // of all streams
  std::atomic<int> isAbandoned{0};          // threads abandoned in libasound
};

class AlsaStream : public std::enable_shared_from_this<AlsaStream> {
 public:
  AlsaStream(AlsaConfig plan, CycleSource& source, std::shared_ptr<AlsaStats> figures,
             AlsaLoss onLoss);

  /// Waits until cycles run, or the reason is known why none will. Call once. [host-thread]
  AudioDevices::Failure open();
  /// After the return no cycle is running or will run, and the PCM is closed unless libasound
  /// blocks. Call after an open() without failure. [host-thread]
  void close();

  void write(const std::byte* frames, std::uint32_t frameCount);  // inside a cycle; [io-thread]

  static std::uint32_t bufferFrames(const AlsaConfig& plan);

 private:
  void run();
  AudioDevices::Failure begin(Pcm& pcm);
  void play(snd_pcm_t* pcm);
  int fill(snd_pcm_t* pcm, snd_pcm_uframes_t mostCycles);
  bool cycle();
  int recover(snd_pcm_t* pcm, int error);
  int resume(snd_pcm_t* pcm);
  bool sleepsThrough(std::chrono::nanoseconds time);
  std::chrono::nanoseconds lengthOf(std::uint64_t frames) const;
  void tellLoss(int error);
  void leaveBehind() TAVRO_REQUIRES(m_gate);

  const AlsaConfig m_plan;
  const std::shared_ptr<AlsaStats> m_figures;
  const AlsaLoss m_onLoss;
  CycleSource& m_source;  // not used once m_isEnding is set

  std::promise<AudioDevices::Failure> m_opened;
  std::promise<void> m_ended;

  // Held during a cycle, taken before the device's I/O lock, so that close() knows of none running
  Tavro::Mutex<Tavro::LockRank::AlsaGate> m_gate;
  Tavro::Condition m_wake;
  bool m_isEnding TAVRO_GUARDED_BY(m_gate) = false;
  bool m_isOver TAVRO_GUARDED_BY(m_gate) = false;  // the thread has left libasound
  bool m_isLeftBehind TAVRO_GUARDED_BY(m_gate) = false;

  // The stream's thread only
  PcmWriter m_writer;
  snd_pcm_uframes_t m_leastRoom = 0;   // needed to run a cycle
  std::chrono::nanoseconds m_pause{};  // between two checks for room
  bool m_nobodyPlays = false;
};

}  // namespace Platform
