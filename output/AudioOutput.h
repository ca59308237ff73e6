#pragma once

#include <boost/thread/recursive_mutex.hpp>
#include <boost/thread/thread_only.hpp>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <list>
#include <map>
#include <vector>

#include "feed/BufferQueue.h"
#include "host/TavroCore.h"
#include "output/Settings.h"

namespace Tavro {

/// The generic audio output component: what the host sees of an output (lookup, create and destroy
/// in a session, information entries, the attachment of an upstream stream) and the state that
/// feeding and rendering share. It plays nothing by itself; `T` derives from it and adds a device.
///
/// Life: made by getPlugin(); create() with the session; connectInput() hands out the input port,
/// through which everything else is driven; disconnectInput(); destroy(); the host deletes it.
/// The host owns it. It borrows the session, its clock and the upstream objects.
///
/// Threads: [host-thread] whichever thread the host drives it on, one call at a time;
/// [feeder-thread] the component's own worker; [render-thread] the audio service's, never two calls
/// at once for a component; [any-thread] all of them.
///
/// Locks, all recursive: m_configLock (of the device's class) before m_graphLock (there too) or
/// m_queueLock; m_queueLock, m_clockLock and m_graphLock are never held while another is taken. The
/// render thread takes m_queueLock and m_clockLock only, each for a short block.
template <class T>
class AudioOutput : public Plugin,
                    public OutputComponent,
                    public SettingConsumer,
                    public TimeBaseInterface {
 public:
  class AudioPort;

  /// `name` is shown to people, `type` is the category; both are copied.
  AudioOutput(PluginContext* context, const wchar_t* name, const char* type);
  ~AudioOutput() override;

  std::uint32_t queryInterface(const NarrowString& id, void** out) override;  // [any-thread]

  // The component in its session. [host-thread]
  bool create(GraphSessionInterface* session) override;
  bool destroy() override;
  void settingChanged(const Setting& setting, _Variant* value) override;

  /// A string entry stays readable for the component's life, even when it has been replaced.
  bool getInfoKeys(std::vector<const char*>* keys) override;  // [any-thread]
  bool getInfo(const char* key, _Variant* out) override;      // [any-thread]

  PortInterface* connectInput(MediaType mediaType, const FormatDescriptor* format,
                              StreamSource* source) override;  // [host-thread]
  bool disconnectInput(PortInterface* port) override;          // [host-thread]
  bool sendEvent(unsigned id, _Variant* value) override;       // [host-thread]

  /// Percent, 0 to 100; above that counts as 100. [host-thread]
  virtual std::uint8_t getVolume();
  virtual bool setVolume(std::uint8_t volume);

  // The time base: how much has been handed to the device, in milliseconds. [host-thread]
  std::uint32_t timeBasePriority() override;
  std::uint32_t currentTime() override;
  bool isRunning() override;

 protected:
  virtual bool onCreate();
  virtual void onDestroy();
  virtual void setInputPort(AudioPort* port);
  virtual AudioPort* getInputPort();

  // The buffer queue, each under m_queueLock. See BufferQueue for what a taken front is.
  std::uint32_t queuedCount();                                      // [any-thread]
  bool pushBack(const QueuedBuffer& record, std::uint32_t clears);  // [feeder-thread]; false: not
                                                                    // queued, cleared since then
  bool takeFront(QueuedBuffer& record);                             // [render-thread]
  bool popFront();                                                  // [render-thread]
  bool popFrontAndTakeNext(QueuedBuffer& next);  // [render-thread]; `next` empty: no more
  bool putBackFront(QueuedBuffer& record);       // [render-thread]; else releases it
  void clearQueue();                             // [host-thread]

  std::uint32_t graphTime() const;  // milliseconds [any-thread]
  void reportBuffer(std::uint32_t streamId, std::uint32_t state,
                    MediaBuffer* buffer);  // [any-thread]
  const WideString& bitsPerSampleText(
      std::uint32_t bits);                            // may throw; [host-thread], one at a time
  void publishBitsPerSample(const WideString& text);  // of bitsPerSampleText()
  void forgetLastCallback();                          // [host-thread]

  // Set by the host's calls while nothing plays; read by the feeder and the render thread. The
  // feeder may still have a buffer in hand when the host leaves the session: it raises the flag
  // around its use of the two, and destroy() waits until it is down.
  std::atomic<GraphSessionInterface*> m_session{nullptr};
  std::atomic<std::uint32_t> m_streamId{0xFFFFFFFF};
  PortInterface* m_connectedPort = nullptr;
  std::atomic<SessionClock*> m_clock{nullptr};
  std::atomic<bool> m_feederUsesSession{false};

  struct KeyOrder {
    bool operator()(const char* a, const char* b) const { return std::strcmp(a, b) < 0; }
  };
  struct InfoEntry {
    std::uint8_t type;
    std::atomic<std::uintptr_t> value;  // replaced by one store
  };
  std::map<const char*, InfoEntry, KeyOrder> m_info;  // the set of entries is constant

  // Made once, so that no allocation can fail while a session or a stream is set up.
  const Setting m_volumeSetting = audioSetting(kVolumeName);
  const Setting m_maximumChannelsSetting = audioSetting(kMaximumChannelsName);

  std::atomic<bool> m_playing{false};  // the feeder pulls only while it is set

  boost::recursive_mutex m_clockLock;
  boost::thread* m_thread = nullptr;  // the feeder; the derived class starts and joins it

  boost::recursive_mutex m_queueLock;
  BufferQueue m_queue;                     // guarded by m_queueLock
  std::atomic<std::uint32_t> m_clears{0};  // of the queue; changed under m_queueLock

  std::uint32_t m_bytesPerSecond = 0;    // guarded by m_clockLock
  std::uint64_t m_bytesRendered = 0;     // since construction; guarded by m_clockLock
  std::uint32_t m_lastEndTime = 0;       // milliseconds; render thread only
  std::atomic<bool> m_synced{false};     // buffers follow one another, the clock is not asked
  std::uint64_t m_lastCallbackTime = 0;  // GetTimeMS(), 0: none; guarded by m_clockLock
  std::uint32_t m_maxChannels = 0;

 private:
  const WideString& keep(const wchar_t* text);
  void publish(const char* key, const WideString& text);

  NarrowString m_category;
  std::list<WideString> m_texts;  // every wide text ever handed out by m_info
};

/// The generic input port: the connection and the stream's properties. Owned by its component.
template <class T>
class AudioOutput<T>::AudioPort : public PortInterface {
 public:
  explicit AudioPort(T* owner) : m_owner(owner) {}

  /// Answers the channel limit of the settings for PortQuery::kMaximumChannels. [host-thread]
  bool readQuery(unsigned id, _Variant* value) override;

  // Written under the owner's m_configLock; the feeder and the render thread also look at it to
  // see whether anything is connected, without using it.
  std::atomic<PortInterface*> m_peer{nullptr};
  const FormatDescriptor* m_format = nullptr;  // of the connection, borrowed [host-thread]
  AudioProperties m_properties;                // of the last write that changed them
  T* m_owner;
};

}  // namespace Tavro
