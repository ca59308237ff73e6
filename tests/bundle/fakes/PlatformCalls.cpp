// SPDX-License-Identifier: MIT

// The C functions of the platform headers, on FakePlatform.

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

#include "AllocationWatch.h"
#include "FakePlatform.h"
#include "Journal.h"

namespace {

FakePlatform& platform() { return FakePlatform::instance(); }

void violation(const std::string& what) { Journal::instance().violation(what); }

FakeGraph* in(AUGraph graph) { return reinterpret_cast<FakeGraph*>(graph); }
FakeUnit* in(AudioUnit unit) { return reinterpret_cast<FakeUnit*>(unit); }

template <class... Args>
std::string text(const Args&... arguments) {
  std::ostringstream out;
  const char* separator = "";
  ((out << std::exchange(separator, ", ") << arguments), ...);
  return out.str();
}

/// 'dOut' and the like.
std::string codeText(UInt32 code) {
  std::string letters = "'....'";
  for (std::size_t i = 0; i < 4; ++i) {
    letters[4 - i] = static_cast<char>((code >> (8 * i)) & 0xFF);
  }
  return letters;
}

void nothing() {}

/// One call on a graph or a unit: its effect takes place unless it is scripted to fail, and must
/// be on something that is there. While it is under way other threads get a turn to end it wrongly.
template <class Handle, class Effect, class... Args>
OSStatus use(const char* function, Handle handle, Effect effect, const Args&... arguments) {
  AllocationWatch::Pause pause;
  if (handle == nullptr) {
    violation(std::string(function) + " on null");
    return kAudioUnitErr_InvalidElement;
  }
  ++in(handle)->callsInside;
  std::this_thread::yield();
  OSStatus status = platform().enter(function, text(in(handle)->name, arguments...));
  if (!in(handle)->alive) {
    violation(std::string(function) + " on a graph or unit that is not there");
    status = kAudioUnitErr_InvalidElement;
  } else if (status == noErr) {
    effect();
  }
  --in(handle)->callsInside;
  return status;
}

template <class... Args>
OSStatus enterProperty(const char* function, AudioObjectID object,
                       const AudioObjectPropertyAddress* address, UInt32 qualifierBytes,
                       const void* qualifier, const Args&... arguments) {
  if (qualifierBytes != 0 || qualifier != nullptr) {
    violation("a property call with a qualifier");
  }
  return platform().enter(function,
                          text(object, codeText(address->mSelector), codeText(address->mScope),
                               address->mElement, arguments...));
}

/// One call on a registered I/O procedure, between two cycles.
template <class Effect>
OSStatus useProc(const char* function, AudioObjectID device, AudioDeviceIOProcID id,
                 Effect effect) {
  AllocationWatch::Pause pause;
  const OSStatus status = platform().enter(function, text(device));
  auto* proc = reinterpret_cast<FakeIOProc*>(id);
  if (proc == nullptr || proc->destroyed || proc->device != device) {
    violation(std::string(function) + " of a procedure that is not there");
    return kAudioHardwareBadObjectError;
  }
  std::lock_guard cycle(platform().cycle());
  effect(*proc, status);
  return status;
}

void copyOut(const void* source, std::size_t held, void* target, UInt32* ioSize) {
  *ioSize = static_cast<UInt32>(std::min<std::size_t>(*ioSize, held));
  if (*ioSize != 0) {
    std::memcpy(target, source, *ioSize);
  }
}

}  // namespace

