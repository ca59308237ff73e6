#include "DeviceWatch.h"

#include <chrono>
#include <mutex>
#include <thread>

#include "Registry.h"
#include "time/HostTime.h"

namespace Platform {
namespace {

constexpr std::chrono::milliseconds kPeriod{250};

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
    std::this_thread::sleep_for(kPeriod);
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
