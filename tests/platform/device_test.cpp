// SPDX-License-Identifier: MIT

#include <thread>

#include "Bursts.h"

namespace {

using AudioDevices::ac3Bursts;
using AudioDevices::pcmInteger;
using AudioDevices::ScriptedDevice;
using AudioDevices::Script::Leftovers;
using AudioDevices::Script::leftovers;

/// A callback that does as the test says; whether it runs can be waited for.
class Behaviour {
 public:
  explicit Behaviour(std::function<void()> onCall) : m_onCall(std::move(onCall)) {}

  static OSStatus render(void* context, AudioUnitRenderActionFlags*, const AudioTimeStamp*, UInt32,
                         UInt32, AudioBufferList* list) {
    auto& self = *static_cast<Behaviour*>(context);
    std::memset(list->mBuffers[0].mData, 1, list->mBuffers[0].mDataByteSize);
    self.call();
    return noErr;
  }
  int calls() const { return m_calls.load(); }
  bool isInside() const { return m_inside.load(); }
  void awaitCalls(int count) const {
    while (calls() < count) {
      std::this_thread::yield();
    }
  }

 private:
  void call() {
    TAVRO_MAY_BLOCK;
    m_inside = true;
    ++m_calls;
    m_onCall();
    m_inside = false;
  }
  std::function<void()> m_onCall;
  std::atomic<int> m_calls{0};
  std::atomic<bool> m_inside{false};
};

void nothing() {}

TEST(Stopping, returnsOnlyAfterTheLastRender) {
  ScriptedDevice device(clocked());
  int plain = 0;  // the sanitizer sees any call that is not over when stop has returned
  Behaviour behaviour([&plain] {
    ++plain;
    std::this_thread::yield();
    ++plain;
  });
  Graph graph;
  graph.setCallback(Behaviour::render, &behaviour);
  for (int round = 1; round <= 20; ++round) {
    ASSERT_EQ(AUGraphStart(graph.graph), noErr);
    ASSERT_TRUE(graph.isRunning());
    behaviour.awaitCalls(behaviour.calls() + 1);
    ASSERT_EQ(AUGraphStop(graph.graph), noErr);
    EXPECT_FALSE(behaviour.isInside());
    EXPECT_EQ(plain, 2 * behaviour.calls());
    EXPECT_FALSE(graph.isRunning());
    EXPECT_EQ(leftovers().runningDevices, 0U);
  }
}

TEST(Stopping, waitsForACallbackThatIsUnderWay) {
  ScriptedDevice device(stereo());
  std::atomic<bool> mayReturn{false};
  Behaviour behaviour([&] { mayReturn.wait(false); });
  Graph graph;
  graph.setCallback(Behaviour::render, &behaviour);
  ASSERT_EQ(AUGraphStart(graph.graph), noErr);
  std::thread cycle([&] { device.cycle(512); });
  behaviour.awaitCalls(1);
  std::atomic<bool> stopped{false};
  std::thread stopper([&] {
    AUGraphClose(graph.graph);
    stopped = true;
  });
  // What can be asked meanwhile is answered, and the stop has not returned.
  graph.channelMap();
  EXPECT_TRUE(behaviour.isInside());
  EXPECT_FALSE(stopped);
  mayReturn = true;
  mayReturn.notify_all();
  stopper.join();
  cycle.join();
  EXPECT_FALSE(device.cycle(512).ran);
  EXPECT_EQ(behaviour.calls(), 1);
}

TEST(Stopping, worksFromInsideTheCallback) {
  for (const bool dispose : {false, true}) {
    ScriptedDevice device(clocked());
    AUGraph toStop = nullptr;
    std::atomic<bool> done{false};
    Behaviour behaviour([&] {
      EXPECT_EQ(AUGraphStop(toStop), noErr);
      if (dispose) {
        EXPECT_EQ(DisposeAUGraph(toStop), noErr);
      }
      done = true;
    });
    Graph graph;
    toStop = graph.graph;
    graph.setCallback(Behaviour::render, &behaviour);
    for (int round = 1; round <= (dispose ? 1 : 3); ++round) {
      done = false;
      const OSStatus status = AUGraphStart(graph.graph);
      // The first callback may have disposed of the graph before the start has returned.
      ASSERT_TRUE(status == noErr || (dispose && status == kAudioUnitErr_Uninitialized)) << status;
      while (!done) {
        std::this_thread::yield();
      }
      EXPECT_EQ(leftovers().runningDevices, 0U);
      EXPECT_EQ(behaviour.calls(), round);
    }
  }
}

TEST(Changing, isRefusedInsideTheCallback) {
  ScriptedDevice device(stereo());
  OSStatus status = noErr;
  AudioUnit unit = nullptr;
  Behaviour behaviour([&] { status = AudioUnitReset(unit, kAudioUnitScope_Input, 0); });
  Graph graph;
  unit = graph.unit;
  graph.setCallback(Behaviour::render, &behaviour);
  ASSERT_EQ(AUGraphStart(graph.graph), noErr);
  device.cycle(16);
  EXPECT_EQ(status, kAudioUnitErr_CannotDoInCurrentContext);
}

TEST(Changing, whileItPlaysTakesEffectAndHarmsNothing) {
  ScriptedDevice device(clocked());
  Behaviour behaviour(nothing);
  Graph graph;
  graph.setCallback(Behaviour::render, &behaviour);
  ASSERT_EQ(AUGraphStart(graph.graph), noErr);
  for (const auto& format :
       {pcmInteger(44100, 2, 16), pcmInteger(48000, 6, 24), pcmInteger(8000, 1, 8)}) {
    ASSERT_EQ(graph.setFormat(format), noErr);
    ASSERT_EQ(graph.setVolume(0.5F), noErr);
    ASSERT_EQ(AudioUnitReset(graph.unit, kAudioUnitScope_Input, 0), noErr);
    behaviour.awaitCalls(behaviour.calls() + 2);
  }
  EXPECT_TRUE(graph.isRunning());
}

TEST(Changing, theDevicesFormatTakesEffectWithTheNextCycle) {
  const auto wide = pcmInteger(48000, 4, 32);
  ScriptedDevice device({.streams = {{.format = pcmInteger(48000, 2, 16), .available = {wide}}}});
  Graph graph;
  Source source(pcmInteger(48000, 2, 16), bytesOf(std::vector<std::int16_t>{1, 2, 3, 4}));
  source.startOn(graph);
  EXPECT_EQ(valuesOf<std::int16_t>(played(device, {1})), (std::vector<std::int16_t>{1, 2}));
  ASSERT_EQ(setFormat(device.stream(0), wide), noErr);
  EXPECT_EQ(valuesOf<std::int32_t>(played(device, {1})),
            (std::vector<std::int32_t>{3 << 16, 4 << 16, 0, 0}));
  EXPECT_EQ(graph.channelMap().size(), 4U);
}

TEST(Changing, theDeviceOfAUnitMovesItWithoutItsChannelMapAndForGood) {
  ScriptedDevice first(stereo());
  ScriptedDevice second(stereo("second"));
  Behaviour behaviour(nothing);
  Graph graph;
  graph.setCallback(Behaviour::render, &behaviour);
  ASSERT_EQ(AUGraphStart(graph.graph), noErr);
  ASSERT_EQ(graph.setChannelMap({1, 0}), noErr);
  ASSERT_EQ(graph.setDevice(second.id()), noErr);
  EXPECT_EQ(graph.channelMap(), (std::vector<SInt32>{0, 1}));
  EXPECT_FALSE(first.cycle(16).ran);
  EXPECT_FALSE(second.cycle(16).silent);
  second.disappear();
  EXPECT_FALSE(graph.isRunning());
  EXPECT_EQ(AUGraphStart(graph.graph), kAudioHardwareBadDeviceError);
}

using Sizes = std::vector<std::vector<UInt32>>;

TEST(IoProcedures, getOneZeroedBufferPerStreamAndBurstsOf6144Bytes) {
  const auto bursts = ac3Bursts(48000, 2);
  ScriptedDevice device({.streams = {{.format = pcmInteger(48000, 2, 16), .available = {bursts}},
                                     {.format = pcmInteger(48000, 4, 16)}}});
  {
    BurstPlayer player(device.id(), Bytes(2048, 1));
    ASSERT_EQ(player.start(), noErr);
    EXPECT_FALSE(device.cycle(512).silent);
    ASSERT_EQ(setFormat(device.stream(0), bursts), noErr);
    UInt32 frames = 0;
    ASSERT_EQ(readProperty(device.id(), global(kAudioDevicePropertyBufferFrameSize), frames),
              noErr);
    EXPECT_EQ(frames, 1536U);
    EXPECT_TRUE(device.cycle(frames).silent);  // the zeroed buffers were not written
    EXPECT_EQ(player.bufferBytes, (Sizes{{2048, 4096}, {6144, 12288}}));
  }
  EXPECT_FALSE(device.cycle(512).ran);
  EXPECT_EQ(leftovers(), Leftovers{});
}

TEST(IoProcedures, getTheOddBuffersThatAreScripted) {
  ScriptedDevice device(stereo());
  BurstPlayer player(device.id());
  ASSERT_EQ(player.start(), noErr);
  device.setBufferBytes(0, 8192);
  device.cycle(512);
  device.setBufferWithoutMemory(0, true);
  device.cycle(512);
  EXPECT_EQ(player.bufferBytes, (Sizes{{8192}, {0}}));
}

/// In real time, while it plays: a device has one rate, that of the stream of bursts.
TEST(IoProcedures, aStreamTurnsToBurstsAndBackWhileTheDeviceRuns) {
  const auto pcm = pcmInteger(48000, 2, 16);
  const auto bursts = ac3Bursts(44100, 2);
  ScriptedDevice device(
      {.streams = {{.format = pcm}, {.format = pcm, .available = {bursts}}}, .clocked = true});
  BurstPlayer player(device.id());
  ASSERT_EQ(player.start(), noErr);
  EXPECT_EQ(setFormat(device.stream(0), bursts), kAudioDeviceUnsupportedFormatError);
  for (const auto& format : {bursts, pcm, bursts, pcm}) {
    player.awaitMoreCalls(2);
    ASSERT_EQ(setFormat(device.stream(1), format), noErr);
    EXPECT_EQ(formatOf(device.stream(1)), format);
    Float64 hertz = 0;
    ASSERT_EQ(readProperty(device.id(), global(kAudioDevicePropertyNominalSampleRate), hertz),
              noErr);
    EXPECT_EQ(hertz, format.mSampleRate);
  }
  player.awaitMoreCalls(2);
  ASSERT_EQ(player.stop(), noErr);
  const auto sizes = [&](UInt32 frames) {
    return std::ranges::count(player.bufferBytes, std::vector<UInt32>{4 * frames, 4 * frames});
  };
  const auto burstCycles = static_cast<std::uint64_t>(sizes(1536));
  EXPECT_EQ(burstCycles + static_cast<std::uint64_t>(sizes(512)), player.calls);
  EXPECT_GE(burstCycles, 4U);
  const auto totals = AudioDevices::totalsOf(device.id());
  EXPECT_EQ(totals.burstCycles, burstCycles);
  EXPECT_EQ(totals.bursts, 0U);  // nothing was put into that stream
}

TEST(IoProcedures, runWhileStartedAndTheSameOneMayBeRegisteredTwice) {
  ScriptedDevice device(clocked());
  {
    BurstPlayer one(device.id());
    BurstPlayer two(device.id());
    ASSERT_EQ(one.start(), noErr);
    ASSERT_EQ(two.start(), noErr);
    one.awaitMoreCalls(2);
    ASSERT_EQ(one.stop(), noErr);
    const std::size_t calls = one.calls;
    two.awaitMoreCalls(2);
    EXPECT_EQ(one.calls, calls);
    EXPECT_EQ(one.stop(), kAudioHardwareNotRunningError);
  }
  EXPECT_EQ(leftovers(), Leftovers{});
}

TEST(RenderObserver, hearsOfEachCallUntilItIsTakenAway) {
  const auto format = pcmInteger(48000, 2, 16);
  Playing playing(format, format, Bytes(4 * 512, 1));
  std::vector<AudioDevices::RenderRecord> records;
  records.reserve(3);
  AudioDevices::setRenderObserver(
      [](void* context, const AudioDevices::RenderRecord& record) {
        static_cast<std::vector<AudioDevices::RenderRecord>*>(context)->push_back(record);
      },
      &records);
  played(playing.device, {512, 256});
  AudioDevices::setRenderObserver(nullptr, nullptr);
  played(playing.device, {512});
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].device, playing.device.id());
  EXPECT_EQ(records[0].frames, 512U);
  EXPECT_FALSE(records[0].silent);
  EXPECT_TRUE(records[1].silent);
}

}  // namespace
