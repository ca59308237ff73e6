#pragma once

#include <AudioToolbox/AudioToolbox.h>
#include <AudioUnit/AudioUnit.h>
#include <CoreAudio/CoreAudio.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// A graph's output unit as the fake keeps it; alive from AUGraphOpen to AUGraphClose.
struct FakeUnit {
  std::string name;
  std::atomic<bool> alive{false};
  std::atomic<int> callsInside{0};
  AudioStreamBasicDescription streamFormat{};
  AURenderCallbackStruct callback{};
  std::vector<SInt32> channelMap;
  std::atomic<float> volume{-1.0F};  // -1: never set
};

struct FakeGraph {
  std::string name;
  std::atomic<bool> disposed{false};
  std::atomic<bool> closed{false};
  std::atomic<bool> running{false};
  std::atomic<int> callsInside{0};
  FakeUnit unit;
};

/// One registration of an I/O procedure.
struct FakeIOProc {
  AudioObjectID device = 0;
  AudioDeviceIOProc procedure = nullptr;
  void* clientData = nullptr;
  bool running = false;
  bool destroyed = false;
};

/// The audio service in front of the bundle: every C function of the three platform headers, with
/// scripted results. Each call goes to the Journal as "Function(arguments)". A call on a graph or
/// unit that is gone, and one that ends it while another call is inside, are violations; so is an
/// object destroyed twice. A scripted failure of a call that ends something ends it all the same.
/// [any-thread]
class FakePlatform {
 public:
  static FakePlatform& instance();
  void reset();  // nothing registered, nothing scripted, one stereo device

  // The script.
  void fail(const std::string& function, OSStatus status, unsigned nth = 1);  // counted from now
  void failCall(unsigned nth, OSStatus status);  // the n-th call of any function from now
  void onCall(const std::string& function, std::function<void()> hook);  // inside each call
  void clearScript();
  std::vector<SInt32> channelMap{0, 1};
  OSStatus channelMapWriteStatus = noErr;
  std::vector<std::uint8_t> currentDevice;  // bytes that the unit answers

  // Properties of objects, as bytes.
  void setProperty(AudioObjectID object, UInt32 selector, UInt32 scope, const void* data,
                   std::size_t bytes);
  template <class T>
  void setProperty(AudioObjectID object, UInt32 selector, UInt32 scope,
                   const std::vector<T>& values) {
    setProperty(object, selector, scope, values.data(), values.size() * sizeof(T));
  }
  void removeProperty(AudioObjectID object, UInt32 selector, UInt32 scope);
  std::vector<std::uint8_t> property(AudioObjectID object, UInt32 selector, UInt32 scope);
  void announceSize(UInt32 selector, UInt32 bytes);  // what DataSize answers instead
  void setDefaultDevice(AudioDeviceID device);
  void setLayout(AudioDeviceID device, AudioChannelLayoutTag tag,
                 const std::vector<AudioChannelLabel>& labels = {});

  // What there is.
  FakeGraph* liveGraph();  // the newest that is not disposed of; null: none
  FakeGraph* newestGraph() const { return m_newestGraph; }  // takes no lock; null: none yet
  unsigned liveGraphs();
  unsigned liveIOProcs();
  FakeIOProc* ioProc();                       // the newest that is not destroyed
  unsigned calls() const { return m_calls; }  // since reset

  /// A thread that plays the device's part calls under this; stop, close and destroy wait for it.
  std::recursive_mutex& cycle() { return m_cycle; }

  // For the C functions.
  OSStatus enter(const char* function, const std::string& arguments);
  FakeGraph* makeGraph();
  UInt32 addIOProc(const FakeIOProc& proc);
  FakeIOProc* findIOProc(AudioDeviceIOProcID id);
  UInt32 announcedSize(UInt32 selector, UInt32 bytes);
  bool hasProperty(AudioObjectID object, UInt32 selector, UInt32 scope);

 private:
  using Address = std::array<UInt32, 3>;

  std::mutex m_lock;
  std::recursive_mutex m_cycle;
  std::map<std::string, std::map<unsigned, OSStatus>> m_failures;  // by count of the function
  std::map<std::string, unsigned> m_counts;
  std::map<unsigned, OSStatus> m_failuresByNumber;
  std::map<std::string, std::function<void()>> m_hooks;
  std::map<Address, std::vector<std::uint8_t>> m_properties;
  std::map<UInt32, UInt32> m_announcedSizes;
  std::deque<std::unique_ptr<FakeGraph>> m_graphs;  // the dead ones too
  std::deque<FakeIOProc> m_ioProcs;
  std::atomic<FakeGraph*> m_newestGraph{nullptr};
  std::atomic<unsigned> m_calls{0};
};

/// 'dOut' and the like; numbers below 0x01000000 in decimal.
std::string codeText(UInt32 code);
