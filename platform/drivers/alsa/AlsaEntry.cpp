// SPDX-License-Identifier: MIT

// The module's entries: the list of PCMs, and drivers for them.

#include <algorithm>
#include <type_traits>
#include <utility>

#include "platform/drivers/alsa/AlsaDriver.h"
#include "platform/drivers/alsa/AlsaError.h"
#include "platform/drivers/alsa/RunWithTimeout.h"

namespace Platform {
namespace {

using AudioDevices::AttachableDevice;
using AudioDevices::Failure;

/// Returns a field of a hint, or an empty string.
std::string wordOf(const void* hint, const char* id) {
  const std::unique_ptr<char, decltype(&std::free)> word(snd_device_name_get_hint(hint, id),
                                                         std::free);
  return word ? word.get() : "";
}

struct Names {
  std::vector<AttachableDevice> names;
  Failure failure;
};

void readNames(Names& found) {
  const AlsaErrorCapture chatter;
  void** hints = nullptr;
  if (const int error = snd_device_name_hint(-1, "pcm", &hints); error < 0) {
    found.failure = {.status = kAudioHardwareUnspecifiedError,
                     .message = "no ALSA: " + chatter.explain(error)};
    return;
  }
  for (void** hint = hints; *hint != nullptr; ++hint) {
    std::string description = wordOf(*hint, "DESC");
    std::ranges::replace(description, '\n', ' ');
    if (wordOf(*hint, "IOID") != "Input") {
      found.names.push_back({"alsa:" + wordOf(*hint, "NAME"), std::move(description)});
    }
  }
  snd_device_name_free_hint(hints);
}

struct Probe {
  PcmCapabilities abilities;
  std::vector<Positions> maps;
  Failure failure;
};

void probePcm(const std::string& name, Probe& probe) {
  const AlsaErrorCapture chatter;
  Pcm pcm;
  if (const int error = openPcm(name, false, pcm); error < 0) {
    probe.failure = {.status = statusOf(error),
                     .message = "'alsa:" + name + "' cannot be opened: " + chatter.explain(error) +
                                ". " + remedyFor(error)};
    return;
  }
  probe.abilities = abilitiesOf(pcm.get());
  probe.maps = channelMapsOf(pcm.get());
  if (probe.abilities.empty()) {
    probe.failure = {.status = kAudioDeviceUnsupportedFormatError,
                     .message = "'alsa:" + name +
                                "' takes no samples of 16, 24 or 32 bits. Its "
                                "'plughw:' or 'plug:' device converts to what it supports."};
  }
}

}  // namespace
}  // namespace Platform

extern "C" void listAlsaNames(std::vector<AudioDevices::AttachableDevice>& names,
                              AudioDevices::Failure& failure) {
  const auto found = std::make_shared<Platform::Names>();
  if (Platform::runWithTimeout("", [found] { Platform::readNames(*found); })) {
    names = std::move(found->names);
    failure = std::move(found->failure);
  } else {
    failure = {.status = kAudioHardwareUnspecifiedError, .message = "no ALSA: it does not answer"};
  }
}

extern "C" Platform::Driver* makeAlsaDriver(const std::string& name, Platform::AlsaLoss onLoss,
                                            AudioDevices::Failure& failure) {
  const auto probe = std::make_shared<Platform::Probe>();
  if (!Platform::runWithTimeout(name, [probe, name] { Platform::probePcm(name, *probe); })) {
    failure = {.status = kAudioHardwareBadDeviceError,
               .message = "'alsa:" + name + "' does not answer. Choose another device."};
    return nullptr;
  }
  failure = probe->failure;
  return failure ? nullptr
                 : new Platform::AlsaDriver(name, std::move(probe->abilities),
                                            std::move(probe->maps), std::move(onLoss));
}

// The types by which the layer calls them.
static_assert(std::is_same_v<decltype(listAlsaNames), Platform::ListAlsaNames>);
static_assert(std::is_same_v<decltype(makeAlsaDriver), Platform::MakeAlsaDriver>);
