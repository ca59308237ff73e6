#include "BundleTest.h"

namespace {

constexpr OSStatus kFault = -4960;

/// A whole session with one platform call failing, once for each call that the session makes.
/// BundleTest looks at the end of each: nothing registered, held or misused.
class FaultTest : public BundleTest {
 protected:
  struct Outcome {
    bool firstWrite = false, secondWrite = false;
    unsigned callsBeforeSecondWrite = 0, callsAfterSecondWrite = 0;
    unsigned callsAfterFirstWrite = 0;
  };

  void playABit() {
    session.clock.ms = 1000;
    for (unsigned i = 0; i < 5; ++i) {
      upstream.add(pattern(400, i), 1000 + i * 10, 10);
    }
    feed();
    EXPECT_TRUE(event(Tavro::PortEvent::kStart));
    if (platform.liveGraph() != nullptr) {
      EXPECT_EQ(render(150).status, noErr);
    }
  }

  Outcome pcmSession(unsigned failing) {
    Outcome outcome;
    platform.reset();
    platform.channelMap = {0, 1, 2, 3, 4, 5, 6, 7};
    connect();
    if (failing != 0) {
      platform.failCall(failing, kFault);
    }
    outcome.firstWrite = write(48000, 2, 16);
    outcome.callsAfterFirstWrite = platform.calls();
    playABit();
    timeBase().isRunning();
    settingChange("Output", "Volume", {Tavro::VariantType::kUInt8, 40});
    EXPECT_TRUE(event(Tavro::PortEvent::kFlush));
    EXPECT_TRUE(event(Tavro::PortEvent::kStop));
    EXPECT_TRUE(event(Tavro::PortEvent::kStart));
    outcome.callsBeforeSecondWrite = platform.calls();
    outcome.secondWrite = write(44100, 6, 24);
    outcome.callsAfterSecondWrite = platform.calls();
    playABit();
    Tavro::_Variant answer{};
    EXPECT_TRUE(port->readQuery(Tavro::PortQuery::kMaximumChannels, &answer));
    EXPECT_TRUE(event(Tavro::PortEvent::kDisconnect));
    EXPECT_EQ(platform.liveGraphs(), 0U);
    EXPECT_TRUE(component->output().disconnectInput(port));
    EXPECT_TRUE((*component)->destroy());
    component.reset();
    return outcome;
  }

  /// Whether the failure of the n-th call of the session makes the build fail that it is part of.
  bool endsABuild(unsigned nth, const Lines& lines) {
    const std::string& line = lines.at(nth - 1);
    for (const char* step :
         {"NewAUGraph", "AUGraphAddNode", "AUGraphOpen", "AUGraphNodeInfo", "AUGraphInitialize"}) {
      if (line.rfind(step, 0) == 0) {
        return true;
      }
    }
    return line.find(", 8, 1, 0, 40)") != std::string::npos ||
           line.find(", 23, 1, 0, ") != std::string::npos ||
           line.find(", 2000, 0, 0, 4)") != std::string::npos;
  }
};

TEST_F(FaultTest, anyCallOfAPcmSessionMayFailAndOnlyTheStepsOfABuildEndIt) {
  journal.take();
  const Outcome good = pcmSession(0);
  ASSERT_TRUE(good.firstWrite && good.secondWrite);
  const Lines lines = only(journal.take(), {"AU", "NewAU", "DisposeAU", "AudioU", "AudioO"});
  const unsigned calls = platform.calls();
  ASSERT_EQ(lines.size(), calls);
  ASSERT_GT(calls, 30U);
  for (unsigned failing = 1; failing <= calls; ++failing) {
    SCOPED_TRACE("failing: " + lines.at(failing - 1));
    upstream.forget();
    const Outcome outcome = pcmSession(failing);
    const bool build = endsABuild(failing, lines);
    EXPECT_EQ(outcome.firstWrite, !(build && failing <= good.callsAfterFirstWrite));
    EXPECT_EQ(outcome.secondWrite, !(build && failing > good.callsBeforeSecondWrite &&
                                     failing <= good.callsAfterSecondWrite));
    EXPECT_EQ(platform.liveGraphs(), 0U);
    EXPECT_EQ(platform.liveIOProcs(), 0U);
    const auto violations = journal.takeViolations();
    EXPECT_THAT(violations, testing::IsEmpty());
    for (const FakeBuffer* buffer : upstream.buffers()) {
      EXPECT_EQ(buffer->releases(), buffer->delivered() ? 1U : 0U);
    }
  }
}

TEST_F(FaultTest, aFailedBuildTearsDownWhatWasBuiltSoFar) {
  const std::vector<std::pair<std::string, unsigned>> steps = {
      {"AUGraphAddNode", 1},      {"AUGraphOpen", 1},          {"AUGraphNodeInfo", 1},
      {"AUGraphInitialize", 1},   {"AudioUnitSetProperty", 1}, {"AudioUnitSetProperty", 2},
      {"AudioUnitGetProperty", 1}};
  for (const auto& [function, nth] : steps) {
    SCOPED_TRACE(function + " " + std::to_string(nth));
    connect();
    platform.fail(function, kFault, nth);
    journal.take();
    EXPECT_FALSE(write(48000, 2, 16));
    const Lines lines = journal.take();
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines[lines.size() - 3].rfind(function, 0), 0U) << "a step after the failed one";
    EXPECT_EQ(lines[lines.size() - 2].rfind("AUGraphClose", 0), 0U);
    EXPECT_EQ(lines[lines.size() - 1].rfind("DisposeAUGraph", 0), 0U);
    EXPECT_TRUE(write(44100, 2, 16)) << "another write tries again";
    end();
  }
}

TEST_F(FaultTest, aGraphThatCannotBeMadeIsNotDisposedOf) {
  connect();
  platform.fail("NewAUGraph", kFault);
  journal.take();
  EXPECT_FALSE(write(48000, 2, 16));
  EXPECT_THAT(journal.take(), testing::ElementsAre("NewAUGraph()"));
  EXPECT_FALSE(ready());
  EXPECT_TRUE(write(48000, 1, 16));
}

TEST_F(FaultTest, startAndStopThatFailAnswerTrueAndKeepTheirEffectOnTheFeeding) {
  build();
  platform.fail("AUGraphStart", kFault);
  EXPECT_TRUE(event(Tavro::PortEvent::kStart));
  upstream.add(pattern(400), 1000, 10);
  gate.step();
  EXPECT_EQ(upstream.waiting(), 0U);
  platform.fail("AUGraphStop", kFault);
  EXPECT_TRUE(event(Tavro::PortEvent::kStop));
  platform.fail("AudioUnitReset", kFault);
  EXPECT_TRUE(event(Tavro::PortEvent::kFlush));
  EXPECT_EQ(released(), 1U);
}

}  // namespace
