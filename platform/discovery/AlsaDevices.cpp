// SPDX-License-Identifier: MIT

#include "platform/discovery/AlsaDevices.h"

#include <chrono>
#include <future>
#include <memory>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/device/BackOff.h"
#include "platform/driver/Alsa.h"
#include "platform/manager/DeviceManager.h"
#include "platform/system/BackendLibrary.h"
#include "time/HostTime.h"

namespace Platform {
namespace {

constexpr std::chrono::milliseconds kFirstRetry{500};
constexpr std::chrono::milliseconds kLongestRetry{4000};

template <class Function>
Function* entryOf(const char* name, AudioDevices::Failure& failure) {
  const auto found = loadFunction<Function>(kAlsaModule, name, "libasound2");
  if (!found) {
    failure = {.status = kAudioHardwareUnspecifiedError, .message = "no ALSA: " + found.reason};
  }
  return found.entry;
}

/// No event reports that a PCM is back, so it is tried, as long as the lost one is known and has
/// not been attached again.
void awaitReturn(const Device& lost) {
  BackOff backOff(kFirstRetry, kLongestRetry);
  AudioDevices::Failure notYet;
  DeviceManager& manager = DeviceManager::instance();
  while (manager.device(lost.id()) && !manager.device(lost.identifier())) {
    std::this_thread::sleep_for(backOff.interval());
    attachAlsa(lost.identifier(), notYet);
    backOff.increase();
  }
}

/// Runs on a thread of its own: ending a device waits for the driver's thread, which calls this,
/// and the device may play before attachAlsa() knows its identifier.
void loseLater(const std::shared_future<AudioDeviceID>& id, const AudioDevices::Failure& loss) {
  std::thread([id, loss] {
    if (const auto device = DeviceManager::instance().device(id.get())) {
      DeviceManager::instance().lose({{device, loss}}, DeviceEvent::DeviceGone);
      awaitReturn(*device);
    }
  }).detach();
}

}  // namespace

std::shared_ptr<Device> attachAlsa(const std::string& identifier, AudioDevices::Failure& failure) {
  if (Tavro::HostTime::isSimulated()) {
    failure = {.status = kAudioHardwareUnsupportedOperationError,
               .message = "'" + identifier + "' plays in real time only"};
    return nullptr;
  }
  auto* const makeDriver = entryOf<MakeAlsaDriver>(kMakeAlsaDriverEntry, failure);
  if (makeDriver == nullptr) {
    failure.message = "'" + identifier + "' cannot be opened: " + failure.message;
    return nullptr;
  }
  const std::string name = identifier.substr(std::string_view(kAlsaPrefix).size());
  std::promise<AudioDeviceID> id;
  std::unique_ptr<Driver> driver(makeDriver(
      name,
      [known = id.get_future().share()](const AudioDevices::Failure& loss) {
        loseLater(known, loss);
      },
      failure));
  if (!driver) {
    return nullptr;
  }
  auto device = DeviceManager::instance().add(identifier, name, std::move(driver));
  id.set_value(device->id());
  return device;
}

std::vector<AudioDevices::AttachableDevice> alsaNames(AudioDevices::Failure& failure) {
  std::vector<AudioDevices::AttachableDevice> names;
  if (auto* const listNames = entryOf<ListAlsaNames>(kListAlsaNamesEntry, failure)) {
    listNames(names, failure);
  }
  return names;
}

}  // namespace Platform
