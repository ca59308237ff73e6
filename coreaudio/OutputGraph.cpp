// SPDX-License-Identifier: MIT

#include <cstddef>
#include <cstdlib>
#include <utility>

#include "coreaudio/Block.h"
#include "coreaudio/CoreAudioOutput.h"
#include "feed/Callbacks.h"

// Life cycle of the output. The PCM path is a graph of one node, the default output unit. The
// host's thread builds it and tears it down under m_configLock, or by the port's events. The
// handles are published when the graph is built. Teardown clears them under m_graphLock, waits for
// the calls that use them, and then disposes of the graph; closing it returns when no callback is
// running and none will come. No call that can wait for a callback is made under m_graphLock, which
// the time base needs.

namespace Tavro {
namespace {

constexpr AudioComponentDescription kDefaultOutputUnit = {
    kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput, kAudioUnitManufacturer_Apple, 0, 0};

constexpr OSStatus kUnexpectedSize = -1;

/// Returns when no callback of the graph is running and none will come. Does nothing for null.
void disposeOf(AUGraph graph) {
  if (graph != nullptr) {
    AUGraphClose(graph);
    DisposeAUGraph(graph);
  }
}

}  // namespace

OSStatus CoreAudioOutput::buildGraph(bool passthrough) {
  m_feed.m_synced = false;
  m_feed.forgetLastCallback();
  m_feed.m_playing = false;
  if (passthrough) {
    return startPassthrough();
  }
  const OSStatus status =
      fillStreamFormat() ? buildPcmGraph() : OSStatus{kAudioUnitErr_FormatNotSupported};
  if (status != noErr) {
    teardown();
  }
  return status;
}

/// Describes what the render callback will produce. Returns false without a connection, which
/// provides the format code. The unit decides whether it can play the format.
bool CoreAudioOutput::fillStreamFormat() {
  m_streamFormat = {};
  if (m_port->m_format == nullptr) {
    return false;
  }
  const AudioProperties& properties = m_port->m_properties;
  const std::uint32_t code = m_port->m_format->formatCode;
  const bool isFloat = code == FormatCode::kFloat;

  m_streamFormat.mFormatFlags =
      kAudioFormatFlagIsPacked |
      (isFloat ? kAudioFormatFlagIsFloat : kAudioFormatFlagIsSignedInteger);
  if (code == FormatCode::kBigEndian) {
    m_streamFormat.mFormatFlags |= kAudioFormatFlagIsBigEndian;
  }
  m_streamFormat.mBitsPerChannel = isFloat ? 32 : properties.m_bitsPerSample;
  m_streamFormat.mFormatID = kAudioFormatLinearPCM;
  m_streamFormat.mSampleRate = properties.m_sampleRate;
  m_streamFormat.mChannelsPerFrame = properties.m_channels;
  m_streamFormat.mBytesPerFrame = properties.m_channels * (m_streamFormat.mBitsPerChannel / 8);
  m_streamFormat.mBytesPerPacket = m_streamFormat.mBytesPerFrame;
  m_streamFormat.mFramesPerPacket = 1;

  m_feed.setBytesPerSecond(properties.m_sampleRate * properties.m_channels *
                           (m_streamFormat.mBitsPerChannel / 8));
  return true;
}

OSStatus CoreAudioOutput::buildPcmGraph() {
  AUGraph graph = nullptr;
  AudioUnit unit = nullptr;
  OSStatus status = NewAUGraph(&graph);
  if (status == noErr) status = AUGraphAddNode(graph, &kDefaultOutputUnit, &m_outputNode);
  if (status == noErr) status = AUGraphOpen(graph);
  if (status == noErr) status = AUGraphNodeInfo(graph, m_outputNode, nullptr, &unit);
  if (status == noErr) status = AUGraphInitialize(graph);
  if (status == noErr) status = setUpUnit(unit);
  if (status != noErr) {
    disposeOf(graph);
    return status;
  }
  const ComponentLock lock(m_graphLock);
  m_graph = graph;
  m_outputUnit = unit;
  return noErr;
}

OSStatus CoreAudioOutput::onRender(void* self, AudioUnitRenderActionFlags* flags,
                                   const AudioTimeStamp* /*time*/, UInt32 /*bus*/, UInt32 frames,
                                   AudioBufferList* data) {
  auto& output = *static_cast<CoreAudioOutput*>(self);
  renderPcm(output.m_feed, {output.m_streamFormat, output.m_port->m_peer}, flags, frames, data);
  return noErr;
}

/// Sets the unit's format, callback and channel map, and reads its device.
OSStatus CoreAudioOutput::setUpUnit(AudioUnit unit) {
  OSStatus status =
      AudioUnitSetProperty(unit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0,
                           &m_streamFormat, sizeof m_streamFormat);
  if (status == noErr) {
    const AURenderCallbackStruct callback = {onRender, this};
    status = AudioUnitSetProperty(unit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input,
                                  0, &callback, sizeof callback);
  }
  if (status != noErr) {
    return status;
  }
  UInt32 size = sizeof m_deviceId;
  status = AudioUnitGetProperty(unit, kAudioOutputUnitProperty_CurrentDevice,
                                kAudioUnitScope_Global, 0, &m_deviceId, &size);
  if (status != noErr) {
    return status;
  }
  if (size != sizeof m_deviceId) {
    return kUnexpectedSize;
  }
  swapSurroundPairs(unit);
  return noErr;
}

/// A device of eight or more channels has its side pair before its rear pair, the stream has them
/// the other way round. On failure the unit keeps its own map.
void CoreAudioOutput::swapSurroundPairs(AudioUnit unit) {
  UInt32 size = 0;
  if (AudioUnitGetPropertyInfo(unit, kAudioOutputUnitProperty_ChannelMap, kAudioUnitScope_Output, 0,
                               &size, nullptr) != noErr ||
      size / sizeof(SInt32) < 8) {
    return;
  }
  const Block<SInt32> map(static_cast<SInt32*>(std::calloc(1, size)));
  UInt32 sizeRead = size;
  if (map == nullptr ||
      AudioUnitGetProperty(unit, kAudioOutputUnitProperty_ChannelMap, kAudioUnitScope_Output, 0,
                           map.get(), &sizeRead) != noErr) {
    return;
  }
  SInt32* entries = map.get();
  entries[4] = 6;
  entries[5] = 7;
  entries[6] = 4;
  entries[7] = 5;
  AudioUnitSetProperty(unit, kAudioOutputUnitProperty_ChannelMap, kAudioUnitScope_Output, 0,
                       entries, size);
}

CoreAudioOutput::GraphUse::GraphUse(CoreAudioOutput& owner) : m_owner(owner) {
  const ComponentLock lock(owner.m_graphLock);
  m_graph = owner.m_graph;
  m_unit = owner.m_outputUnit;
  owner.m_graphUses += m_graph != nullptr ? 1 : 0;
}

CoreAudioOutput::GraphUse::~GraphUse() {
  if (m_graph == nullptr) {
    return;
  }
  const ComponentLock lock(m_owner.m_graphLock);
  if (--m_owner.m_graphUses == 0 && m_owner.m_graph == nullptr) {
    m_owner.m_graphFree.notify_all();
  }
}

OSStatus CoreAudioOutput::teardown() {
  AUGraph graph = nullptr;
  {
    const ComponentLock lock(m_graphLock);
    graph = m_graph.exchange(nullptr);
    m_outputUnit = nullptr;
    while (m_graphUses != 0) {
      m_graphFree.wait(m_graphLock);
    }
  }
  disposeOf(graph);
  m_feed.m_playing = false;
  m_outputNode = 0;
  if (m_passthroughActive) {
    endPassthrough();
  }
  m_deviceId = kAudioObjectUnknown;
  m_feed.m_synced = false;
  m_feed.forgetLastCallback();
  m_streamFormat = {};
  const ComponentLock lock(m_configLock);
  m_feed.clearQueue();
  return noErr;
}

OSStatus CoreAudioOutput::reset() {
  if (const GraphUse use(*this); use.graph() != nullptr) {
    AudioUnitReset(use.unit(), kAudioUnitScope_Input, 0);
  }
  m_feed.m_playing = false;
  const ComponentLock lock(m_configLock);
  m_feed.clearQueue();
  m_feed.m_synced = false;
  m_feed.forgetLastCallback();
  return noErr;
}

OSStatus CoreAudioOutput::stop() {
  if (const GraphUse use(*this); use.graph() != nullptr) {
    m_feed.m_playing = false;
    m_feed.forgetLastCallback();
    AUGraphStop(use.graph());
    m_feed.forgetLastCallback();  // a last callback may have come before the graph stopped
  }
  return noErr;
}

OSStatus CoreAudioOutput::start() {
  if (const GraphUse use(*this); use.graph() != nullptr) {
    m_feed.m_playing = true;
    AUGraphStart(use.graph());
  }
  return noErr;
}

}  // namespace Tavro
