#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <gmock/gmock.h>
#include <optional>
#include <string>
#include <vector>

#include "Component.h"
#include "fakes/FakePlatform.h"
#include "fakes/FakeServices.h"
#include "fakes/FakeSession.h"
#include "fakes/FakeUpstream.h"
#include "fakes/Journal.h"

using Lines = std::vector<std::string>;

/// What one call of the render callback left behind.
struct Rendered {
  OSStatus status;
  AudioUnitRenderActionFlags flags;
  UInt32 byteSize;
  UInt32 channels;
  std::vector<std::uint8_t> bytes;  // the capacity; 0xEE where nothing was written
  bool guardsIntact;                // nothing written before or beyond the capacity

  bool silent() const { return (flags & kAudioUnitRenderAction_OutputIsSilence) != 0; }
  std::vector<std::uint8_t> piece(std::size_t from, std::size_t to) const;
};

/// `count` bytes that are never 0 and tell where they come from.
std::vector<std::uint8_t> pattern(std::size_t count, unsigned start = 0);

/// One component between fakes, with its feeder parked. At the end of every test: the component
/// is deleted, and nothing is registered with the platform, held, released twice or misused.
class BundleTest : public testing::Test {
 protected:
  BundleTest();
  ~BundleTest() override;
  void TearDown() override;

  // The host's steps.
  void make();                                                           // component, feeder asleep
  void connect(std::uint32_t formatCode = Tavro::FormatCode::kInteger);  // made, created, connected
  bool write(std::uint32_t rate, std::uint32_t channels, std::uint32_t bits,
             std::uint32_t id = Tavro::PortQuery::kConfigurePcm);
  bool event(std::uint32_t id);
  bool connectPeer(Tavro::PortInterface* peer);
  bool ready();
  void settingChange(const std::string& group, const std::string& name, Tavro::_Variant value,
                     Tavro::MediaType mediaType = Tavro::MediaType::Audio);
  std::string info(const char* key);  // "(none)": no such entry

  /// connect(), PCM properties (48 kHz stereo, 16 bits unless given), and the journal emptied.
  void build(std::uint32_t formatCode = Tavro::FormatCode::kInteger, std::uint32_t rate = 48000,
             std::uint32_t channels = 2, std::uint32_t bits = 16);

  /// Destroys and deletes the component and looks what is left, for another round in one test.
  void end();

  /// Lets the feeder take what upstream has, up to its limit.
  void feed();

  /// One call of the render callback registered with the newest graph. Capacity in bytes; default:
  /// what the frames need.
  Rendered render(UInt32 frames, std::optional<UInt32> capacity = {});

  /// How many buffers are released once / ever.
  unsigned released();

  Tavro::TimeBaseInterface& timeBase();
  FakePlatform& platform = FakePlatform::instance();
  Journal& journal = Journal::instance();
  SleepGate& gate = SleepGate::instance();
  FakeWallClock& wall = FakeWallClock::instance();

  FakeSession session;
  FakeSource source{77};
  FakeUpstream upstream;
  Tavro::FormatDescriptor format{};
  Tavro::PortInterface* port = nullptr;
  std::optional<Component> component;

 private:
  void checkNothingIsLeft();
};
