#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <thread>
#include <unistd.h>

#include "Bursts.h"

namespace {

using AudioDevices::ac3Bursts;
using AudioDevices::pcmInteger;
using AudioDevices::ScriptedDevice;
using AudioDevices::ScriptedSetup;
using AudioDevices::Script::Leftovers;
using AudioDevices::Script::leftovers;

ScriptedSetup stereo(bool clocked = false) {
  return {.streams = {{.format = pcmInteger(48000, 2, 16)}}, .clocked = clocked};
}

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
  static OSStatus ioProc(AudioObjectID, const AudioTimeStamp*, const AudioBufferList*,
                         const AudioTimeStamp*, AudioBufferList* list, const AudioTimeStamp*,
                         void* context) {
    auto& self = *static_cast<Behaviour*>(context);
    self.lists.push_back({list->mBuffers[0].mDataByteSize, list->mNumberBuffers});
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

  std::vector<std::pair<UInt32, UInt32>> lists;  // first buffer's bytes, buffers

 private:
  void call() {
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
  ScriptedDevice device(stereo(true));
  // Plain data: the sanitizer sees any call that is not over when stop has returned.
  int plain = 0;
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
    EXPECT_EQ(plain % 2, 0);
    const int calls = behaviour.calls();
    EXPECT_EQ(plain, 2 * calls);
    EXPECT_FALSE(graph.isRunning());
    EXPECT_EQ(leftovers().runningDevices, 0U);
  }
}

TEST(Stopping, waitsForACallbackThatIsUnderWay) {
  ScriptedDevice device(stereo());
  std::mutex mutex;
  std::condition_variable changed;
  bool mayReturn = false;
  Behaviour behaviour([&] {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return mayReturn; });
  });
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
  UInt32 id = 0;
  UInt32 size = sizeof id;
  AudioUnitGetProperty(graph.unit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global,
                       0, &id, &size);
  EXPECT_TRUE(behaviour.isInside());
  EXPECT_FALSE(stopped);
  {
    const std::lock_guard lock(mutex);
    mayReturn = true;
  }
  changed.notify_all();
  stopper.join();
  cycle.join();
  EXPECT_FALSE(device.cycle(512).ran);
  EXPECT_EQ(behaviour.calls(), 1);
}

