#include "AlsaDevices.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <thread>
#include <utility>

#include "Alsa.h"
#include "Module.h"
#include "Registry.h"
#include "time/HostTime.h"

namespace Platform {
namespace {

constexpr std::chrono::milliseconds kFirstBackOff{500};
constexpr std::chrono::milliseconds kLongestBackOff{4000};

template <class Function>
Function* entryOf(const char* name, AudioDevices::Failure& failure) {
  const auto found = loadEntry<Function>(kAlsaModule, name);
  if (!found) {
    failure = {.status = kAudioHardwareUnspecifiedError, .message = "no ALSA: " + found.reason};
  }
  return found.entry;
}

/// Nobody tells when a PCM is back, so it is tried.
void awaitReturn(const std::string& identifier) {
  std::chrono::milliseconds backOff = kFirstBackOff;
  AudioDevices::Failure notYet;
  while (!Registry::instance().device(identifier)) {
    std::this_thread::sleep_for(backOff);
    attachAlsa(identifier, notYet);
    backOff = std::min(2 * backOff, kLongestBackOff);
  }
}

/// On a thread of its own: ending a device waits for the driver's, which tells this.
void loseLater(const std::string& identifier, const AudioDevices::Failure& loss) {
  std::thread([identifier, loss] {
    if (const auto device = Registry::instance().device(identifier)) {
      Registry::instance().lose({{device, loss}}, Change::DeviceGone);
      awaitReturn(identifier);
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
    return nullptr;
  }
  const std::string name = identifier.substr(std::string_view(kAlsaPrefix).size());
  std::unique_ptr<Driver> driver(makeDriver(
      name, [identifier](const AudioDevices::Failure& loss) { loseLater(identifier, loss); },
      failure));
  return driver ? Registry::instance().add(identifier, name, std::move(driver)) : nullptr;
}

std::vector<AudioDevices::AttachableDevice> alsaNames(AudioDevices::Failure& failure) {
  std::vector<AudioDevices::AttachableDevice> names;
  if (auto* const listNames = entryOf<ListAlsaNames>(kListAlsaNamesEntry, failure)) {
    listNames(names, failure);
  }
  return names;
}

}  // namespace Platform
