// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "check/bench/Findings.h"
#include "check/bench/RenderCall.h"
#include "check/bench/ScriptedPlatform.h"
#include "check/record/RecordingSession.h"
#include "check/record/ScriptedUpstream.h"
#include "tavro_core/Bundle.h"

namespace Check {

inline constexpr std::uint32_t kStreamId = 77;
inline constexpr std::size_t kBurstBytes = 6144;

/// The bench on which a promise is checked: a component of the bundle between a session, an
/// upstream port and a device that record everything, in simulated time. The component's threads
/// run only while advance() waits, so every step has one outcome. Nothing is judged here but what a
/// step needs to go on.
///
/// One at a time in a process, made after simulated time has begun. [host-thread] unless stated
/// otherwise.
class Bench : public Findings {
 public:
  explicit Bench(std::string bundlePath);
  ~Bench();

  const std::string& bundlePath() const { return m_path; }
  Tavro::Bundle& bundle();  // loaded at the first call

  // Time.
  void advance(std::uint64_t ms);                  // host time
  void letFeederRun() { advance(kFeederTurnMs); }  // from pause to pause
  std::uint64_t hostMs() const;
  void setGraphTime(std::uint32_t ms) { session.clock.ms = ms; }

  // The host's steps. The first three end the promise if the component refuses.
  void make();
  void connect(std::uint32_t formatCode = Tavro::FormatCode::kInteger);  // made, created, connected
  void build(std::uint32_t formatCode = Tavro::FormatCode::kInteger, std::uint32_t rate = 48000,
             std::uint32_t channels = 2, std::uint32_t bits = 16);  // connected and configured
  void start();
  bool write(std::uint32_t rate, std::uint32_t channels, std::uint32_t bits,
             std::uint32_t id = Tavro::PortQuery::kConfigurePcm);
  bool event(std::uint32_t id);
  bool connectPeer(Tavro::PortInterface* peer);
  Tavro::PortInterface* connectInput();  // with `format`, from `source`
  bool ready();
  void announceVolume(Tavro::_Variant value);
  void flush(bool fromAnotherThread);
  void end();  // destroys and deletes the component

  // Buffers.
  void feed();  // ready check, and the feeder runs
  RecordedBuffer& queue(std::size_t bytes, std::uint32_t timeStampMs, std::uint32_t durationMs);

  /// Calls the render callback of the built graph. `capacity`: the size of its memory in bytes, by
  /// default what the frames need.
  Rendered render(UInt32 frames, std::optional<UInt32> capacity = {});

  // What the component offers.
  Tavro::TimeBaseInterface& timeBase();
  std::string information(const char* key);  // "(none)" if there is no such entry

  /// Runs `work` on a thread of its own, in real time, while this thread advances host time so that
  /// the component's threads run beside it.
  void whileFeeding(const std::function<void()>& work);

  /// Ends a promise that needs the heap and the mutexes watched, if they are not.
  static void requireWatch();

  // Judgements that several promises share.
  void expectReferencesReturned();
  void expectNothingRegistered();
  void expectNoMisuse();

  ScriptedPlatform platform;
  RecordingSession session;
  NumberedSource source{kStreamId};
  ScriptedUpstream upstream;
  Tavro::FormatDescriptor format{Tavro::FormatCode::kInteger, 0, 0, 2, 0};
  Tavro::PortInterface* port = nullptr;
  std::unique_ptr<Tavro::Component> component;

 private:
  static constexpr std::uint64_t kFeederTurnMs = 20;  // twice the feeder's pause

  void removeHooks();

  std::string m_path;
  std::unique_ptr<Tavro::Bundle> m_bundle;
};

/// `pointer` as the value of an object's variant.
template <class T>
Tavro::_Variant objectValue(T* pointer) {
  return {Tavro::VariantType::kObject, reinterpret_cast<std::uintptr_t>(pointer)};
}

}  // namespace Check
