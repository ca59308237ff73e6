// SPDX-License-Identifier: MIT

// Which device the default output is on while devices come and go, and who is told.

#include <memory>
#include <optional>
#include <semaphore>
#include <span>
#include <thread>

#include "Play.h"

namespace {

using AudioDevices::ScriptedDevice;

std::unique_ptr<ScriptedDevice> make(const std::string& name) {
  return std::make_unique<ScriptedDevice>(stereo(name));
}

AudioDeviceID defaultDevice() {
  AudioDeviceID id = kAudioObjectUnknown;
  readProperty(kAudioObjectSystemObject, kDefaultDevice, id);
  return id;
}

/// A sound that continues wherever the default output is.
class TheDefaultOutput : public testing::Test {
 protected:
  void startOn(ScriptedDevice& device) {
    ASSERT_EQ(writeProperty(kAudioObjectSystemObject, kDefaultDevice, device.id()), noErr);
    m_graph.emplace();
    m_source.startOn(*m_graph);
    goesOnWith(device);
  }
  void goesOnWith(ScriptedDevice& device) {
    EXPECT_EQ(defaultDevice(), device.id());
    EXPECT_TRUE(m_graph->isRunning());
    const Bytes more = played(device, {64});
    EXPECT_TRUE(std::ranges::equal(more, std::span(m_source.bytes).subspan(m_heard, more.size())));
    m_heard += more.size();
  }
  bool isRunning() { return m_graph->isRunning(); }

 private:
  Source m_source{AudioDevices::pcmInteger(48000, 2, 16), randomBytes(8 * 256)};
  std::optional<Graph> m_graph;
  std::size_t m_heard = 0;
};

TEST_F(TheDefaultOutput, standsInForWhatWasSetAndGoesBackToIt) {
  auto first = make("first");
  auto set = make("set");
  EXPECT_EQ(defaultDevice(), first->id());
  startOn(*set);
  set.reset();
  goesOnWith(*first);
  const auto other = make("other");
  goesOnWith(*first);
  set = make("set");
  goesOnWith(*set);
  first.reset();
  goesOnWith(*set);
  EXPECT_FALSE(other->cycle(64).ran);
}

TEST_F(TheDefaultOutput, standsInPlaceWithoutADevice) {
  auto only = make("only");
  startOn(*only);
  EXPECT_EQ(writeProperty(kAudioObjectSystemObject, kDefaultDevice, AudioDeviceID{1}),
            kAudioHardwareBadDeviceError);
  only.reset();
  EXPECT_FALSE(isRunning());
  AudioDeviceID id = kAudioObjectUnknown;
  EXPECT_EQ(readProperty(kAudioObjectSystemObject, kDefaultDevice, id),
            kAudioHardwareUnspecifiedError);
  const auto another = make("another");
  goesOnWith(*another);
}

/// Listens to a property; a call may be held up inside.
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
  void awaitCalls(int count) const {
    while (m_calls < count) {
      std::this_thread::yield();
    }
  }

  std::binary_semaphore gate{1};  // held: a call waits inside
  int calls = 0;  // plain: the sanitizer sees one that is not over when leave() has returned
  bool leavesInside = false;

 private:
  static OSStatus hear(AudioObjectID object, UInt32 count,
                       const AudioObjectPropertyAddress* addresses, void* context) {
    auto& self = *static_cast<Hearer*>(context);
    EXPECT_EQ(object, self.m_object);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(addresses->mSelector, self.m_address.mSelector);
    ++self.m_calls;
    self.gate.acquire();
    self.gate.release();
    ++self.calls;
    if (self.leavesInside) {
      self.leave();
    }
    return noErr;
  }

  const AudioObjectID m_object;
  const AudioObjectPropertyAddress m_address;
  std::atomic<int> m_calls{0};
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
  hearer.gate.acquire();
  auto one = make("one");
  hearer.awaitCalls(1);
  std::thread opener([&] { hearer.gate.release(); });
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
