// SPDX-License-Identifier: MIT

#pragma once

#include <AudioToolbox/AudioToolbox.h>
#include <AudioUnit/AudioUnit.h>
#include <CoreAudio/CoreAudio.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <optional>

#include "feed/ComponentLock.h"
#include "feed/Feeder.h"
#include "host/TavroCore.h"
#include "output/AudioOutput.h"

namespace Tavro {

/// The audio output of the platform. PCM plays through a graph of one default output unit, whose
/// render callback drains the buffer queue in step with the graph clock; AC-3 bursts pass unchanged
/// through an I/O procedure of the default output device. Only a property write on the input port
/// builds the output.
///
/// The feeder thread lives from construction to destruction and sleeps while there is nothing to
/// do. The destructor joins it, releases everything that is still registered with the platform, and
/// then destroys the port.
class CoreAudioOutput : public AudioOutput<CoreAudioOutput> {
 public:
  class CoreAudioPort;

  explicit CoreAudioOutput(PluginContext* context);
  ~CoreAudioOutput() override;

  void settingChanged(const Setting& setting, _Variant* value) override;
  std::uint8_t getVolume() override;
  bool setVolume(std::uint8_t volume) override;
  bool isRunning() override;
  bool getSupportedFormats(SettingsInterface* settings, MediaType mediaType, DataModel dataModel,
                           PortType portType, FormatList* formats) override;

 private:
  class GraphUse;

  void setInputPort(AudioPort* port) override;
  AudioPort* getInputPort() override;

  // Life cycle of the output. [host-thread]
  OSStatus buildGraph(bool passthrough) TAVRO_REQUIRES(m_configLock);
  OSStatus teardown();
  OSStatus reset();
  OSStatus start();
  OSStatus stop();

  bool fillStreamFormat() TAVRO_REQUIRES(m_configLock);
  OSStatus buildPcmGraph() TAVRO_REQUIRES(m_configLock);
  OSStatus setUpUnit(AudioUnit unit) TAVRO_REQUIRES(m_configLock);
  void swapSurroundPairs(AudioUnit unit);
  void endPassthrough();

  // The platform's callbacks; their reference value is the component. [render-thread]
  static OSStatus onRender(void* self, AudioUnitRenderActionFlags* flags,
                           const AudioTimeStamp* time, UInt32 bus, UInt32 frames,
                           AudioBufferList* data);
  static OSStatus onDeviceCycle(AudioObjectID device, const AudioTimeStamp* now,
                                const AudioBufferList* input, const AudioTimeStamp* inputTime,
                                AudioBufferList* output, const AudioTimeStamp* outputTime,
                                void* self);

  OSStatus startPassthrough() TAVRO_REQUIRES(m_configLock);
  bool selectPhysicalFormat() TAVRO_REQUIRES(m_configLock);
  bool selectFormatOfStream(AudioStreamID stream) TAVRO_REQUIRES(m_configLock);
  void savePhysicalFormat() TAVRO_REQUIRES(m_configLock);
  OSStatus setPhysicalFormat(const AudioStreamBasicDescription& format);

  void applySessionVolume() TAVRO_REQUIRES(m_configLock);
  std::uint32_t maximumChannels();

  /// Reads one property into a block from malloc(), which the caller must free(). Returns its size
  /// in bytes, or 0 after any failure, with `*data` null or unchanged.
  UInt32 readObjectProperty(AudioObjectID object, AudioObjectPropertySelector selector,
                            AudioObjectPropertyScope scope, void** data);

  CoreAudioPort* m_port = nullptr;  // owned; destroyed last, when no thread can access it

  std::atomic<bool> m_passthroughActive{false};
  AudioDeviceIOProcID m_ioProcId = nullptr;
  UInt32 m_outputStreamIndex = 0;  // written before the I/O procedure exists
  std::optional<AudioStreamBasicDescription> m_savedPhysicalFormat;  // empty: nothing to restore
  AudioStreamID m_outputStreamId = kAudioObjectUnknown;

  // Set once the graph is built and cleared before it is disposed of, both under m_graphLock. Calls
  // on them are made within a GraphUse. m_graph is also compared with null without the lock.
  std::atomic<AUGraph> m_graph{nullptr};
  AudioUnit m_outputUnit TAVRO_GUARDED_BY(m_graphLock) = nullptr;
  AUNode m_outputNode = 0;
  std::uint32_t m_graphUses TAVRO_GUARDED_BY(m_graphLock) = 0;
  std::condition_variable_any m_graphFree;  // the last use of a cleared graph has ended

  AudioStreamBasicDescription m_streamFormat{};  // constant while callbacks can come
  AudioDeviceID m_deviceId = kAudioObjectUnknown;

  // The port's connection and the configuration
  ComponentMutex m_configLock TAVRO_BEFORE(m_graphLock, m_feed.m_queueLock, m_feed.m_clockLock);
  ComponentMutex m_graphLock;  // the handles of the graph and the unit, and their uses

  // The number of announced volumes, with the last volume in the low byte.
  std::atomic<std::uint32_t> m_announcedVolume{0};

  Feeder m_feeder{m_feed, m_configLock};
};

/// The input port: passes the host's writes, queries and events to the owner. [host-thread]
class CoreAudioOutput::CoreAudioPort : public AudioOutput<CoreAudioOutput>::AudioPort {
 public:
  explicit CoreAudioPort(CoreAudioOutput* owner) : AudioPort(owner) {}

  bool checkEvent(unsigned id, _Variant* value) override;
  bool sendEvent(unsigned id, _Variant* value) override;
  bool readQuery(unsigned id, _Variant* value) override;
  bool writeQuery(unsigned id, _Variant* value) override;

  // The mode of the last valid write
  bool m_passthrough TAVRO_GUARDED_BY(m_owner->m_configLock) = false;

 private:
  bool configure(_Variant* value, bool passthrough);
  bool isReady();
  void connect(PortInterface* peer);
  void disconnect();
};

/// Keeps the graph and its unit from being disposed of while it lives: teardown waits for it. It
/// holds no lock meanwhile, so that a call of the platform may wait for a render call, which may
/// query the time base. [any-thread]
class CoreAudioOutput::GraphUse {
 public:
  explicit GraphUse(CoreAudioOutput& owner);
  ~GraphUse();
  GraphUse(const GraphUse&) = delete;
  GraphUse& operator=(const GraphUse&) = delete;

  AUGraph graph() const { return m_graph; }  // null if there is none
  AudioUnit unit() const { return m_unit; }  // null if graph() is

 private:
  CoreAudioOutput& m_owner;
  AUGraph m_graph = nullptr;
  AudioUnit m_unit = nullptr;
};

}  // namespace Tavro
