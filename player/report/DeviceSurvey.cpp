// SPDX-License-Identifier: MIT

#include "player/report/DeviceSurvey.h"

#include <cstdlib>
#include <filesystem>

#include "player/base/ExitStatus.h"
#include "player/device/Device.h"
#include "player/device/Passthrough.h"

namespace Player {

namespace {

namespace fs = std::filesystem;
using AudioDevices::DeviceDescription;

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

}  // namespace

DeviceSurvey surveyDevices(const Options& options) {
  DeviceSurvey survey;
  survey.devices = AudioDevices::list(&survey.noServer);
  if (options.device != "auto") {
    const DeviceChoice choice = chooseDevice(options);
    if (choice.isFile) {
      survey.devices.push_back(describeFile(choice));
    }
  }
  survey.unopened = AudioDevices::listAlsa(&survey.noAlsa);
  return survey;
}

PassthroughSurvey surveyPassthrough(const Options& options) {
  PassthroughSurvey survey;
  survey.device = deviceOf(options);
  const std::optional<CodecInfo> coding = codingOf(options.files);
  for (const AudioDevices::StreamDescription& stream : survey.device.streams) {
    PassthroughSurvey::Stream& entry = survey.streams.emplace_back();
    entry.id = stream.id;
    for (const AudioStreamRangedDescription& offer : stream.availableFormats) {
      entry.offers.push_back({offer, reasonFor(offer.mFormat, coding)});
    }
  }
  if (coding) {
    survey.input = {options.files.front(), *coding, refusalOf(*coding, survey.device)};
  }
  return survey;
}

}  // namespace Player
