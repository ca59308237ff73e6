// SPDX-License-Identifier: MIT

// What this bundle does beyond the promises that every renderer keeps, which tavro-play check
// holds.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <gmock/gmock.h>
#include <string>
#include <thread>
#include <utility>

#include "check/bench/Bench.h"
#include "coreaudio/CoreAudioOutput.h"

/// The host library's log, in front of the real one, which drops functions and lines.
void Tavro::Logger::log(const char* category, const char* function, unsigned long line,
                        const char* format, ...) const {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  Check::Journal::instance().add(std::string(category) + " " + function + " " +
                                 std::to_string(line) + " " + text);
}

namespace {

using Check::Lines;
using Tavro::VariantType::kUInt8;
using testing::ElementsAre;
using testing::IsEmpty;
namespace Script = AudioDevices::Script;

class OwnTest : public testing::Test {
 protected:
  /// Every test ends with nothing registered, held or misused.
  void TearDown() override {
    bench.end();
    bench.expectReferencesReturned();
    bench.expectNothingRegistered();
    bench.expectNoMisuse();
    for (const Check::Finding& finding : bench.all()) {
      ADD_FAILURE() << finding.expected << ": " << finding.happened << ", " << finding.when;
    }
  }

  Tavro::ComponentInterface& component() { return bench.component->component(); }

  /// The bundle shows no type information, which the check of the object's type would need.
  __attribute__((no_sanitize("vptr"))) std::uint8_t volume() {
    return static_cast<Tavro::CoreAudioOutput&>(bench.component->plugin()).getVolume();
  }

