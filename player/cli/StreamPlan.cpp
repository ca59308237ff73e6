// SPDX-License-Identifier: MIT

#include "player/cli/StreamPlan.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "player/base/ExitStatus.h"
#include "player/base/ProgramLog.h"
#include "player/device/Passthrough.h"

namespace Player {

StreamPlan::StreamPlan(const Options& options, const DeviceChoice& choice, const Device& device,
                       Playlist& playlist)
    : m_options(options), m_choice(choice), m_device(device), m_playlist(playlist) {}

void StreamPlan::planPassthrough() {
  const AudioDevices::DeviceDescription device = m_device.describe();
  m_plannedDevice = device.id;
  m_plannedChannels = device.labels.size();
  m_playlist.passThrough([&](const std::string& path, const CodecInfo& coding) {
    const std::string reason = reasonToDecode(coding, device);
    if (!reason.empty()) {
      decodeInstead(path, coding, reason);
    }
    return reason.empty();
  });
  if (m_options.volume && m_playlist.hasPassthrough()) {
    logInfo("the volume does not affect AC-3 passthrough");
  }
}

std::string StreamPlan::reasonToDecode(const CodecInfo& coding,
                                       const AudioDevices::DeviceDescription& device) const {
  if (m_options.passthrough == PassthroughMode::Off) {
    return "passthrough is off";
  }
  return device.id == m_refusesBursts ? "the device rejected it" : refusalOf(coding, device);
}

/// Logs the reason if passthrough was expected; throws if bursts are required.
void StreamPlan::decodeInstead(const std::string& path, const CodecInfo& coding,
                               const std::string& reason) const {
  if (m_options.passthrough == PassthroughMode::On || m_choice.isBurstFile) {
    throw PlayerError(ExitStatus::PlaybackFailed, path + " cannot be passed through: " + reason);
  }
  if (m_options.passthrough == PassthroughMode::Auto && isForReceivers(coding)) {
    logInfo(path + ": decoded: " + reason);
  }
}

void StreamPlan::planChannels() {
  const std::vector<StreamFormat> formats = m_playlist.decodedFormats();
  const std::uint32_t most = m_device.channels();
  m_playlist.limit({most, !m_choice.isFile && most >= 2});
  const auto widest = std::max_element(
      formats.begin(), formats.end(),
      [](const StreamFormat& a, const StreamFormat& b) { return a.channels < b.channels; });
  m_isMixedDown = widest != formats.end() && widest->channels > most;
  if (m_isMixedDown) {
    logInfo(fmt::format("{} channels are mixed down to the device's {}", widest->channels, most));
  }
}

void StreamPlan::beginStream(const StreamFormat& format) {
  m_streamChannels = format.bursts ? 0 : format.channels;
}

bool StreamPlan::isOutdated() const {
  if (m_choice.isFile || !m_device.isThere()) {
    return false;
  }
  const AudioDevices::DeviceDescription device = m_device.describe();
  const bool passesOther = m_playlist.wouldDiffer([&](const std::string&, const CodecInfo& coding) {
    return reasonToDecode(coding, device).empty();
  });
  const std::size_t channels = device.labels.size();
  const bool needsOther =
      channels < m_streamChannels || (m_isMixedDown && channels > m_plannedChannels);
  return passesOther || (device.id != m_plannedDevice && needsOther);
}

void StreamPlan::decodeAll() {
  m_refusesBursts = m_device.id();
  m_playlist.passThrough([](const std::string&, const CodecInfo&) { return false; });
}

}  // namespace Player
