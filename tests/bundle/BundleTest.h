// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <gmock/gmock.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fakes/FakePlatform.h"
#include "fakes/FakeServices.h"
#include "fakes/FakeSession.h"
#include "fakes/FakeUpstream.h"
#include "fakes/Journal.h"
#include "tavro_core/Bundle.h"

/// What one call of the render callback left behind.
struct Rendered {
  OSStatus status;
  AudioUnitRenderActionFlags flags;
  UInt32 byteSize;
  UInt32 channels;
  Bytes bytes;        // the capacity; 0xEE where nothing was written
  bool guardsIntact;  // nothing written before or beyond the capacity
  std::uint64_t allocations;

  bool silent() const { return (flags & kAudioUnitRenderAction_OutputIsSilence) != 0; }
};

/// The bundle under test, loaded once a process.
Tavro::Bundle& bundle();

Tavro::NarrowString narrow(const std::string& text);

/// `pointer` as the value of an object's variant.
template <class T>
Tavro::_Variant objectValue(T* pointer) {
  return {Tavro::VariantType::kObject, reinterpret_cast<std::uintptr_t>(pointer)};
}

/// `count` bytes that are never 0 and tell where they come from.
Bytes pattern(std::size_t count, unsigned start = 0);

Bytes slice(const Bytes& bytes, std::size_t from, std::size_t to);

/// One component between fakes, with its feeder parked. At the end of every test: the component
/// is deleted, and nothing is registered with the platform, held, released twice or misused.
class BundleTest : public testing::Test {
 protected:
  BundleTest();
  ~BundleTest() override;
  void TearDown() override;

  // The host's steps.
  void dropComponent();  // the feeder may go on, as the deletion waits for it
  Tavro::Plugin* plugin() { return dynamic_cast<Tavro::Plugin*>(&component->component()); }
  void make();                                                           // component, feeder asleep
  void connect(std::uint32_t formatCode = Tavro::FormatCode::kInteger);  // made, created, connected
  Tavro::PortInterface* connectInput();                                  // with `format`, `source`
  bool write(std::uint32_t rate, std::uint32_t channels, std::uint32_t bits,
             std::uint32_t id = Tavro::PortQuery::kConfigurePcm);
  bool event(std::uint32_t id) { return port->sendEvent(id, &m_none); }
  bool connectPeer(Tavro::PortInterface* peer);
  bool ready() { return port->checkEvent(Tavro::PortCheck::kReady, &m_none); }
  void announceVolume(Tavro::_Variant value);
  void flush(bool fromAnotherThread);
  std::string info(const char* key);  // "(none)": no such entry

  /// connect(), PCM properties (48 kHz stereo, 16 bits unless given), and the journal emptied.
  void build(std::uint32_t formatCode = Tavro::FormatCode::kInteger, std::uint32_t rate = 48000,
             std::uint32_t channels = 2, std::uint32_t bits = 16);

  /// Destroys and deletes the component and looks what is left, for another round in one test.
  void end();

  /// Makes a buffer of a pattern of its own, for upstream to deliver.
  FakeBuffer& add(std::size_t bytes, std::uint32_t timeStampMs, std::uint32_t durationMs);

  /// Lets the feeder take what upstream has, up to its limit.
  void feed();
  FakeBuffer& queue(std::size_t bytes, std::uint32_t timeStampMs, std::uint32_t durationMs);

  /// One call of the render callback registered with the newest graph. Capacity in bytes; default:
  /// what the frames need.
  Rendered render(UInt32 frames, std::optional<UInt32> capacity = {});

  /// How many buffers are released once / ever.
  unsigned released();

  Tavro::TimeBaseInterface& timeBase() { return **session.clock.timeBases.begin(); }
  FakePlatform& platform = FakePlatform::instance();
  Journal& journal = Journal::instance();
  SleepGate& gate = SleepGate::instance();
  FakeWallClock& wall = FakeWallClock::instance();

  FakeSession session;
  FakeSource source{77};
  FakeUpstream upstream;
  Tavro::FormatDescriptor format{Tavro::FormatCode::kInteger, 0, 0, 2, 0};
  Tavro::PortInterface* port = nullptr;
  std::unique_ptr<Tavro::Component> component;

 private:
  void deleteAndLook();

  Tavro::_Variant m_none{};
};
