#include <thread>

#include "BundleTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kFormatCall = "AudioUnitSetProperty(unit1, 8, 1, 0, 40)";
const std::string kCallbackCall =
    "AudioUnitSetProperty(unit1, 23, 1, 0, " + std::to_string(sizeof(AURenderCallbackStruct)) + ")";

class GraphTest : public BundleTest {
 protected:
  Lines platformCalls() { return only(journal.take(), {"AU", "New", "Dispose", "Audio"}); }

  const AudioStreamBasicDescription& built() { return platform.liveGraph()->unit.streamFormat; }

  void expectFormat(AudioFormatFlags flags, double rate, UInt32 channels, UInt32 bits) {
    const UInt32 frameBytes = channels * (bits / 8);
    EXPECT_EQ(built().mFormatID, UInt32{kAudioFormatLinearPCM});
    EXPECT_EQ(built().mFormatFlags, flags);
    EXPECT_EQ(built().mSampleRate, rate);
    EXPECT_EQ(built().mChannelsPerFrame, channels);
    EXPECT_EQ(built().mBitsPerChannel, bits);
    EXPECT_EQ(built().mBytesPerFrame, frameBytes);
    EXPECT_EQ(built().mBytesPerPacket, frameBytes);
    EXPECT_EQ(built().mFramesPerPacket, 1U);
    EXPECT_EQ(built().mReserved, 0U);
  }

  std::vector<SInt32> mapAfterBuild(const std::vector<SInt32>& map) {
    platform.channelMap = map;
    build();
    return platform.liveGraph()->unit.channelMap;
  }
};

TEST_F(GraphTest, aBuildMakesItsCallsInOrder) {
  connect();
  journal.take();
  ASSERT_TRUE(write(48000, 2, 16));
  EXPECT_THAT(journal.take(),
              ElementsAre("NewAUGraph()", "AUGraphAddNode(graph1, 'auou', 'def ', 'appl', 0, 0)",
                          "AUGraphOpen(graph1)", "AUGraphNodeInfo(graph1, 5, null)",
                          "AUGraphInitialize(graph1)", kFormatCall, kCallbackCall,
                          "AudioUnitGetProperty(unit1, 2000, 0, 0, 4)",
                          "AudioUnitGetPropertyInfo(unit1, 2002, 2, 0)",
                          "AudioUnitReset(unit1, 1, 0)", "session.getSetting 2 Output Volume",
                          "AudioUnitSetParameter(unit1, 14, 0, 0, 1.000000, 0)"));
  EXPECT_FALSE(platform.liveGraph()->running);
}

TEST_F(GraphTest, aRebuildEndsTheOldGraphFirstAndRestartsARunningOne) {
  build();
  event(Tavro::PortEvent::kStart);
  journal.take();
  ASSERT_TRUE(write(44100, 2, 16));
  const Lines calls = platformCalls();
  ASSERT_EQ(calls.size(), 15U);
  EXPECT_THAT(Lines(calls.begin(), calls.begin() + 4),
              ElementsAre("AUGraphIsRunning(graph1)", "AUGraphClose(graph1)",
                          "DisposeAUGraph(graph1)", "NewAUGraph()"));
  EXPECT_THAT(
      Lines(calls.end() - 3, calls.end()),
      ElementsAre("AudioUnitReset(unit2, 1, 0)",
                  "AudioUnitSetParameter(unit2, 14, 0, 0, 1.000000, 0)", "AUGraphStart(graph2)"));
  EXPECT_TRUE(platform.liveGraph()->running);
}

TEST_F(GraphTest, theCallbackRecordNamesProcedureAndComponent) {
  build();
  EXPECT_NE(platform.liveGraph()->unit.callback.inputProc, nullptr);
  EXPECT_NE(platform.liveGraph()->unit.callback.inputProcRefCon, nullptr);
}

