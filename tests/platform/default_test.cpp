// Which device the default output is on while devices come and go, and who is told.

#include <condition_variable>
#include <memory>
#include <mutex>
#include <semaphore>
#include <thread>

#include "Play.h"

namespace {

using AudioDevices::pcmInteger;
using AudioDevices::ScriptedDevice;

constexpr AudioObjectPropertyAddress kDefault{kAudioHardwarePropertyDefaultOutputDevice,
                                              kAudioObjectPropertyScopeGlobal,
                                              kAudioObjectPropertyElementMaster};

std::unique_ptr<ScriptedDevice> make(const std::string& name) {
  return std::make_unique<ScriptedDevice>(
      AudioDevices::ScriptedSetup{.name = name, .streams = {{.format = pcmInteger(48000, 2, 16)}}});
}

AudioDeviceID defaultDevice() {
  AudioDeviceID id = kAudioObjectUnknown;
  UInt32 size = sizeof id;
  AudioObjectGetPropertyData(kAudioObjectSystemObject, &kDefault, 0, nullptr, &size, &id);
  return id;
}

/// What each of the devices plays in the next cycles belongs together.
TEST(TheDefaultOutput, standsInForWhatWasSetAndGoesBackToIt) {
  const Bytes sound = randomBytes(5 * 256);
  Source source(pcmInteger(48000, 2, 16), sound);
  auto first = make("first");
  auto set = make("set");
  set->makeDefault();
  Graph graph;
  source.playOn(graph);
  ASSERT_EQ(AUGraphStart(graph.graph), noErr);

  Bytes all = played(*set, {64});
  const auto playOn = [&](ScriptedDevice& device) {
    const Bytes more = played(device, {64});
    all.insert(all.end(), more.begin(), more.end());
  };
  set.reset();
  EXPECT_EQ(defaultDevice(), first->id());
  playOn(*first);
  const auto other = make("other");
  EXPECT_EQ(defaultDevice(), first->id());
  playOn(*first);
  set = make("set");
  EXPECT_EQ(defaultDevice(), set->id());
  playOn(*set);
  first.reset();
  playOn(*set);
  EXPECT_FALSE(other->cycle(64).ran);
  EXPECT_EQ(all, sound);
}

TEST(TheDefaultOutput, standsInPlaceWithoutADevice) {
  const Bytes sound = randomBytes(2 * 256);
  Source source(pcmInteger(48000, 2, 16), sound);
  auto only = make("only");
  only->makeDefault();
  Graph graph;
  source.playOn(graph);
  ASSERT_EQ(AUGraphStart(graph.graph), noErr);
  Bytes all = played(*only, {64});
  only.reset();
  EXPECT_EQ(defaultDevice(), AudioDeviceID{kAudioObjectUnknown});
  EXPECT_FALSE(graph.isRunning());
  const auto another = make("another");
  EXPECT_TRUE(graph.isRunning());
  const Bytes rest = played(*another, {64});
  all.insert(all.end(), rest.begin(), rest.end());
  EXPECT_EQ(all, sound);
}

/// Hears of a property, and may be held up inside.
class Hearer {
 public:
  Hearer(AudioObjectID object, AudioObjectPropertySelector selector)
      : m_object(object), m_address{selector, kAudioObjectPropertyScopeGlobal, 0} {
    EXPECT_EQ(AudioObjectAddPropertyListener(m_object, &m_address, hear, this), noErr);
  }
  ~Hearer() { leave(); }
  Hearer(const Hearer&) = delete;
  Hearer& operator=(const Hearer&) = delete;

  void leave() {
    EXPECT_EQ(AudioObjectRemovePropertyListener(m_object, &m_address, hear, this), noErr);
  }
  void awaitCalls(int count) {
    std::unique_lock lock(m_lock);
    m_change.wait(lock, [&] { return m_calls >= count; });
  }
  void holdUp() { m_gate.acquire(); }
  void letGo() { m_gate.release(); }

  int calls = 0;  // plain: the sanitizer sees one that is not over when leave() has returned
  bool leavesInside = false;

 private:
  static OSStatus hear(AudioObjectID object, UInt32 count,
                       const AudioObjectPropertyAddress* addresses, void* context) {
    auto& self = *static_cast<Hearer*>(context);
    EXPECT_EQ(object, self.m_object);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(addresses->mSelector, self.m_address.mSelector);
    {
      const std::lock_guard lock(self.m_lock);
      ++self.m_calls;
    }
    self.m_change.notify_all();
    self.m_gate.acquire();
    self.m_gate.release();
    ++self.calls;
    if (self.leavesInside) {
      self.leave();
    }
    return noErr;
  }

  const AudioObjectID m_object;
  const AudioObjectPropertyAddress m_address;
  std::binary_semaphore m_gate{1};
  std::mutex m_lock;
  std::condition_variable m_change;
  int m_calls = 0;
};

TEST(Listeners, hearOfDevicesThatComeAndGoAndOfTheDefault) {
  Hearer devices(kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
  Hearer output(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);
  auto one = make("one");
  devices.awaitCalls(1);
  output.awaitCalls(1);
  auto two = make("two");
  devices.awaitCalls(2);
  two->makeDefault();
  output.awaitCalls(2);
  one.reset();
  devices.awaitCalls(3);
  two.reset();
  output.awaitCalls(3);
  devices.awaitCalls(4);
  devices.leave();
  output.leave();
  EXPECT_EQ(devices.calls, 4);
  EXPECT_EQ(output.calls, 3);
}

TEST(Listeners, areNotBeingCalledWhenTheyHaveLeft) {
  Hearer hearer(kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
  hearer.holdUp();
  auto one = make("one");
  hearer.awaitCalls(1);
  std::thread opener([&] { hearer.letGo(); });
  hearer.leave();
  EXPECT_EQ(hearer.calls, 1);
  opener.join();
  one.reset();

  Hearer leaver(kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
  leaver.leavesInside = true;
  one = make("one");
  leaver.awaitCalls(1);
  leaver.leave();
  EXPECT_EQ(leaver.calls, 1);
}

}  // namespace
