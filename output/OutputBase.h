// SPDX-License-Identifier: MIT

#pragma once

#include <boost/thread/thread_only.hpp>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <list>
#include <map>
#include <vector>

#include "feed/Feed.h"
#include "host/TavroCore.h"
#include "output/Settings.h"

namespace Tavro {

/// The part of an audio output that does not depend on the device: interface lookup, create and
/// destroy in a session, information entries, settings and the time base.
///
/// Life cycle: getPlugin() makes it; create() attaches it to the session; connectInput() returns
/// the input port, which controls everything else; disconnectInput(); destroy(); the host deletes
/// it. The host owns it. It borrows the session, its clock and the upstream objects.
///
/// See Feed for the threads and the locks of queue and counters. All locks are recursive; the
/// derived class takes its m_configLock before its m_graphLock and before m_queueLock.
class OutputBase : public Plugin,
                   public OutputComponent,
                   public SettingConsumer,
                   public TimeBaseInterface {
 public:
  /// `name` is the display name, `type` the category; both are copied.
  OutputBase(PluginContext* context, const wchar_t* name, const char* type);
  ~OutputBase() override;

  std::uint32_t queryInterface(const NarrowString& id, void** out) override;  // [any-thread]

  // The component in its session. [host-thread]
  bool create(GraphSessionInterface* session) override;
  bool destroy() override;
  void settingChanged(const Setting& setting, _Variant* value) override;

  /// A string entry stays readable for the component's life, even after it has been replaced.
  bool getInfoKeys(std::vector<const char*>* keys) override;  // [any-thread]
  bool getInfo(const char* key, _Variant* out) override;      // [any-thread]

  bool disconnectInput(PortInterface* port) override;     // [host-thread]
  bool sendEvent(unsigned id, _Variant* value) override;  // [host-thread]

  /// Percent, 0 to 100; higher values count as 100. [host-thread]
  virtual std::uint8_t getVolume();
  virtual bool setVolume(std::uint8_t volume);

  // The time base: the time handed to the device so far, in milliseconds. [host-thread]
  std::uint32_t timeBasePriority() override;
  std::uint32_t currentTime() override;
  bool isRunning() override;

 protected:
  virtual bool onCreate();
  virtual void onDestroy();

  const WideString& bitsPerSampleText(
      std::uint32_t bits);                            // may throw; [host-thread], one at a time
  void publishBitsPerSample(const WideString& text);  // from bitsPerSampleText()

  Feed m_feed;
  boost::thread* m_thread = nullptr;  // the feeder; the derived class starts and joins it
  PortInterface* m_connectedPort = nullptr;
  std::uint32_t m_maxChannels = 0;

  struct KeyOrder {
    bool operator()(const char* a, const char* b) const { return std::strcmp(a, b) < 0; }
  };
  struct InfoEntry {
    std::uint8_t type;
    std::atomic<std::uintptr_t> value;  // replaced by a single store
  };
  std::map<const char*, InfoEntry, KeyOrder> m_info;  // the set of entries is constant

  // Constructed once, so that no allocation can fail while a session or a stream is set up.
  const Setting m_volumeSetting = audioSetting(kVolumeName);
  const Setting m_maximumChannelsSetting = audioSetting(kMaximumChannelsName);

 private:
  const WideString& keep(const wchar_t* text);
  void publish(const char* key, const WideString& text);

  NarrowString m_category;
  std::list<WideString> m_texts;  // every wide text that m_info ever held
};

}  // namespace Tavro