  Check::Bench bench{BUNDLE_PATH};
  Check::Journal& journal = Check::Journal::instance();
};

TEST_F(OwnTest, itsNameItsTypeAndItsLinesInTheLog) {
  bench.make();
  EXPECT_EQ(bench.information("Name"), "Core Audio Output");
  EXPECT_EQ(bench.information("Type"), "Audio|Renderer|CoreAudio");
  component().destroy();  // without a session: harmless
  journal.take();
  component().create(&bench.session);
  component().destroy();
  component().destroy();
  EXPECT_THAT(journal.take({"Rendering"}),
              ElementsAre("Rendering create 369 Audio Output Creation",
                          "Rendering destroy 398 Audio Output Destruction",
                          "Rendering destroy 398 Audio Output Destruction"));
}

TEST_F(OwnTest, anInformationTextStaysReadableAfterItsReplacement) {
  bench.build();
  Tavro::_Variant first{};
  ASSERT_TRUE(component().getInfo("BitsPerSample", &first));
  const auto* text = reinterpret_cast<const Tavro::WideString*>(first.value);
  const wchar_t* characters = text->m_data;
  ASSERT_TRUE(bench.write(8000, 1, 24));
  EXPECT_EQ(bench.information("BitsPerSample"), "24");
  EXPECT_EQ(text->m_data, characters);
  EXPECT_STREQ(characters, L"16");
}

TEST_F(OwnTest, aWriteOutsideASessionIsRefusedAndTheSameSucceedsLater) {
  const auto expectRefused = [this](std::uint32_t rate) {
    bench.platform.takeCalls();
    EXPECT_FALSE(bench.write(rate, 2, 16));
    EXPECT_FALSE(bench.write(rate, 2, 16, Tavro::PortQuery::kConfigurePassthrough));
    EXPECT_THAT(bench.platform.takeCalls(), IsEmpty());
  };
  bench.make();
  bench.port = bench.connectInput();
  expectRefused(48000);
  ASSERT_TRUE(component().create(&bench.session));
  EXPECT_TRUE(bench.write(48000, 2, 16));
  bench.event(Tavro::PortEvent::kDisconnect);
  EXPECT_TRUE(bench.component->output().disconnectInput(bench.port));
  component().destroy();
  ASSERT_EQ(bench.connectInput(), bench.port);
  expectRefused(44100);
  ASSERT_TRUE(component().create(&bench.session));
  EXPECT_FALSE(bench.write(48000, 2, 16)) << "the mode or the properties were stored";
  EXPECT_TRUE(bench.write(44100, 2, 16));
}

TEST_F(OwnTest, theVolumeReadsBackInWholePercentAndTheNewestStays) {
  bench.build();
  for (const auto& [percent, read] : {std::pair{50U, 50}, {53U, 52}, {59U, 58}, {100U, 100}}) {
    bench.announceVolume({kUInt8, percent});
    EXPECT_EQ(volume(), read);
  }
  Script::failCall("AudioUnitGetParameter", 1, -1);
  EXPECT_EQ(volume(), 0);
  bool announced = false;
  Script::onCall("AudioUnitSetParameter", [&] {  // while a write applies the session's volume
    if (!std::exchange(announced, true)) {
      bench.announceVolume({kUInt8, 30});
    }
  });
  ASSERT_TRUE(bench.write(44100, 2, 16));
  EXPECT_EQ(volume(), 30);
  bench.event(Tavro::PortEvent::kDisconnect);
  EXPECT_EQ(volume(), 0);
}

TEST_F(OwnTest, beforeABuildTimeIsZeroAndAnEmptyBufferCountsAsPlayed) {
  bench.connect();
  EXPECT_EQ(bench.timeBase().currentTime(), 0U);
  ASSERT_TRUE(bench.write(48000, 2, 16));
  Check::RecordedBuffer& empty = bench.queue(0, 1000, 0);
  EXPECT_TRUE(bench.render(10).isSilent());
  EXPECT_THAT(bench.session.takeReports(),
              ElementsAre(Check::Report{Check::kStreamId, Tavro::BufferState::kPlayed, &empty}));
}

TEST_F(OwnTest, aBufferOnItsWayDuringAReconnectionBelongsToTheFormerStream) {
  Check::NumberedSource next{78};
  for (const bool isLate : {false, true}) {
    bench.build();
    bench.setGraphTime(isLate ? 5000 : 1000);
    bench.session.clock.onRead = [&] {
      bench.session.clock.onRead = nullptr;
      bench.event(Tavro::PortEvent::kDisconnect);
      bench.component->output().disconnectInput(bench.port);
      bench.component->output().connectInput(Tavro::MediaType::Audio, &bench.format, &next);
      bench.connectPeer(&bench.upstream);
      bench.write(44100, 2, 16);
    };
    Check::RecordedBuffer& former = bench.queue(400, 1000, 10);
    EXPECT_EQ(former.releases(), 1U);
    EXPECT_TRUE(bench.render(100).isSilent());
    const auto reports = bench.session.takeReports();
    EXPECT_EQ(reports.size(), isLate ? 1U : 0U);
    EXPECT_TRUE(!isLate || reports.at(0) == (Check::Report{Check::kStreamId, 4, &former}));
    bench.end();
  }
}

TEST_F(OwnTest, nothingRequestedBeforeAFlushIsQueuedAfterIt) {
  bench.build();
  for (const bool late : {false, true}) {
    bench.setGraphTime(late ? 100000 : 1000);
    bench.session.clock.onRead = [this] { bench.flush(true); };
    Check::RecordedBuffer& buffer = bench.queue(400, 1000, 10);
    bench.session.clock.onRead = nullptr;
    EXPECT_EQ(buffer.releases(), 1U);
  }
}

TEST_F(OwnTest, aConnectReturnsOnlyWhenNoPullFromTheFormerPeerIsUnderWay) {
  bench.build();
  Check::ScriptedUpstream other;
  std::atomic<bool> connected{true};
  bench.upstream.onQuery = [&] {
    const bool late = !connected;
    std::this_thread::sleep_for(std::chrono::microseconds(100));
    Check::misuseIf(late || !connected, "a former peer is asked");
  };
  bench.whileFeeding([&] {
    for (int i = 0; i < 100; ++i) {
      connected = true;
      bench.connectPeer(&bench.upstream);
      const unsigned before = bench.upstream.queries();
      while (bench.upstream.queries() == before) {
        bench.ready();
        std::this_thread::yield();
      }
      bench.connectPeer(&other);
      connected = false;
    }
    bench.event(Tavro::PortEvent::kDisconnect);
  });
}

}  // namespace
