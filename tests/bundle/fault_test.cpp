// SPDX-License-Identifier: MIT

#include <functional>
#include <vector>

#include "BundleTest.h"
#include "fakes/AllocationWatch.h"

namespace {

constexpr OSStatus kFault = -4960;

/// A whole session with one platform call failing, once for each call that the session makes.
/// BundleTest looks at the end of each: nothing registered, held or misused.
class FaultTest : public BundleTest {
 protected:
  struct Outcome {
    bool firstWrite, secondWrite;
    Lines lines;  // the platform calls
  };

  void playABit() {
    session.clock.ms = 1000;
    for (unsigned i = 0; i < 4; ++i) {
      add(400, 1000 + i * 10, 10);
    }
    EXPECT_TRUE(event(Tavro::PortEvent::kStart));
    gate.step();
    if (platform.liveGraph() != nullptr) {
      EXPECT_EQ(upstream.waiting(), 0U);
      EXPECT_EQ(render(150).status, noErr);
    }
  }

  /// Stops and flushes; whatever the platform answers, nothing is fed after it and nothing is kept.
  void endPlaying() {
    EXPECT_TRUE(event(Tavro::PortEvent::kStop));
    add(400, 1050, 10);
    gate.step();
    EXPECT_NE(upstream.waiting(), 0U);
    EXPECT_TRUE(event(Tavro::PortEvent::kFlush));
    EXPECT_EQ(released() + upstream.waiting(), upstream.buffers().size());
  }

  /// `failing`: which of the calls; 0: none.
  Outcome pcmSession(unsigned failing) {
    Outcome outcome{};
    platform.reset();
    platform.channelMap = {0, 1, 2, 3, 4, 5, 6, 7};
    connect();
    journal.take();
    platform.fail("", kFault, failing);
    outcome.firstWrite = write(48000, 2, 16);
    playABit();
    timeBase().isRunning();
    announceVolume({Tavro::VariantType::kUInt8, 40});
    endPlaying();
    EXPECT_TRUE(event(Tavro::PortEvent::kStart));
    outcome.secondWrite = write(44100, 6, 24);
    playABit();
    Tavro::_Variant answer{};
    EXPECT_TRUE(port->readQuery(Tavro::PortQuery::kMaximumChannels, &answer));
    EXPECT_TRUE(event(Tavro::PortEvent::kDisconnect));
    EXPECT_EQ(platform.liveGraph(), nullptr);
    announceVolume({Tavro::VariantType::kUInt8, 40});
    EXPECT_TRUE(component->output().disconnectInput(port));
    outcome.lines = journal.take({"AU", "NewAU", "DisposeAU", "AudioU", "AudioO"});
    end();
    return outcome;
  }

  /// Whether the failure of this call makes the build fail that it is part of.
  static bool endsABuild(const std::string& line) {
    const auto step = testing::ContainsRegex(
        "^(NewAUGraph|AUGraph(AddNode|Open|NodeInfo|Initialize))|"
        ", (8, 1, 0, 40|23, 1, 0, [0-9]+|2000, 0, 0, 4)\\)$");
    return testing::Matches(step)(line);
  }
};

TEST_F(FaultTest, anyCallOfAPcmSessionMayFailAndOnlyTheStepsOfABuildEndIt) {
  const Outcome good = pcmSession(0);
  ASSERT_TRUE(good.firstWrite && good.secondWrite);
  ASSERT_GT(good.lines.size(), 30U);
  unsigned builds = 0;
  for (unsigned failing = 1; failing <= good.lines.size(); ++failing) {
    const std::string& line = good.lines[failing - 1];
    SCOPED_TRACE("failing: " + line);
    builds += line.starts_with("NewAUGraph") ? 1 : 0;
    const Outcome outcome = pcmSession(failing);
    EXPECT_EQ(outcome.firstWrite, !(endsABuild(line) && builds == 1));
    EXPECT_EQ(outcome.secondWrite, !(endsABuild(line) && builds == 2));
  }
}

/// Each allocation of a call is refused once; nothing is thrown at the host, and the same call
/// succeeds when there is memory.
TEST_F(FaultTest, anyAllocationOfTheHostsCallsMayFailAndTheSameCallSucceedsAfterwards) {
  if (!AllocationWatch::present()) {
    GTEST_SKIP() << "allocations cannot be refused in this build";
  }
  const auto refuseEach = [](const char* what, const std::function<bool()>& call) {
    for (std::uint64_t nth = 1, made = nth; made >= nth; ++nth) {
      const std::uint64_t before = AllocationWatch::countOfThisThread();
      bool succeeded = false;
      AllocationWatch::refuseNth(nth);
      EXPECT_NO_THROW(succeeded = call()) << what << ", allocation " << nth;
      made = AllocationWatch::countOfThisThread() - before;
      AllocationWatch::refuseNth(0);
      EXPECT_EQ(succeeded, made < nth) << what << ", allocation " << nth;
    }
  };
  build();
  session.settings[{"Output", "Volume"}] = {Tavro::VariantType::kUInt8, 30};
  component->component().destroy();
  refuseEach("create", [this] { return component->component().create(&session); });
  refuseEach("write", [this] { return write(96000, 6, 24); });
  EXPECT_EQ(platform.liveGraph()->unit.volume, 0.3F);
  EXPECT_EQ(info("BitsPerSample"), "24");
  const Tavro::Setting other(Tavro::MediaType::Audio, narrow("Output"), narrow("Device"));
  Tavro::SettingConsumer& consumer = **session.consumers.begin();
  refuseEach("announcement", [&] { return consumer.settingChanged(other, nullptr), true; });
  Tavro::StandardAllocator<Tavro::Node<Tavro::FormatDescriptor>> allocator;
  Tavro::FormatList formats(&allocator);
  refuseEach("formats", [&] {
    const bool all = component->component().getSupportedFormats(nullptr, Tavro::MediaType::Audio,
                                                                Tavro::DataModel::Stream,
                                                                Tavro::PortType::Input, &formats);
    EXPECT_EQ(formats.m_count, all ? 4U : 0U);
    return all;
  });
  std::vector<const char*> keys;
  refuseEach("keys", [&] { return component->component().getInfoKeys(&keys); });
  EXPECT_EQ(keys.size(), 3U);
}

}  // namespace
