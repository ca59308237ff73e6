// SPDX-License-Identifier: MIT

#include "platform/manager/IoProcedure.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <utility>

#include "platform/device/ModelLock.h"
#include "platform/format/Silence.h"
#include "platform/manager/DeviceManager.h"

namespace Platform {
namespace {

constexpr AudioBufferList kNoInput{};

class IoProcedure final : public Client {
 public:
  IoProcedure(std::shared_ptr<Device> device, AudioDeviceIOProc procedure, void* clientData)
      : m_device(std::move(device)), m_procedure(procedure), m_clientData(clientData) {}

  Device& device() const { return *m_device; }

  bool play(const Cycle& cycle) TAVRO_NONBLOCKING override {
    TAVRO_CALLS_OUT(m_procedure(m_device->id(), &cycle.time, &kNoInput, &cycle.time, &cycle.buffers,
                                &cycle.time, m_clientData);)
    return !cycle.mix && isSilent(cycle.buffers);
  }

  std::atomic<bool> running{false};  // as requested; the device's list decides what is called

 private:
  static bool isSilent(const AudioBufferList& buffers) {
    for (UInt32 i = 0; i < buffers.mNumberBuffers; ++i) {
      const AudioBuffer& buffer = buffers.mBuffers[i];
      if (!isZero(buffer.mData, buffer.mDataByteSize)) {
        return false;
      }
    }
    return true;
  }

  const std::shared_ptr<Device> m_device;
  const AudioDeviceIOProc m_procedure;
  void* const m_clientData;
};

using Table = std::map<AudioDeviceIOProcID, std::shared_ptr<IoProcedure>>;

Table& table() TAVRO_REQUIRES(modelLock()) {
  static auto* procedures = new Table;  // see DeviceManager::instance()
  return *procedures;
}

std::shared_ptr<IoProcedure> find(AudioObjectID device, AudioDeviceIOProcID id) {
  const Tavro::Lock model(modelLock());
  const auto found = table().find(id);
  const bool known = found != table().end() && found->second->device().id() == device;
  return known ? found->second : nullptr;
}

OSStatus notFound(AudioObjectID device) {
  return DeviceManager::instance().device(device) ? kAudioHardwareIllegalOperationError
                                                  : kAudioHardwareBadDeviceError;
}

}  // namespace

OSStatus createIoProcedure(AudioObjectID device, AudioDeviceIOProc procedure, void* clientData,
                           AudioDeviceIOProcID* id) {
  auto target = DeviceManager::instance().device(device);
  if (!target) {
    return kAudioHardwareBadDeviceError;
  }
  if (procedure == nullptr || id == nullptr) {
    return kAudioHardwareIllegalOperationError;
  }
  auto made = std::make_shared<IoProcedure>(std::move(target), procedure, clientData);
  static std::uintptr_t last TAVRO_GUARDED_BY(modelLock()) = 0;
  const Tavro::Lock model(modelLock());
  *id = reinterpret_cast<AudioDeviceIOProcID>(last += 16);
  table().emplace(*id, std::move(made));
  return noErr;
}

OSStatus destroyIoProcedure(AudioObjectID device, AudioDeviceIOProcID id) {
  const auto procedure = find(device, id);
  if (!procedure) {
    return notFound(device);
  }
  procedure->device().remove(*procedure);
  const Tavro::Lock model(modelLock());
  table().erase(id);  // `procedure` releases it after the lock
  return noErr;
}

OSStatus startIoProcedure(AudioObjectID device, AudioDeviceIOProcID id) {
  const auto procedure = find(device, id);
  if (!procedure) {
    return notFound(device);
  }
  if (procedure->running.exchange(true)) {
    return noErr;
  }
  const OSStatus status = procedure->device().add(procedure);
  if (status != noErr) {
    procedure->running = false;
  }
  return status;
}

OSStatus stopIoProcedure(AudioObjectID device, AudioDeviceIOProcID id) {
  const auto procedure = find(device, id);
  if (!procedure) {
    return notFound(device);
  }
  procedure->device().remove(*procedure);
  return procedure->running.exchange(false) ? noErr : OSStatus{kAudioHardwareNotRunningError};
}

std::size_t ioProcedureCount() {
  const Tavro::Lock model(modelLock());
  return table().size();
}

}  // namespace Platform