TEST(Stopping, worksFromInsideTheCallback) {
  for (const bool dispose : {false, true}) {
    ScriptedDevice device(stereo(true));
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
  ScriptedDevice device(stereo(true));
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
  source.playOn(graph);
  ASSERT_EQ(AUGraphStart(graph.graph), noErr);
  EXPECT_EQ(valuesOf<std::int16_t>(played(device, {1})), (std::vector<std::int16_t>{1, 2}));
  const AudioObjectPropertyAddress format{kAudioStreamPropertyPhysicalFormat,
                                          kAudioObjectPropertyScopeGlobal, 0};
  ASSERT_EQ(AudioObjectSetPropertyData(device.stream(0), &format, 0, nullptr, sizeof wide, &wide),
            noErr);
  EXPECT_EQ(valuesOf<std::int32_t>(played(device, {1})),
            (std::vector<std::int32_t>{3 << 16, 4 << 16, 0, 0}));
  EXPECT_EQ(graph.channelMap().size(), 4U);
}

TEST(ADeviceThatGoesAway, silencesItsUnitsAndCanBeReplaced) {
  auto first = std::make_unique<ScriptedDevice>(stereo(true));
  Behaviour behaviour(nothing);
  Graph graph;
  graph.setCallback(Behaviour::render, &behaviour);
  ASSERT_EQ(AUGraphStart(graph.graph), noErr);
  behaviour.awaitCalls(1);
  first->disappear();
  EXPECT_FALSE(graph.isRunning());
  EXPECT_EQ(AUGraphStart(graph.graph), kAudioHardwareBadDeviceError);
  EXPECT_EQ(graph.setFormat(pcmInteger(44100, 2, 16)), noErr);
  first.reset();

  ScriptedDevice second({.name = "second", .streams = {{.format = pcmInteger(44100, 4, 24)}}});
  const AudioDeviceID id = second.id();
  ASSERT_EQ(AudioUnitSetProperty(graph.unit, kAudioOutputUnitProperty_CurrentDevice,
                                 kAudioUnitScope_Global, 0, &id, sizeof id),
            noErr);
  EXPECT_EQ(graph.channelMap().size(), 4U);
  ASSERT_EQ(AUGraphStart(graph.graph), noErr);
  EXPECT_FALSE(second.cycle(16).silent);
}

TEST(IoProcedures, getOneZeroedBufferPerStreamAndBurstsOf6144Bytes) {
  const auto bursts = ac3Bursts(48000, 2);
  ScriptedDevice device({.streams = {{.format = pcmInteger(48000, 2, 16), .available = {bursts}},
                                     {.format = pcmInteger(48000, 2, 16)}}});
  Behaviour behaviour(nothing);
  AudioDeviceIOProcID id = nullptr;
  ASSERT_EQ(AudioDeviceCreateIOProcID(device.id(), Behaviour::ioProc, &behaviour, &id), noErr);
  ASSERT_EQ(AudioDeviceStart(device.id(), id), noErr);
  device.cycle(512);
  const AudioObjectPropertyAddress format{kAudioStreamPropertyPhysicalFormat,
                                          kAudioObjectPropertyScopeGlobal, 0};
  ASSERT_EQ(
      AudioObjectSetPropertyData(device.stream(0), &format, 0, nullptr, sizeof bursts, &bursts),
      noErr);
  const AudioObjectPropertyAddress cycleSize{kAudioDevicePropertyBufferFrameSize,
                                             kAudioObjectPropertyScopeGlobal, 0};
  UInt32 frames = 0;
  UInt32 size = sizeof frames;
  ASSERT_EQ(AudioObjectGetPropertyData(device.id(), &cycleSize, 0, nullptr, &size, &frames), noErr);
  EXPECT_EQ(frames, 1536U);
  EXPECT_TRUE(device.cycle(frames).silent);  // nobody wrote into the zeroed buffers
  EXPECT_EQ(behaviour.lists, (std::vector<std::pair<UInt32, UInt32>>{{2048, 2}, {6144, 2}}));
  EXPECT_EQ(AudioDeviceDestroyIOProcID(device.id(), id), noErr);
  EXPECT_FALSE(device.cycle(512).ran);
  EXPECT_EQ(leftovers(), Leftovers{});
}

/// In real time, while it plays: a device has one rate, that of the stream of bursts.
TEST(IoProcedures, aStreamTurnsToBurstsAndBackWhileTheDeviceRuns) {
  const auto pcm = pcmInteger(48000, 2, 16);
  const auto bursts = ac3Bursts(44100, 2);
  ScriptedDevice device(
      {.streams = {{.format = pcm}, {.format = pcm, .available = {bursts}}}, .clocked = true});
  Behaviour behaviour(nothing);
  AudioDeviceIOProcID id = nullptr;
  ASSERT_EQ(AudioDeviceCreateIOProcID(device.id(), Behaviour::ioProc, &behaviour, &id), noErr);
  ASSERT_EQ(AudioDeviceStart(device.id(), id), noErr);
  EXPECT_EQ(setPhysicalFormat(device.stream(0), bursts), kAudioDeviceUnsupportedFormatError);
  for (const auto& format : {bursts, pcm, bursts, pcm}) {
    behaviour.awaitCalls(behaviour.calls() + 2);
    ASSERT_EQ(setPhysicalFormat(device.stream(1), format), noErr);
    EXPECT_EQ(physicalFormat(device.stream(1)), format);
    const AudioObjectPropertyAddress rate{kAudioDevicePropertyNominalSampleRate,
                                          kAudioObjectPropertyScopeGlobal, 0};
    Float64 hertz = 0;
    UInt32 size = sizeof hertz;
    ASSERT_EQ(AudioObjectGetPropertyData(device.id(), &rate, 0, nullptr, &size, &hertz), noErr);
    EXPECT_EQ(hertz, format.mSampleRate);
  }
  behaviour.awaitCalls(behaviour.calls() + 2);
  ASSERT_EQ(AudioDeviceDestroyIOProcID(device.id(), id), noErr);
  std::size_t burstCycles = 0;
  for (const auto& [firstBytes, streams] : behaviour.lists) {
    ASSERT_TRUE(firstBytes == 512 * 4 || firstBytes == 1536 * 4) << firstBytes;
    EXPECT_EQ(streams, 2U);
    burstCycles += firstBytes == 1536 * 4 ? 1 : 0;
  }
  EXPECT_GE(burstCycles, 4U);
  const auto totals = AudioDevices::totalsOf(device.id());
  EXPECT_EQ(totals.burstCycles, burstCycles);
  EXPECT_EQ(totals.bursts, 0U);  // nothing was put into that stream
}

/// Everything as in simulated time, with a clock that does not wait.
TEST(IoProcedures, playBurstsIntoAFileInRealTime) {
  const auto path =
      std::filesystem::temp_directory_path() / ("bursts-" + std::to_string(::getpid()) + ".spdif");
  const AudioDeviceID device = AudioDevices::attach("file:" + path.string(), nullptr);
  ASSERT_NE(device, kAudioObjectUnknown);
  const auto devices = AudioDevices::list();
  const auto found = std::ranges::find(devices, device, &AudioDevices::DeviceDescription::id);
  ASSERT_EQ(setPhysicalFormat(found->streams.front().id, ac3Bursts(48000, 2)), noErr);
  const Bytes bursts = encodedBursts(4);
  {
    BurstPlayer player(device, bursts);
    ASSERT_EQ(player.start(), noErr);
    while (AudioDevices::totalsOf(device).bursts < 4) {
      EXPECT_EQ(AudioDevices::burstsOf(device).violations, 0U);
      std::this_thread::yield();
    }
    ASSERT_EQ(player.stop(), noErr);
  }
  EXPECT_EQ(AudioDevices::burstsOf(device).bursts, 4U);
  EXPECT_FALSE(AudioDevices::detach(device));
  std::ifstream file(path, std::ios::binary);
  EXPECT_EQ(Bytes(std::istreambuf_iterator<char>(file), {}), bursts);
  std::filesystem::remove(path);
}

TEST(IoProcedures, runWhileStartedAndTheSameOneMayBeRegisteredTwice) {
  ScriptedDevice device(stereo(true));
  Behaviour one(nothing);
  Behaviour two(nothing);
  AudioDeviceIOProcID ids[2] = {};
  ASSERT_EQ(AudioDeviceCreateIOProcID(device.id(), Behaviour::ioProc, &one, &ids[0]), noErr);
  ASSERT_EQ(AudioDeviceCreateIOProcID(device.id(), Behaviour::ioProc, &two, &ids[1]), noErr);
  ASSERT_NE(ids[0], ids[1]);
  ASSERT_EQ(AudioDeviceStart(device.id(), ids[0]), noErr);
  ASSERT_EQ(AudioDeviceStart(device.id(), ids[1]), noErr);
  one.awaitCalls(2);
  two.awaitCalls(2);
  ASSERT_EQ(AudioDeviceStop(device.id(), ids[0]), noErr);
  const int calls = one.calls();
  two.awaitCalls(two.calls() + 2);
  EXPECT_EQ(one.calls(), calls);
  EXPECT_EQ(AudioDeviceStop(device.id(), ids[0]), kAudioHardwareNotRunningError);
  EXPECT_EQ(AudioDeviceDestroyIOProcID(device.id(), ids[1]), noErr);
  EXPECT_EQ(AudioDeviceDestroyIOProcID(device.id(), ids[0]), noErr);
  EXPECT_EQ(leftovers(), Leftovers{});
}

TEST(RenderObserver, hearsOfEachCallUntilItIsTakenAway) {
  ScriptedDevice device(stereo());
  Graph graph;
  Source source(pcmInteger(48000, 2, 16), Bytes(4 * 512, 1));
  source.playOn(graph);
  std::vector<AudioDevices::RenderRecord> records;
  AudioDevices::setRenderObserver(
      [](void* context, const AudioDevices::RenderRecord& record) {
        static_cast<std::vector<AudioDevices::RenderRecord>*>(context)->push_back(record);
      },
      &records);
  ASSERT_EQ(AUGraphStart(graph.graph), noErr);
  device.cycle(512);
  device.cycle(256);
  AudioDevices::setRenderObserver(nullptr, nullptr);
  device.cycle(512);
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].device, device.id());
  EXPECT_EQ(records[0].frames, 512U);
  EXPECT_FALSE(records[0].silent);
  EXPECT_TRUE(records[1].silent);
}

}  // namespace