extern "C" {

OSStatus NewAUGraph(AUGraph* outGraph) {
  AllocationWatch::Pause pause;
  const OSStatus status = platform().enter("NewAUGraph", "");
  if (status == noErr) {
    *outGraph = reinterpret_cast<AUGraph>(platform().makeGraph());
  }
  return status;
}

OSStatus DisposeAUGraph(AUGraph graph) {
  AllocationWatch::Pause pause;
  const OSStatus status = platform().enter("DisposeAUGraph", in(graph)->name);
  std::lock_guard cycle(platform().cycle());
  if (in(graph)->disposed.exchange(true) || in(graph)->callsInside != 0) {
    violation("DisposeAUGraph of a graph that is not there or in use");
  }
  in(graph)->alive = in(graph)->unit.alive = in(graph)->running = false;
  return status;
}

OSStatus AUGraphAddNode(AUGraph graph, const AudioComponentDescription*, AUNode* outNode) {
  return use("AUGraphAddNode", graph, [&] { *outNode = 5; });
}

OSStatus AUGraphOpen(AUGraph graph) {
  return use("AUGraphOpen", graph, [&] { in(graph)->unit.alive = true; });
}

OSStatus AUGraphNodeInfo(AUGraph graph, AUNode node, AudioComponentDescription*,
                         AudioUnit* outUnit) {
  const auto effect = [&] { *outUnit = reinterpret_cast<AudioUnit>(&in(graph)->unit); };
  return use("AUGraphNodeInfo", graph, effect, node);
}

OSStatus AUGraphInitialize(AUGraph graph) { return use("AUGraphInitialize", graph, nothing); }

OSStatus AUGraphStart(AUGraph graph) {
  return use("AUGraphStart", graph, [&] { in(graph)->running = true; });
}

OSStatus AUGraphStop(AUGraph graph) {
  const OSStatus status = use("AUGraphStop", graph, nothing);
  std::lock_guard cycle(platform().cycle());
  in(graph)->running = false;
  return status;
}

OSStatus AUGraphIsRunning(AUGraph graph, Boolean* outIsRunning) {
  return use("AUGraphIsRunning", graph, [&] { *outIsRunning = in(graph)->running ? 1 : 0; });
}

OSStatus AUGraphClose(AUGraph graph) {
  const OSStatus status = use("AUGraphClose", graph, nothing);
  std::lock_guard cycle(platform().cycle());
  if (in(graph)->callsInside != 0 || in(graph)->unit.callsInside != 0) {
    violation("AUGraphClose while another call uses the graph or its unit");
  }
  in(graph)->alive = in(graph)->unit.alive = in(graph)->running = false;
  return status;
}

OSStatus AudioUnitGetPropertyInfo(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope,
                                  AudioUnitElement element, UInt32* outSize, Boolean*) {
  const auto effect = [&] {
    *outSize = static_cast<UInt32>(in(unit)->channelMap.size() * sizeof(SInt32));
  };
  return use("AudioUnitGetPropertyInfo", unit, effect, id, scope, element);
}

OSStatus AudioUnitGetProperty(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope,
                              AudioUnitElement element, void* outData, UInt32* ioSize) {
  const auto effect = [&] {
    const auto& map = in(unit)->channelMap;
    const auto& device = platform().currentDevice;
    if (id == kAudioOutputUnitProperty_CurrentDevice) {
      copyOut(device.data(), device.size(), outData, ioSize);
    } else {
      copyOut(map.data(), map.size() * sizeof(SInt32), outData, ioSize);
    }
  };
  return use("AudioUnitGetProperty", unit, effect, id, scope, element, *ioSize);
}

OSStatus AudioUnitSetProperty(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope,
                              AudioUnitElement element, const void* data, UInt32 bytes) {
  const auto effect = [&] {
    if (id == kAudioUnitProperty_StreamFormat && bytes == sizeof in(unit)->streamFormat) {
      std::memcpy(&in(unit)->streamFormat, data, bytes);
    } else if (id == kAudioUnitProperty_SetRenderCallback && bytes == sizeof in(unit)->callback) {
      std::memcpy(&in(unit)->callback, data, bytes);
    } else if (id == kAudioOutputUnitProperty_ChannelMap) {
      in(unit)->channelMap.resize(bytes / sizeof(SInt32));
      std::memcpy(in(unit)->channelMap.data(), data, bytes);
    } else {
      violation("a property of the unit that is unknown or of a wrong size is set");
    }
  };
  return use("AudioUnitSetProperty", unit, effect, id, scope, element, bytes);
}

OSStatus AudioUnitSetParameter(AudioUnit unit, AudioUnitParameterID id, AudioUnitScope scope,
                               AudioUnitElement element, AudioUnitParameterValue value,
                               UInt32 offsetFrames) {
  const auto effect = [&] { in(unit)->volume = value; };
  return use("AudioUnitSetParameter", unit, effect, id, scope, element, value, offsetFrames);
}

OSStatus AudioUnitGetParameter(AudioUnit unit, AudioUnitParameterID id, AudioUnitScope scope,
                               AudioUnitElement element, AudioUnitParameterValue* value) {
  const auto effect = [&] { *value = in(unit)->volume; };
  return use("AudioUnitGetParameter", unit, effect, id, scope, element);
}

OSStatus AudioUnitReset(AudioUnit unit, AudioUnitScope scope, AudioUnitElement element) {
  return use("AudioUnitReset", unit, nothing, scope, element);
}

OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object,
                                        const AudioObjectPropertyAddress* address,
                                        UInt32 qualifierBytes, const void* qualifier,
                                        UInt32* outSize) {
  AllocationWatch::Pause pause;
  const OSStatus status =
      enterProperty("AudioObjectGetPropertyDataSize", object, address, qualifierBytes, qualifier);
  const auto& properties = platform().properties;
  const auto property = properties.find({object, address->mSelector, address->mScope});
  if (property == properties.end()) {
    return kAudioHardwareUnknownPropertyError;
  }
  if (status == noErr) {
    const auto& announced = platform().announcedSizes;
    const auto told = announced.find(address->mSelector);
    *outSize =
        told != announced.end() ? told->second : static_cast<UInt32>(property->second.size());
  }
  return status;
}

OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                    UInt32 qualifierBytes, const void* qualifier, UInt32* ioSize,
                                    void* outData) {
  AllocationWatch::Pause pause;
  const OSStatus status =
      enterProperty("AudioObjectGetPropertyData", object, address, qualifierBytes, qualifier);
  if (status == noErr) {
    const Bytes& value = platform().properties[{object, address->mSelector, address->mScope}];
    copyOut(value.data(), value.size(), outData, ioSize);
  }
  return status;
}

OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                    UInt32 qualifierBytes, const void* qualifier, UInt32 bytes,
                                    const void* data) {
  AllocationWatch::Pause pause;
  const OSStatus status = enterProperty("AudioObjectSetPropertyData", object, address,
                                        qualifierBytes, qualifier, bytes);
  if (status == noErr) {
    const auto* first = static_cast<const std::uint8_t*>(data);
    platform().properties[{object, address->mSelector, address->mScope}].assign(first,
                                                                                first + bytes);
  }
  return status;
}

OSStatus AudioDeviceCreateIOProcID(AudioObjectID device, AudioDeviceIOProc procedure,
                                   void* clientData, AudioDeviceIOProcID* outId) {
  AllocationWatch::Pause pause;
  const OSStatus status = platform().enter("AudioDeviceCreateIOProcID", text(device));
  if (status == noErr) {
    *outId = reinterpret_cast<AudioDeviceIOProcID>(
        platform().addIOProc({device, procedure, clientData}));
  }
  return status;
}

OSStatus AudioDeviceDestroyIOProcID(AudioObjectID device, AudioDeviceIOProcID id) {
  return useProc("AudioDeviceDestroyIOProcID", device, id, [](FakeIOProc& proc, OSStatus) {
    proc.running = false;
    proc.destroyed = true;
  });
}

OSStatus AudioDeviceStart(AudioObjectID device, AudioDeviceIOProcID id) {
  return useProc("AudioDeviceStart", device, id,
                 [](FakeIOProc& proc, OSStatus status) { proc.running = status == noErr; });
}

OSStatus AudioDeviceStop(AudioObjectID device, AudioDeviceIOProcID id) {
  return useProc("AudioDeviceStop", device, id,
                 [](FakeIOProc& proc, OSStatus) { proc.running = false; });
}

}  // extern "C"
