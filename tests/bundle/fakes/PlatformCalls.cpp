// The C functions of the platform headers, on FakePlatform.

#include <algorithm>
#include <cstring>
#include <string>
#include <thread>

#include "AllocationWatch.h"
#include "FakePlatform.h"
#include "Journal.h"

namespace {

FakePlatform& platform() { return FakePlatform::instance(); }

void violation(const std::string& what) { Journal::instance().violation(what); }

FakeGraph* in(AUGraph graph) { return reinterpret_cast<FakeGraph*>(graph); }
FakeUnit* in(AudioUnit unit) { return reinterpret_cast<FakeUnit*>(unit); }

std::string text(AUGraph graph) { return graph != nullptr ? in(graph)->name : "no graph"; }
std::string text(AudioUnit unit) { return unit != nullptr ? in(unit)->name : "no unit"; }

std::string list() { return ""; }
template <class First, class... Rest>
std::string list(const First& first, const Rest&... rest) {
  std::string head;
  if constexpr (std::is_arithmetic_v<First>) {
    head = std::to_string(first);
  } else {
    head = first;
  }
  return sizeof...(rest) == 0 ? head : head + ", " + list(rest...);
}

/// Marks a call under way on a graph or unit, and widens the window in which another thread can
/// end it wrongly.
template <class Object>
class Inside {
 public:
  explicit Inside(Object* object) : m_object(object) {
    if (m_object != nullptr) {
      ++m_object->callsInside;
      std::this_thread::yield();
    }
  }
  ~Inside() {
    if (m_object != nullptr) {
      --m_object->callsInside;
    }
  }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;

 private:
  Object* m_object;
};

bool usable(AUGraph graph, const char* function) {
  const bool good = graph != nullptr && !in(graph)->disposed && !in(graph)->closed;
  if (!good) {
    violation(std::string(function) + " on a graph that is not there");
  }
  return good;
}

bool usable(AudioUnit unit, const char* function) {
  const bool good = unit != nullptr && in(unit)->alive;
  if (!good) {
    violation(std::string(function) + " on a unit that is not there");
  }
  return good;
}

OSStatus simpleGraphCall(AUGraph graph, const char* function) {
  Inside<FakeGraph> inside(in(graph));
  const OSStatus status = platform().enter(function, text(graph));
  return usable(graph, function) ? status : kAUGraphErr_NodeNotFound;
}

std::string addressText(AudioObjectID object, const AudioObjectPropertyAddress* address) {
  return list(object, codeText(address->mSelector), codeText(address->mScope), address->mElement);
}

void qualifierMustBeEmpty(UInt32 bytes, const void* data) {
  if (bytes != 0 || data != nullptr) {
    violation("a property call with a qualifier");
  }
}

}  // namespace

