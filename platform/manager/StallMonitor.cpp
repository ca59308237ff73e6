// SPDX-License-Identifier: MIT

#include "platform/manager/StallMonitor.h"

#include <chrono>
#include <mutex>
#include <thread>

#include "platform/manager/DeviceManager.h"
#include "time/HostTime.h"

namespace Platform {
namespace {

constexpr std::chrono::milliseconds kPeriod{250};

// If a period takes this long, the process was stopped, and the devices have not run again yet.
constexpr std::uint64_t kStoppedNs = 500'000'000;

void act(Device& device, StallDetector::Finding finding) {
  using Finding = StallDetector::Finding;
  DeviceManager& manager = DeviceManager::instance();
  if (const auto suspended = device.watch().changeOfSuspension()) {
    manager.changed(*suspended ? DeviceEvent::Suspended : DeviceEvent::Resumed, device,
                    kAudioDevicePropertyIOStoppedAbnormally);
  }
  if (finding == Finding::Resumed) {
    manager.changed(DeviceEvent::Resumed, device, kAudioDevicePropertyIOStoppedAbnormally);
  } else if (finding == Finding::Stalled) {
    manager.changed(DeviceEvent::Stalled, device, kAudioDevicePropertyIOStoppedAbnormally);
  } else if (finding == Finding::Reopen &&
             manager.changed(DeviceEvent::Stalled, device,
                             kAudioDevicePropertyIOStoppedAbnormally) == Action::Reopen) {
    device.reopen();
  }
}

[[noreturn]] void watch() {
  for (;;) {
    const std::uint64_t beganNs = Tavro::HostTime::now();
    std::this_thread::sleep_for(kPeriod);
    if (Tavro::HostTime::now() - beganNs > kStoppedNs) {
      continue;
    }
    for (const auto& device : DeviceManager::instance().devices()) {
      act(*device, device->watch().poll(Tavro::HostTime::now(), device->isAlive()));
    }
  }
}

}  // namespace

void watchCycles() {
  static std::once_flag started;
  std::call_once(started, [] { std::thread(watch).detach(); });
}

}  // namespace Platform
