// SPDX-License-Identifier: MIT

#include "player/report/DeviceReport.h"

#include <AudioDevices/Formats.h>
#include <CoreAudio/CoreAudio.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>

#include "player/base/ExitStatus.h"
#include "player/base/JsonFile.h"
#include "player/device/Device.h"
#include "player/device/Passthrough.h"

namespace Player {

namespace {

namespace fs = std::filesystem;
using AudioDevices::DeviceDescription;
using AudioDevices::StreamDescription;
using Json = nlohmann::ordered_json;

std::string shortName(AudioChannelLabel label) {
  switch (label) {
    case kAudioChannelLabel_Left:
      return "L";
    case kAudioChannelLabel_Right:
      return "R";
    case kAudioChannelLabel_Center:
      return "C";
    case kAudioChannelLabel_LFEScreen:
      return "LFE";
    case kAudioChannelLabel_LeftSurround:
      return "Ls";
    case kAudioChannelLabel_RightSurround:
      return "Rs";
    case kAudioChannelLabel_LeftCenter:
      return "Lc";
    case kAudioChannelLabel_RightCenter:
      return "Rc";
    case kAudioChannelLabel_CenterSurround:
      return "Cs";
    case kAudioChannelLabel_RearSurroundLeft:
      return "Rls";
    case kAudioChannelLabel_RearSurroundRight:
      return "Rrs";
    case kAudioChannelLabel_Mono:
      return "M";
    case kAudioChannelLabel_Unused:
      return "-";
    default:
      return "?";
  }
}

std::string layoutText(const DeviceDescription& device) {
  std::string text;
  for (const AudioChannelLabel label : device.labels) {
    text += (text.empty() ? "" : " ") + shortName(label);
  }
  return text;
}

std::string kindText(const AudioStreamBasicDescription& format) {
  if (format.mFormatID != kAudioFormatLinearPCM) {
    return AudioDevices::isAc3Bursts(format) ? "AC-3" : "other";
  }
  return (format.mFormatFlags & kAudioFormatFlagIsFloat) != 0 ? "float" : "integer";
}

std::string rateText(const AudioStreamRangedDescription& offer) {
  const AudioValueRange& range = offer.mSampleRateRange;
  return range.mMinimum < range.mMaximum
             ? fmt::format("{} to {} Hz", range.mMinimum, range.mMaximum)
             : fmt::format("{} Hz", offer.mFormat.mSampleRate);
}

std::string formatText(const AudioStreamRangedDescription& offer) {
  return fmt::format("{}, {} bit, {} channels, {}", kindText(offer.mFormat),
                     offer.mFormat.mBitsPerChannel, offer.mFormat.mChannelsPerFrame,
                     rateText(offer));
}

Json formatJson(const AudioStreamRangedDescription& offer) {
  return {{"kind", kindText(offer.mFormat)},
          {"bits", offer.mFormat.mBitsPerChannel},
          {"channels", offer.mFormat.mChannelsPerFrame},
          {"rate", offer.mFormat.mSampleRate},
          {"lowest_rate", offer.mSampleRateRange.mMinimum},
          {"highest_rate", offer.mSampleRateRange.mMaximum}};
}

std::string headline(const DeviceDescription& device) {
  return fmt::format("{} {}  {}  ({} Hz, {}, {} channels, latency {} frames)\n",
                     device.isDefault ? '*' : ' ', device.identifier, device.name,
                     device.sampleRate, layoutText(device), device.labels.size(),
                     device.latencyFrames);
}

Json deviceJson(const DeviceDescription& device) {
  Json layout = Json::array();
  for (const AudioChannelLabel label : device.labels) {
    layout.push_back(shortName(label));
  }
  return {{"identifier", device.identifier},
          {"name", device.name},
          {"default", device.isDefault},
          {"rate", device.sampleRate},
          {"layout", layout},
          {"channels", device.labels.size()},
          {"latency_frames", device.latencyFrames}};
}

/// Returns a stream's current format as a ranged description.
AudioStreamRangedDescription currentOf(const StreamDescription& stream) {
  const Float64 rate = stream.currentFormat.mSampleRate;
  return {stream.currentFormat, {rate, rate}};
}

/// Names a temporary file like the given one, so that describing a file leaves an existing one
/// unchanged.
class LikeFile {
 public:
  explicit LikeFile(const std::string& identifier) {
    std::string name = (fs::temp_directory_path() / "tavro-play-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw PlayerError(ExitStatus::DeviceFailed, "cannot create a temporary folder");
    }
    m_folder = name;
    m_identifier = "file:" + (m_folder / fs::path(identifier).filename()).string();
  }
  ~LikeFile() {
    std::error_code ignored;
    fs::remove_all(m_folder, ignored);
  }
  LikeFile(const LikeFile&) = delete;
  LikeFile& operator=(const LikeFile&) = delete;

  const std::string& identifier() const { return m_identifier; }