extern "C" {

OSStatus NewAUGraph(AUGraph* outGraph) {
  const OSStatus status = platform().enter("NewAUGraph", "");
  if (status == noErr) {
    *outGraph = reinterpret_cast<AUGraph>(platform().makeGraph());
  }
  return status;
}

OSStatus DisposeAUGraph(AUGraph graph) {
  const OSStatus status = platform().enter("DisposeAUGraph", text(graph));
  if (graph == nullptr || in(graph)->disposed) {
    violation("DisposeAUGraph of a graph that is not there");
    return kAUGraphErr_NodeNotFound;
  }
  std::lock_guard cycle(platform().cycle());
  if (in(graph)->callsInside != 0) {
    violation("DisposeAUGraph while another call uses the graph");
  }
  in(graph)->running = false;
  in(graph)->unit.alive = false;
  in(graph)->disposed = true;
  return status;
}

OSStatus AUGraphAddNode(AUGraph graph, const AudioComponentDescription* description,
                        AUNode* outNode) {
  const OSStatus status = platform().enter(
      "AUGraphAddNode",
      list(text(graph), codeText(description->componentType),
           codeText(description->componentSubType), codeText(description->componentManufacturer),
           description->componentFlags, description->componentFlagsMask));
  if (!usable(graph, "AUGraphAddNode")) {
    return kAUGraphErr_NodeNotFound;
  }
  if (status == noErr) {
    *outNode = 5;
  }
  return status;
}

OSStatus AUGraphOpen(AUGraph graph) {
  const OSStatus status = simpleGraphCall(graph, "AUGraphOpen");
  if (status == noErr) {
    in(graph)->unit.alive = true;
  }
  return status;
}

OSStatus AUGraphNodeInfo(AUGraph graph, AUNode node, AudioComponentDescription* description,
                         AudioUnit* outUnit) {
  const OSStatus status = platform().enter(
      "AUGraphNodeInfo", list(text(graph), node, description == nullptr ? "null" : "description"));
  if (!usable(graph, "AUGraphNodeInfo")) {
    return kAUGraphErr_NodeNotFound;
  }
  if (status == noErr) {
    *outUnit = reinterpret_cast<AudioUnit>(&in(graph)->unit);
  }
  return status;
}

OSStatus AUGraphInitialize(AUGraph graph) { return simpleGraphCall(graph, "AUGraphInitialize"); }

OSStatus AUGraphStart(AUGraph graph) {
  const OSStatus status = simpleGraphCall(graph, "AUGraphStart");
  if (status == noErr) {
    in(graph)->running = true;
  }
  return status;
}

OSStatus AUGraphStop(AUGraph graph) {
  const OSStatus status = simpleGraphCall(graph, "AUGraphStop");
  std::lock_guard cycle(platform().cycle());
  if (graph != nullptr) {
    in(graph)->running = false;
  }
  return status;
}

OSStatus AUGraphIsRunning(AUGraph graph, Boolean* outIsRunning) {
  const OSStatus status = simpleGraphCall(graph, "AUGraphIsRunning");
  if (status == noErr) {
    *outIsRunning = in(graph)->running ? 1 : 0;
  }
  return status;
}

OSStatus AUGraphClose(AUGraph graph) {
  const OSStatus status = platform().enter("AUGraphClose", text(graph));
  if (!usable(graph, "AUGraphClose")) {
    return kAUGraphErr_NodeNotFound;
  }
  std::lock_guard cycle(platform().cycle());
  if (in(graph)->callsInside != 0 || in(graph)->unit.callsInside != 0) {
    violation("AUGraphClose while another call uses the graph or its unit");
  }
  in(graph)->running = false;
  in(graph)->unit.alive = false;
  in(graph)->closed = true;
  return status;
}

OSStatus AudioUnitGetPropertyInfo(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope,
                                  AudioUnitElement element, UInt32* outSize, Boolean* outWritable) {
  Inside<FakeUnit> inside(in(unit));
  const OSStatus status =
      platform().enter("AudioUnitGetPropertyInfo", list(text(unit), id, scope, element));
  if (!usable(unit, "AudioUnitGetPropertyInfo")) {
    return kAudioUnitErr_InvalidElement;
  }
  if (status == noErr && outSize != nullptr) {
    *outSize = static_cast<UInt32>(in(unit)->channelMap.size() * sizeof(SInt32));
  }
  if (outWritable != nullptr) {
    *outWritable = 1;
  }
  return status;
}

OSStatus AudioUnitGetProperty(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope,
                              AudioUnitElement element, void* outData, UInt32* ioSize) {
  Inside<FakeUnit> inside(in(unit));
  const OSStatus status =
      platform().enter("AudioUnitGetProperty", list(text(unit), id, scope, element, *ioSize));
  if (!usable(unit, "AudioUnitGetProperty")) {
    return kAudioUnitErr_InvalidElement;
  }
  if (status != noErr) {
    return status;
  }
  const auto& map = in(unit)->channelMap;
  const void* source = map.data();
  std::size_t bytes = map.size() * sizeof(SInt32);
  if (id == kAudioOutputUnitProperty_CurrentDevice) {
    source = platform().currentDevice.data();
    bytes = platform().currentDevice.size();
  }
  *ioSize = static_cast<UInt32>(std::min<std::size_t>(*ioSize, bytes));
  if (*ioSize != 0) {
    std::memcpy(outData, source, *ioSize);
  }
  return noErr;
}

OSStatus AudioUnitSetProperty(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope,
                              AudioUnitElement element, const void* data, UInt32 bytes) {
  Inside<FakeUnit> inside(in(unit));
  OSStatus status =
      platform().enter("AudioUnitSetProperty", list(text(unit), id, scope, element, bytes));
  if (!usable(unit, "AudioUnitSetProperty")) {
    return kAudioUnitErr_InvalidElement;
  }
  if (status == noErr && id == kAudioOutputUnitProperty_ChannelMap) {
    status = platform().channelMapWriteStatus;
  }
  if (status != noErr) {
    return status;
  }
  if (id == kAudioUnitProperty_StreamFormat && bytes == sizeof(AudioStreamBasicDescription)) {
    std::memcpy(&in(unit)->streamFormat, data, bytes);
  } else if (id == kAudioUnitProperty_SetRenderCallback &&
             bytes == sizeof(AURenderCallbackStruct)) {
    std::memcpy(&in(unit)->callback, data, bytes);
  } else if (id == kAudioOutputUnitProperty_ChannelMap) {
    in(unit)->channelMap.resize(bytes / sizeof(SInt32));
    std::memcpy(in(unit)->channelMap.data(), data, bytes);
  } else {
    return kAudioUnitErr_InvalidProperty;
  }
  return noErr;
}

OSStatus AudioUnitGetParameter(AudioUnit unit, AudioUnitParameterID id, AudioUnitScope scope,
                               AudioUnitElement element, AudioUnitParameterValue* outValue) {
  Inside<FakeUnit> inside(in(unit));
  const OSStatus status =
      platform().enter("AudioUnitGetParameter", list(text(unit), id, scope, element));
  if (usable(unit, "AudioUnitGetParameter") && status == noErr) {
    *outValue = in(unit)->volume;
  }
  return status;
}

OSStatus AudioUnitSetParameter(AudioUnit unit, AudioUnitParameterID id, AudioUnitScope scope,
                               AudioUnitElement element, AudioUnitParameterValue value,
                               UInt32 offsetFrames) {
  Inside<FakeUnit> inside(in(unit));
  const OSStatus status = platform().enter(
      "AudioUnitSetParameter", list(text(unit), id, scope, element, value, offsetFrames));
  if (usable(unit, "AudioUnitSetParameter") && status == noErr) {
    in(unit)->volume = value;
  }
  return status;
}

OSStatus AudioUnitReset(AudioUnit unit, AudioUnitScope scope, AudioUnitElement element) {
  Inside<FakeUnit> inside(in(unit));
  const OSStatus status = platform().enter("AudioUnitReset", list(text(unit), scope, element));
  usable(unit, "AudioUnitReset");
  return status;
}

OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object,
                                        const AudioObjectPropertyAddress* address,
                                        UInt32 qualifierBytes, const void* qualifier,
                                        UInt32* outSize) {
  const OSStatus status =
      platform().enter("AudioObjectGetPropertyDataSize", addressText(object, address));
  qualifierMustBeEmpty(qualifierBytes, qualifier);
  AllocationWatch::Pause pause;
  if (!platform().hasProperty(object, address->mSelector, address->mScope)) {
    return kAudioHardwareUnknownPropertyError;
  }
  if (status == noErr) {
    const auto value = platform().property(object, address->mSelector, address->mScope);
    *outSize = platform().announcedSize(address->mSelector, static_cast<UInt32>(value.size()));
  }
  return status;
}

OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                    UInt32 qualifierBytes, const void* qualifier, UInt32* ioSize,
                                    void* outData) {
  AllocationWatch::follow(outData);
  const OSStatus status =
      platform().enter("AudioObjectGetPropertyData", addressText(object, address));
  qualifierMustBeEmpty(qualifierBytes, qualifier);
  AllocationWatch::Pause pause;
  if (status != noErr) {
    return status;
  }
  const auto value = platform().property(object, address->mSelector, address->mScope);
  *ioSize = static_cast<UInt32>(std::min<std::size_t>(*ioSize, value.size()));
  if (*ioSize != 0) {
    std::memcpy(outData, value.data(), *ioSize);
  }
  return noErr;
}

OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                    UInt32 qualifierBytes, const void* qualifier, UInt32 bytes,
                                    const void* data) {
  const OSStatus status = platform().enter("AudioObjectSetPropertyData",
                                           addressText(object, address) + ", " + list(bytes));
  qualifierMustBeEmpty(qualifierBytes, qualifier);
  if (status == noErr) {
    platform().setProperty(object, address->mSelector, address->mScope, data, bytes);
  }
  return status;
}

OSStatus AudioDeviceCreateIOProcID(AudioObjectID device, AudioDeviceIOProc procedure,
                                   void* clientData, AudioDeviceIOProcID* outId) {
  const OSStatus status = platform().enter("AudioDeviceCreateIOProcID", list(device));
  if (status == noErr) {
    const UInt32 number = platform().addIOProc({device, procedure, clientData});
    *outId = reinterpret_cast<AudioDeviceIOProcID>(std::uintptr_t{number} * 16);
  }
  return status;
}

OSStatus AudioDeviceDestroyIOProcID(AudioObjectID device, AudioDeviceIOProcID id) {
  const OSStatus status = platform().enter("AudioDeviceDestroyIOProcID", list(device));
  FakeIOProc* proc = platform().findIOProc(id);
  if (proc == nullptr || proc->destroyed || proc->device != device) {
    violation("AudioDeviceDestroyIOProcID of a procedure that is not there");
    return kAudioHardwareBadObjectError;
  }
  std::lock_guard cycle(platform().cycle());
  proc->running = false;
  proc->destroyed = true;
  return status;
}

OSStatus AudioDeviceStart(AudioObjectID device, AudioDeviceIOProcID id) {
  const OSStatus status = platform().enter("AudioDeviceStart", list(device));
  FakeIOProc* proc = platform().findIOProc(id);
  if (proc == nullptr || proc->destroyed || proc->device != device) {
    violation("AudioDeviceStart of a procedure that is not there");
    return kAudioHardwareBadObjectError;
  }
  std::lock_guard cycle(platform().cycle());
  proc->running = status == noErr;
  return status;
}

OSStatus AudioDeviceStop(AudioObjectID device, AudioDeviceIOProcID id) {
  const OSStatus status = platform().enter("AudioDeviceStop", list(device));
  FakeIOProc* proc = platform().findIOProc(id);
  if (proc == nullptr || proc->destroyed || proc->device != device) {
    violation("AudioDeviceStop of a procedure that is not there");
    return kAudioHardwareBadObjectError;
  }
  std::lock_guard cycle(platform().cycle());
  proc->running = false;
  return status;
}

}  // extern "C"
