// SPDX-License-Identifier: MIT

#include "BundleTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kCallbackCall =
    "AudioUnitSetProperty(unit1, 23, 1, 0, " + std::to_string(sizeof(AURenderCallbackStruct)) + ")";

class GraphTest : public BundleTest {
 protected:
  void expectFormat(AudioFormatFlags flags, double rate, UInt32 channels, UInt32 bits) {
    const UInt32 frameBytes = channels * (bits / 8);
    EXPECT_THAT(platform.liveGraph()->unit.streamFormat,
                testing::FieldsAre(rate, kAudioFormatLinearPCM, flags, frameBytes, 1, frameBytes,
                                   channels, bits, 0));
  }
};

TEST_F(GraphTest, knownEventsMakeTheirCallsOnceThereIsAGraph) {
  const std::vector<std::pair<std::uint32_t, Lines>> callsOf = {
      {0x30060000, {}},  // unknown ones are accepted
      {Tavro::PortEvent::kStart, {"AUGraphStart(graph1)"}},
      {Tavro::PortEvent::kFlush, {"AudioUnitReset(unit1, 1, 0)"}},
      {Tavro::PortEvent::kFlushAgain, {"AudioUnitReset(unit1, 1, 0)"}},
      {Tavro::PortEvent::kStop, {"AUGraphStop(graph1)"}},
      {Tavro::PortEvent::kDisconnect, {"AUGraphClose(graph1)", "DisposeAUGraph(graph1)"}},
      {Tavro::PortEvent::kDisconnect, {}}};
  connect();
  journal.take();
  for (const auto& [id, calls] : callsOf) {
    EXPECT_TRUE(event(id)) << id;
  }
  EXPECT_THAT(journal.take(), IsEmpty());
  build();
  for (const auto& [id, calls] : callsOf) {
    EXPECT_TRUE(event(id)) << id;
    EXPECT_EQ(journal.take(), calls) << id;
  }
}

TEST_F(GraphTest, aNewConnectionTearsTheOutputDownAndEmptiesTheQueue) {
  build();
  queue(400, 1000, 10);
  const unsigned queries = upstream.queries();
  EXPECT_TRUE(connectPeer(nullptr));
  EXPECT_THAT(journal.take(), ElementsAre("AUGraphClose(graph1)", "DisposeAUGraph(graph1)"));
  EXPECT_EQ(released(), 1U);
  feed();
  FakeUpstream other;
  Tavro::_Variant value = objectValue(static_cast<Tavro::PortInterface*>(&other));
  value.type = 0;  // any type will do
  EXPECT_TRUE(port->sendEvent(Tavro::PortEvent::kConnect, &value));
  feed();
  EXPECT_EQ(other.queries(), 2U);
  EXPECT_EQ(upstream.queries(), queries);
  event(Tavro::PortEvent::kDisconnect);
}

TEST_F(GraphTest, theFormatFollowsTheCodeAndTheProperties) {
  for (const std::uint32_t bits : {32U, 16U, 0U}) {  // floats have 32 whatever is written
    build(Tavro::FormatCode::kFloat, 48000, 2, bits);
    expectFormat(9, 48000, 2, 32);
    EXPECT_EQ(info("BitsPerSample"), std::to_string(bits));  // as written
    render(1000);
    EXPECT_EQ(timeBase().currentTime(), 8000U * 1000 / 384000) << bits;
    end();
  }
  build(0x736F7774, 48000, 2, 16);
  expectFormat(14, 48000, 2, 16);
  end();
  for (const std::uint32_t code : {0U, 1U, 2U, 0x74776F73U, 0xFFFFFFFFU}) {
    build(code, 192000, 8, 24);
    expectFormat(12, 192000, 8, 24);
    end();
  }
  build(1, 4294967295U, 1, 8);
  expectFormat(12, 4294967295.0, 1, 8);
  ASSERT_TRUE(write(11025, 3, 12));
  expectFormat(12, 11025, 3, 12);
}

TEST_F(GraphTest, aMapOfEightOrMoreChannelsGetsItsSurroundPairsSwapped) {
  using Map = std::vector<SInt32>;
  const std::vector<std::pair<Map, Map>> maps = {
      {{0, 1, 2, 3, 4, 5, 6, 7}, {0, 1, 2, 3, 6, 7, 4, 5}},
      {{9, -1, 2, 3, 8, 8, 8, 8, 1, 0}, {9, -1, 2, 3, 6, 7, 4, 5, 1, 0}},
      {{0, 1, 2, 3, 4, 5, 6}, {0, 1, 2, 3, 4, 5, 6}},
      {{}, {}}};
  for (const auto& [before, after] : maps) {
    platform.channelMap = before;
    build();
    EXPECT_EQ(platform.liveGraph()->unit.channelMap, after);
    end();
  }
}

TEST_F(GraphTest, aCurrentDeviceOfAnotherSizeFailsTheBuild) {
  for (const std::size_t bytes : {2U, 0U}) {
    connect();
    platform.currentDevice.assign(bytes, 0);
    EXPECT_FALSE(write(48000, 2, 16));
    EXPECT_EQ(platform.liveGraph(), nullptr);
    end();
  }
}

}  // namespace