 private:
  fs::path m_folder;
  std::string m_identifier;
};

DeviceDescription describeFile(DeviceChoice choice) {
  const std::string identifier = choice.identifier;
  const LikeFile like(identifier);
  choice.identifier = like.identifier();
  DeviceDescription description = Device(choice).describe();
  description.identifier = identifier;
  description.name = identifier;
  description.isDefault = false;
  return description;
}

/// Returns the available devices, and the file if one is named.
std::vector<DeviceDescription> devicesOf(const Options& options, AudioDevices::Failure& noServer) {
  std::vector<DeviceDescription> devices = AudioDevices::list(&noServer);
  if (options.device != "auto") {
    const DeviceChoice choice = chooseDevice(options);
    if (choice.isFile) {
      devices.push_back(describeFile(choice));
    }
  }
  return devices;
}

DeviceDescription deviceOf(const Options& options) {
  const DeviceChoice choice = chooseDevice(options, [] {
    SoundingDevice sounding = soundingDevice();
    if (sounding.identifier.empty()) {
      throw PlayerError(ExitStatus::DeviceFailed,
                        "no audio device; use --device file:PATH: " + sounding.reason);
    }
    return sounding;
  });
  return choice.isFile ? describeFile(choice) : Device(choice).describe();
}

/// Returns the coding of the first input, if there is one.
std::optional<CodecInfo> codingOf(const std::vector<std::string>& files) {
  if (files.empty()) {
    return std::nullopt;
  }
  try {
    return openMedia(files.front())->coding();
  } catch (const InputError& error) {
    throw PlayerError(ExitStatus::InputUnreadable, files.front() + ": " + error.what());
  }
}

/// Returns why a format does not accept the input, or AC-3 of any rate if there is no input.
std::string reasonFor(const AudioStreamBasicDescription& format,
                      const std::optional<CodecInfo>& coding) {
  if (!coding) {
    return refusalOf(format, std::nullopt);
  }
  const std::string reason = refusalOf(*coding);
  return reason.empty() ? refusalOf(format, coding->rate) : reason;
}

Json inputJson(const std::string& path, const CodecInfo& coding, const std::string& reason) {
  return {{"path", path},
          {"codec", coding.codec},
          {"rate", coding.rate},
          {"channels", coding.channels},
          {"passed_through", reason.empty()},
          {"reason", reason}};
}

/// Returns the text, or an empty string after writing the JSON to its path.
std::string deliver(const std::string& text, const Json& json, const Options& options) {
  if (options.jsonPath.empty()) {
    return text;
  }
  writeJson(json, options.jsonPath);
  return "";
}

}  // namespace

std::string reportDevices(const Options& options) {
  std::string text;
  Json json = {
      {"version", PLAYER_VERSION}, {"devices", Json::array()}, {"unopened", Json::array()}};
  AudioDevices::Failure noServer;
  for (const DeviceDescription& device : devicesOf(options, noServer)) {
    text += headline(device);
    Json entry = deviceJson(device);
    entry["streams"] = Json::array();
    for (const StreamDescription& stream : device.streams) {
      text += fmt::format("    stream {}: {}\n", stream.id, formatText(currentOf(stream)));
      Json formats = Json::array();
      for (const AudioStreamRangedDescription& offer : stream.availableFormats) {
        text += fmt::format("        {}\n", formatText(offer));
        formats.push_back(formatJson(offer));
      }
      entry["streams"].push_back(
          {{"id", stream.id}, {"current", formatJson(currentOf(stream))}, {"formats", formats}});
    }
    json["devices"].push_back(entry);
  }
  if (noServer) {
    text += noServer.message + "; use file:PATH to write a file\n";
  }
  AudioDevices::Failure noAlsa;
  for (const AudioDevices::AttachableDevice& device : AudioDevices::listAlsa(&noAlsa)) {
    text += fmt::format("  {}  {}  (not opened: rate and channels unknown)\n", device.identifier,
                        device.name);
    json["unopened"].push_back({{"identifier", device.identifier}, {"name", device.name}});
  }
  json["no_server"] = noServer ? Json(noServer.message) : Json();
  json["no_alsa"] = noAlsa ? Json(noAlsa.message) : Json();
  if (noAlsa) {
    text += noAlsa.message + "\n";
  }
  return deliver(text, json, options);
}

std::string reportPassthrough(const Options& options) {
  const DeviceDescription device = deviceOf(options);
  const std::optional<CodecInfo> coding = codingOf(options.files);
  Json json = {{"version", PLAYER_VERSION}, {"device", deviceJson(device)}, {"input", nullptr}};
  std::string text = headline(device);
  json["streams"] = Json::array();
  for (const StreamDescription& stream : device.streams) {
    text += fmt::format("    stream {}\n", stream.id);
    Json formats = Json::array();
    for (const AudioStreamRangedDescription& offer : stream.availableFormats) {
      const std::string reason = reasonFor(offer.mFormat, coding);
      const std::string verdict = reason.empty() ? "accepted" : reason;
      text += fmt::format("        {}: {}\n", formatText(offer), verdict);
      formats.push_back(formatJson(offer));
      formats.back().update({{"accepted", reason.empty()}, {"reason", reason}});
    }
    json["streams"].push_back({{"id", stream.id}, {"formats", formats}});
  }
  if (coding) {
    const std::string reason = refusalOf(*coding, device);
    const std::string verdict = reason.empty() ? "passed through" : "decoded: " + reason;
    text += fmt::format("{}: {}\n", options.files.front(), verdict);
    json["input"] = inputJson(options.files.front(), *coding, reason);
  }
  return deliver(text, json, options);
}

}  // namespace Player
