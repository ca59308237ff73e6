#include "platform/device/DeviceWatch.h"

#include <chrono>
#include <mutex>
#include <thread>

#include "platform/device/Registry.h"
#include "time/HostTime.h"

namespace Platform {
namespace {

constexpr std::chrono::milliseconds kPeriod{250};

// If a period takes this long, the process was stopped, and the devices have not run again yet.
constexpr std::uint64_t kStoppedNs = 500'000'000;

void act(Device& device, CycleWatchdog::Finding finding) {
  using Finding = CycleWatchdog::Finding;
  Registry& registry = Registry::instance();
  if (const auto suspended = device.changeOfSuspension()) {
    registry.changed(*suspended ? Change::Suspended : Change::Resumed, device,
                     kAudioDevicePropertyIOStoppedAbnormally);
  }
  if (finding == Finding::GoesOn) {
    registry.changed(Change::Resumed, device, kAudioDevicePropertyIOStoppedAbnormally);
  } else if (finding == Finding::BeganToStand) {
    registry.changed(Change::Stalled, device, kAudioDevicePropertyIOStoppedAbnormally);
  } else if (finding == Finding::OpenAnew &&
             registry.changed(Change::Stalled, device, kAudioDevicePropertyIOStoppedAbnormally) ==
                 Action::OpenAnew) {
    device.openAnew();
  }
}

[[noreturn]] void watch() {
  for (;;) {
    const std::uint64_t beganNs = Tavro::HostTime::now();
    std::this_thread::sleep_for(kPeriod);
    if (Tavro::HostTime::now() - beganNs > kStoppedNs) {
      continue;
    }
    for (const auto& device : Registry::instance().devices()) {
      act(*device, device->look(Tavro::HostTime::now()));
    }
  }
}

}  // namespace

void watchCycles() {
  static std::once_flag started;
  std::call_once(started, [] { std::thread(watch).detach(); });
}

}  // namespace Platform