TEST_F(GraphTest, eventsBeforeAnyBuildMakeNoPlatformCall) {
  connect();
  journal.take();
  for (const auto id : {Tavro::PortEvent::kStart, Tavro::PortEvent::kStop, Tavro::PortEvent::kFlush,
                        Tavro::PortEvent::kFlushAgain, Tavro::PortEvent::kDisconnect}) {
    EXPECT_TRUE(event(id)) << id;
  }
  EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(GraphTest, startStopFlushAndDisconnectMakeTheirCalls) {
  build();
  EXPECT_TRUE(event(Tavro::PortEvent::kStart));
  EXPECT_THAT(journal.take(), ElementsAre("AUGraphStart(graph1)"));
  EXPECT_TRUE(event(Tavro::PortEvent::kFlush));
  EXPECT_THAT(journal.take(), ElementsAre("AudioUnitReset(unit1, 1, 0)"));
  EXPECT_TRUE(event(Tavro::PortEvent::kFlushAgain));
  EXPECT_THAT(journal.take(), ElementsAre("AudioUnitReset(unit1, 1, 0)"));
  EXPECT_TRUE(event(Tavro::PortEvent::kStop));
  EXPECT_THAT(journal.take(), ElementsAre("AUGraphStop(graph1)"));
  EXPECT_TRUE(event(Tavro::PortEvent::kDisconnect));
  EXPECT_THAT(journal.take(), ElementsAre("AUGraphClose(graph1)", "DisposeAUGraph(graph1)"));
  EXPECT_TRUE(event(Tavro::PortEvent::kDisconnect));
  EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(GraphTest, unknownEventsAndChecksAnswerTrueAndDoNothing) {
  build();
  EXPECT_TRUE(event(0x30060000));
  EXPECT_TRUE(event(0x10010000));
  Tavro::_Variant none{};
  EXPECT_TRUE(port->checkEvent(0x40000001, &none));
  upstream.add(pattern(4), 1000, 10);
  gate.step();
  EXPECT_EQ(upstream.queries(), 0U);
  EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(GraphTest, aNewConnectionTearsTheOutputDownAndEmptiesTheQueue) {
  build();
  upstream.add(pattern(400), 1000, 10);
  feed();
  EXPECT_TRUE(connectPeer(nullptr));
  EXPECT_THAT(journal.take(), ElementsAre("AUGraphClose(graph1)", "DisposeAUGraph(graph1)"));
  EXPECT_EQ(released(), 1U);
  const unsigned before = upstream.queries();
  ready();
  gate.step();
  EXPECT_EQ(upstream.queries(), before);
}

TEST_F(GraphTest, theVariantOfTheConnectEventMayBeOfAnyType) {
  connect();
  FakeUpstream other;
  Tavro::_Variant value{
      0, reinterpret_cast<std::uintptr_t>(static_cast<Tavro::PortInterface*>(&other))};
  EXPECT_TRUE(port->sendEvent(Tavro::PortEvent::kConnect, &value));
  feed();
  EXPECT_EQ(other.queries(), 2U);
  EXPECT_EQ(upstream.queries(), 0U);
  event(Tavro::PortEvent::kDisconnect);
}

TEST_F(GraphTest, floatSamplesHave32BitsWhateverThePropertiesSay) {
  for (const std::uint32_t bits : {32U, 16U, 0U}) {
    build(Tavro::FormatCode::kFloat, 48000, 2, bits);
    expectFormat(9, 48000, 2, 32);
    render(1000);
    EXPECT_EQ(timeBase().currentTime(), 8000U * 1000 / 384000) << bits;
    end();
  }
}

TEST_F(GraphTest, theBigEndianCodeAddsItsFlag) {
  build(0x736F7774, 48000, 2, 16);
  expectFormat(14, 48000, 2, 16);
}

TEST_F(GraphTest, everyOtherCodeIsLittleEndianIntegers) {
  for (const std::uint32_t code : {0U, 1U, 2U, 0x74776F73U, 0xFFFFFFFFU}) {
    build(code, 192000, 8, 24);
    expectFormat(12, 192000, 8, 24);
    end();
  }
}

TEST_F(GraphTest, bitsAreWholeBytesRoundedDownAndRatesAreExact) {
  build(1, 4294967295U, 1, 8);
  EXPECT_EQ(built().mSampleRate, 4294967295.0);
  ASSERT_TRUE(write(11025, 3, 12));
  EXPECT_EQ(built().mBytesPerFrame, 3U);
  EXPECT_EQ(built().mBitsPerChannel, 12U);
}

TEST_F(GraphTest, aMapOfEightChannelsSwapsItsLastPairs) {
  EXPECT_THAT(mapAfterBuild({0, 1, 2, 3, 4, 5, 6, 7}), ElementsAre(0, 1, 2, 3, 6, 7, 4, 5));
}

TEST_F(GraphTest, aLongerMapKeepsEveryOtherEntryAsRead) {
  EXPECT_THAT(mapAfterBuild({9, -1, 2, 3, 8, 8, 8, 8, 1, 0}),
              ElementsAre(9, -1, 2, 3, 6, 7, 4, 5, 1, 0));
}

TEST_F(GraphTest, aMapOfSevenChannelsIsLeftAlone) {
  EXPECT_THAT(mapAfterBuild({0, 1, 2, 3, 4, 5, 6}), ElementsAre(0, 1, 2, 3, 4, 5, 6));
  end();
  EXPECT_THAT(mapAfterBuild({}), IsEmpty());
}

TEST_F(GraphTest, aMapThatCannotBeAdjustedDoesNotFailTheBuild) {
  platform.channelMap = {0, 1, 2, 3, 4, 5, 6, 7};
  platform.fail("AudioUnitGetPropertyInfo", -1);
  build();
  platform.fail("AudioUnitGetProperty", -1, 2);
  EXPECT_TRUE(write(44100, 2, 16));
  platform.channelMapWriteStatus = -1;
  EXPECT_TRUE(write(48000, 2, 16));
}

TEST_F(GraphTest, theMapIsReadAndWrittenInItsFullSize) {
  platform.channelMap = {0, 1, 2, 3, 4, 5, 6, 7, 8};
  connect();
  ASSERT_TRUE(write(48000, 2, 16));
  EXPECT_THAT(only(journal.take(),
                   {"AudioUnitGetProperty(unit1, 2002", "AudioUnitSetProperty(unit1, 2002"}),
              ElementsAre("AudioUnitGetProperty(unit1, 2002, 2, 0, 36)",
                          "AudioUnitSetProperty(unit1, 2002, 2, 0, 36)"));
}

TEST_F(GraphTest, aCurrentDeviceOfAnotherSizeFailsTheBuild) {
  for (const std::size_t bytes : {2U, 0U}) {
    connect();
    platform.currentDevice.assign(bytes, 0);
    journal.take();
    EXPECT_FALSE(write(48000, 2, 16));
    const Lines calls = platformCalls();
    EXPECT_THAT(
        Lines(calls.end() - 2, calls.end()),
        ElementsAre(testing::StartsWith("AUGraphClose"), testing::StartsWith("DisposeAUGraph")));
    EXPECT_EQ(platform.liveGraphs(), 0U);
    end();
  }
}

TEST_F(GraphTest, deletingAComponentWithAGraphLeavesNothingRegistered) {
  build();
  event(Tavro::PortEvent::kStart);
  component.reset();
  EXPECT_EQ(platform.liveGraphs(), 0U);
}

TEST_F(GraphTest, stopHaltsTheFeedingBeforeThePlatformIsAsked) {
  build();
  event(Tavro::PortEvent::kStart);
  wall.ms = 9000;
  render(96);
  wall.ms = 9500;
  std::uint32_t seen = 0;
  platform.onCall("AUGraphStop", [&] { seen = timeBase().currentTime(); });
  event(Tavro::PortEvent::kStop);
  EXPECT_EQ(seen, 2U);
}

TEST_F(GraphTest, theGraphIsTakenAwayBeforeItIsClosed) {
  build();
  event(Tavro::PortEvent::kStart);
  bool running = true;
  platform.onCall("AUGraphClose",
                  [&] { std::thread([&] { running = timeBase().isRunning(); }).join(); });
  journal.take();
  event(Tavro::PortEvent::kDisconnect);
  EXPECT_FALSE(running);
  EXPECT_THAT(journal.take(), ElementsAre("AUGraphClose(graph1)", "DisposeAUGraph(graph1)"));
}

}  // namespace
