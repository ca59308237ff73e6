#pragma once

/// One PCM from its opening to its closing, on a thread of its own that runs the cycles whenever
/// there is room. The thread keeps what it uses, so that one which a plug-in of libasound does not
/// let go of can be left behind.
///
/// It fills by and by: 40 ms at first, then up to three cycles at a time, so that whoever plays,
/// and has a queue of its own, is not asked for the whole buffer at once. The device begins to play
/// when it is full. It is slept, not polled, until there should be room: a poll's time limit begins
/// anew with each event of the device's, progress or not.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/driver/Alsa.h"
#include "platform/drivers/alsa/Pcm.h"

namespace Platform {

struct AlsaPlan {
  std::string name;
  PcmSetup setup;
  Positions positions;   // of the PCM, wanted; none with bursts, which are no channels
  bool exactly = false;  // samples, too, unconverted
};

/// What is known of the present stream, or of the last one; each stands for itself. [any-thread]
struct AlsaFigures {
  std::atomic<std::uint32_t> latencyFrames{0};
  std::atomic<std::uint64_t> underruns{0};  // of all streams
  std::atomic<int> leftBehind{0};           // threads that libasound does not let go of
};

class AlsaStream : public std::enable_shared_from_this<AlsaStream> {
 public:
  AlsaStream(AlsaPlan plan, CycleSource& source, std::shared_ptr<AlsaFigures> figures,
             AlsaLoss onLoss);

  /// Until cycles run, or it is known why none will. Once. [host-thread]
  AudioDevices::Failure open();
  /// No cycle is under way or comes after the return, and the PCM is closed, unless libasound does
  /// not come back. After an open() without failure. [host-thread]
  void close();

  void write(const std::byte* frames, std::uint32_t frameCount);  // inside a cycle; [io-thread]

  static std::uint32_t bufferFrames(const AlsaPlan& plan);

 private:
  void run();
  AudioDevices::Failure begin(Pcm& pcm);
  void play(snd_pcm_t* pcm);
  int fill(snd_pcm_t* pcm, snd_pcm_uframes_t mostCycles);
  bool cycle();
  int flush(snd_pcm_t* pcm);
  void readDelay(snd_pcm_t* pcm);
  int recover(snd_pcm_t* pcm, int error);
  int resume(snd_pcm_t* pcm);
  bool sleepsThrough(std::chrono::nanoseconds time);
  std::chrono::nanoseconds lengthOf(std::uint64_t frames) const;
  void tellLoss(int error);
  void leaveBehind();

  const AlsaPlan m_plan;
  const std::size_t m_frameBytes;
  const std::shared_ptr<AlsaFigures> m_figures;
  const AlsaLoss m_onLoss;
  CycleSource& m_source;  // not once m_isEnding is set

  std::promise<AudioDevices::Failure> m_opened;
  std::promise<void> m_ended;

  // Held through a cycle, before the device's I/O lock, so that close() knows of none under way
  std::mutex m_gate;
  std::condition_variable m_wake;
  // Guarded by m_gate
  bool m_isEnding = false;
  bool m_isOver = false;  // the thread is out of libasound
  bool m_isLeftBehind = false;

  // The stream's thread only
  std::vector<std::size_t> m_order;  // which channel goes to each of the PCM's; empty: as they come
  snd_pcm_uframes_t m_leastRoom = 0;   // for a cycle to be worth running
  std::chrono::nanoseconds m_pause{};  // between two looks for room
  std::vector<std::byte> m_frames;     // of one cycle, in the PCM's order
  std::uint32_t m_pendingFrames = 0;   // of these, not written yet: the last ones
  std::uint32_t m_cycleFrames = 0;     // in m_frames
  std::uint32_t m_delayFrames = 0;     // of what is written
  bool m_isAtFront = true;             // nothing written since it was prepared
  bool m_nobodyPlays = false;
};

}  // namespace Platform
