// SPDX-License-Identifier: MIT

#include "player/device/DeviceChoice.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "player/base/ExitStatus.h"
#include "player/base/ProgramLog.h"

namespace Player {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kFilePrefix = "file:";
constexpr std::string_view kBurstSuffix = ".spdif";
constexpr const char* kServerPrefix = "pulse:";
constexpr const char* kSinkVariable = "PULSE_SINK";
constexpr const char* kAlsaDefault = "alsa:default";

bool isFileIdentifier(const std::string& identifier) {
  return identifier.compare(0, kFilePrefix.size(), kFilePrefix) == 0;
}

void refuseAnInputAsOutput(const std::string& path, const Options& options) {
  for (const std::string& input : options.files) {
    std::error_code ignored;
    if (fs::equivalent(path, input, ignored)) {
      throw PlayerError(ExitStatus::Usage, "the output " + path + " is one of the inputs");
    }
  }
}

/// Returns the extension in lower case, with the dot.
std::string extensionOf(const std::string& path) {
  std::string extension = fs::path(path).extension().string();
  std::ranges::transform(extension, extension.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

/// Throws for formats that are not written; other names hold WAV, or bursts.
void refuseOtherFormats(const std::string& path) {
  constexpr std::array<std::string_view, 40> kNotWritten = {
      ".aac", ".ac3", ".aif",  ".aifc", ".aiff", ".alac", ".amr",  ".ape",  ".au",  ".avi",
      ".caf", ".dts", ".eac3", ".ec3",  ".flac", ".m4a",  ".m4b",  ".mka",  ".mkv", ".mov",
      ".mp2", ".mp3", ".mp4",  ".mpc",  ".oga",  ".ogg",  ".ogv",  ".opus", ".pcm", ".ra",
      ".raw", ".snd", ".spx",  ".tta",  ".voc",  ".w64",  ".webm", ".wma",  ".wv",  ".mpeg"};
  const std::string extension = extensionOf(path);
  if (std::ranges::find(kNotWritten, extension) != kNotWritten.end()) {
    throw PlayerError(ExitStatus::Usage,
                      fmt::format("{}: cannot write {} files; name a .wav file (PCM) or a "
                                  ".spdif file (AC-3 bursts)",
                                  path, extension));
  }
}

/// Returns the regular file to be replaced, or an empty string; other files are written in place.
std::string fileAt(const std::string& path) {
  std::error_code ignored;
  const bool isSpecial = path.starts_with("/dev/") || path.starts_with("/proc/");
  return !isSpecial && fs::is_regular_file(path, ignored) ? path : "";
}

/// Returns the name of a new WAV file, so that no file is overwritten.
std::string freeName(const std::string& input) {
  const std::string stem = fs::path(input).stem().string();
  std::string name = stem + ".wav";
  for (int i = 2; fs::exists(name); ++i) {
    name = fmt::format("{}-{}.wav", stem, i);
  }
  return name;
}

/// Chooses the server, else ALSA, else a file; logs why it is not the server.
void chooseByItself(DeviceChoice& choice, const Options& options, const SoundingDevice& sounding) {
  choice.identifier = sounding.identifier;
  choice.followsDefault = sounding.isDefault;
  choice.isFile = sounding.identifier.empty();
  std::string what = "playing on " + choice.identifier;
  if (choice.isFile) {
    const std::string name = freeName(options.files.front());
    choice.identifier = std::string(kFilePrefix) + name;
    what = "no audio device, so writing " + name + " instead";
  }
  if (!sounding.isServers) {
    logInfo(what + ": " + sounding.reason);
  }
}

/// Returns the identifier of the sink that the user has set by kSinkVariable; throws if it is
/// unknown.
std::string usersSink(const std::vector<AudioDevices::DeviceDescription>& devices,
                      const std::string& sink) {
  const std::string identifier = kServerPrefix + sink;
  const bool isThere = std::any_of(devices.begin(), devices.end(), [&](const auto& device) {
    return device.identifier == identifier;
  });
  if (!isThere) {
    throw PlayerError(
        ExitStatus::DeviceFailed,
        fmt::format("{} names '{}', which is not a sink of the sound server; unset it, or "
                    "choose one from --list-devices",
                    kSinkVariable, sink));
  }
  return identifier;
}

}  // namespace

SoundingDevice soundingDevice() {
  AudioDevices::Failure noServer;
  const std::vector<AudioDevices::DeviceDescription> devices = AudioDevices::list(&noServer);
  const char* const sink = std::getenv(kSinkVariable);
  if (!noServer && sink != nullptr && *sink != '\0') {
    return {usersSink(devices, sink), true, "", false};
  }
  const auto chosen =
      std::find_if(devices.begin(), devices.end(), [](const auto& d) { return d.isDefault; });
  if (chosen != devices.end()) {
    return {chosen->identifier, true, "", true};
  }
  const std::string reason = noServer ? noServer.message : "the sound server has no default sink";
  AudioDevices::Failure noAlsa;
  if (AudioDevices::attach(kAlsaDefault, &noAlsa) != kAudioObjectUnknown) {
    return {kAlsaDefault, false, reason};
  }
  return {"", false, reason + "; " + noAlsa.message};
}

DeviceChoice chooseDevice(const Options& options, const std::function<SoundingDevice()>& sounding) {
  DeviceChoice choice{.identifier = options.device, .isFile = isFileIdentifier(options.device)};
  if (options.device == "auto") {
    chooseByItself(choice, options, sounding());
  }
  if (choice.isFile) {
    const std::string path = choice.identifier.substr(kFilePrefix.size());
    refuseOtherFormats(path);
    refuseAnInputAsOutput(path, options);
    choice.isBurstFile = extensionOf(path) == kBurstSuffix;
    choice.replaces = fileAt(path);
  } else if (options.simulated.value_or(false)) {
    throw PlayerError(ExitStatus::Usage, "--simulate needs a file device (--device file:PATH)");
  }
  choice.attach = {.offersBursts = options.passthrough == PassthroughMode::On,
                   .clockPpm = options.fileDriftPpm};
  choice.simulated = options.simulated.value_or(choice.isFile);
  return choice;
}

StreamFormat fileFormatFor(const std::vector<StreamFormat>& formats, const Options& options) {
  StreamFormat chosen = formats.front();
  chosen.channels = std::min(options.channels.value_or(chosen.channels), kMostChannels);
  for (const StreamFormat& format : formats) {
    chosen.type = std::max(chosen.type, format.type);  // Float32 is the last
  }
  return chosen;
}

}  // namespace Player
