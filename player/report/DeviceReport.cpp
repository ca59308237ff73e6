// SPDX-License-Identifier: MIT

#include "player/report/DeviceReport.h"

#include <AudioDevices/Formats.h>
#include <CoreAudio/CoreAudio.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "player/base/JsonFile.h"
#include "player/report/DeviceSurvey.h"

namespace Player {

namespace {

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

std::string textOf(const DeviceSurvey& survey) {
  std::string text;
  for (const DeviceDescription& device : survey.devices) {
    text += headline(device);
    for (const StreamDescription& stream : device.streams) {
      text += fmt::format("    stream {}: {}\n", stream.id, formatText(currentOf(stream)));
      for (const AudioStreamRangedDescription& offer : stream.availableFormats) {
        text += fmt::format("        {}\n", formatText(offer));
      }
    }
  }
  if (survey.noServer) {
    text += survey.noServer.message + "; use file:PATH to write a file\n";
  }
  for (const AudioDevices::AttachableDevice& device : survey.unopened) {
    text += fmt::format("  {}  {}  (not opened: rate and channels unknown)\n", device.identifier,
                        device.name);
  }
  return survey.noAlsa ? text + survey.noAlsa.message + "\n" : text;
}

Json jsonOf(const DeviceSurvey& survey) {
  Json json = {
      {"version", PLAYER_VERSION}, {"devices", Json::array()}, {"unopened", Json::array()}};
  for (const DeviceDescription& device : survey.devices) {
    Json entry = deviceJson(device);
    entry["streams"] = Json::array();
    for (const StreamDescription& stream : device.streams) {
      Json formats = Json::array();
      for (const AudioStreamRangedDescription& offer : stream.availableFormats) {
        formats.push_back(formatJson(offer));
      }
      entry["streams"].push_back(
          {{"id", stream.id}, {"current", formatJson(currentOf(stream))}, {"formats", formats}});
    }
    json["devices"].push_back(entry);
  }
  for (const AudioDevices::AttachableDevice& device : survey.unopened) {
    json["unopened"].push_back({{"identifier", device.identifier}, {"name", device.name}});
  }
  json["no_server"] = survey.noServer ? Json(survey.noServer.message) : Json();
  json["no_alsa"] = survey.noAlsa ? Json(survey.noAlsa.message) : Json();
  return json;
}

std::string textOf(const PassthroughSurvey& survey) {
  std::string text = headline(survey.device);
  for (const PassthroughSurvey::Stream& stream : survey.streams) {
    text += fmt::format("    stream {}\n", stream.id);
    for (const auto& [format, refusal] : stream.offers) {
      text += fmt::format("        {}: {}\n", formatText(format),
                          refusal.empty() ? "accepted" : refusal);
    }
  }
  if (survey.input) {
    const std::string& refusal = survey.input->refusal;
    text += fmt::format("{}: {}\n", survey.input->path,
                        refusal.empty() ? "passed through" : "decoded: " + refusal);
  }
  return text;
}

Json inputJson(const PassthroughSurvey::Input& input) {
  return {{"path", input.path},
          {"codec", input.coding.codec},
          {"rate", input.coding.rate},
          {"channels", input.coding.channels},
          {"passed_through", input.refusal.empty()},
          {"reason", input.refusal}};
}

Json jsonOf(const PassthroughSurvey& survey) {
  Json json = {{"version", PLAYER_VERSION},
               {"device", deviceJson(survey.device)},
               {"input", survey.input ? inputJson(*survey.input) : Json()},
               {"streams", Json::array()}};
  for (const PassthroughSurvey::Stream& stream : survey.streams) {
    Json formats = Json::array();
    for (const auto& [format, refusal] : stream.offers) {
      formats.push_back(formatJson(format));
      formats.back().update({{"accepted", refusal.empty()}, {"reason", refusal}});
    }
    json["streams"].push_back({{"id", stream.id}, {"formats", formats}});
  }
  return json;
}

/// Returns the text, or an empty string after writing the JSON to its path.
template <class Survey>
std::string deliver(const Survey& survey, const Options& options) {
  if (options.jsonPath.empty()) {
    return textOf(survey);
  }
  writeJson(jsonOf(survey), options.jsonPath);
  return "";
}

}  // namespace

std::string reportDevices(const Options& options) {
  return deliver(surveyDevices(options), options);
}

std::string reportPassthrough(const Options& options) {
  return deliver(surveyPassthrough(options), options);
}

}  // namespace Player
