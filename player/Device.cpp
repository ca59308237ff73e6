#include "player/Device.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "player/ExitStatus.h"
#include "tavro_core/Log.h"

namespace Player {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kFilePrefix = "file:";
constexpr std::string_view kBurstSuffix = ".spdif";
constexpr std::uint32_t kMostChannels = 8;

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

/// A file that is not there yet, so that nothing is overwritten unasked.
std::string freeName(const std::string& input) {
  const std::string stem = fs::path(input).stem().string();
  std::string name = stem + ".wav";
  for (int i = 2; fs::exists(name); ++i) {
    name = fmt::format("{}-{}.wav", stem, i);
  }
  return name;
}

AudioObjectPropertyAddress address(AudioObjectPropertySelector selector,
                                   AudioObjectPropertyScope scope) {
  return {selector, scope, kAudioObjectPropertyElementMaster};
}

AudioDeviceID defaultDevice() {
  const AudioObjectPropertyAddress where =
      address(kAudioHardwarePropertyDefaultOutputDevice, kAudioObjectPropertyScopeGlobal);
  AudioDeviceID id = kAudioObjectUnknown;
  UInt32 size = sizeof(id);
  const OSStatus status =
      AudioObjectGetPropertyData(kAudioObjectSystemObject, &where, 0, nullptr, &size, &id);
  return status == noErr ? id : AudioDeviceID{kAudioObjectUnknown};
}

std::uint32_t framesOf(AudioDeviceID device, AudioObjectPropertySelector selector) {
  const AudioObjectPropertyAddress where = address(selector, kAudioDevicePropertyScopeOutput);
  UInt32 frames = 0;
  UInt32 size = sizeof(frames);
  const OSStatus status = AudioObjectGetPropertyData(device, &where, 0, nullptr, &size, &frames);
  return status == noErr ? frames : 0;
}

AudioStreamBasicDescription description(const StreamFormat& format) {
  AudioStreamBasicDescription shape{};
  shape.mSampleRate = format.rate;
  shape.mFormatID = kAudioFormatLinearPCM;
  shape.mFormatFlags = kAudioFormatFlagIsPacked |
                       (format.type == SampleType::Float32 ? kAudioFormatFlagIsFloat
                                                           : kAudioFormatFlagIsSignedInteger);
  shape.mFramesPerPacket = 1;
  shape.mBytesPerFrame = format.bytesPerFrame();
  shape.mBytesPerPacket = format.bytesPerFrame();
  shape.mChannelsPerFrame = format.channels;
  shape.mBitsPerChannel = bitsOf(format.type);
  return shape;
}

OSStatus setPhysicalFormat(AudioStreamID stream, const AudioStreamBasicDescription& shape) {
  const AudioObjectPropertyAddress where =
      address(kAudioStreamPropertyPhysicalFormat, kAudioObjectPropertyScopeGlobal);
  return AudioObjectSetPropertyData(stream, &where, 0, nullptr, sizeof(shape), &shape);
}

std::string shapeText(const AudioStreamBasicDescription& shape) {
  return fmt::format("{} bit {}, {} channels, {} Hz", shape.mBitsPerChannel,
                     (shape.mFormatFlags & kAudioFormatFlagIsFloat) != 0 ? "float" : "integer",
                     shape.mChannelsPerFrame, shape.mSampleRate);
}

}  // namespace

std::string soundingDevice(std::string& reason) {
  AudioDevices::Failure noServer;
  const std::vector<AudioDevices::DeviceDescription> devices = AudioDevices::list(&noServer);
  const auto chosen =
      std::find_if(devices.begin(), devices.end(), [](const auto& d) { return d.isDefault; });
  if (chosen != devices.end()) {
    return chosen->identifier;
  }
  reason = noServer ? noServer.message : "the sound server has no default sink";
  return "";
}

DeviceChoice chooseDevice(const Options& options) {
  DeviceChoice choice{.identifier = options.device, .isFile = isFileIdentifier(options.device)};
  if (options.device == "auto") {
    std::string noServer;
    choice.identifier = soundingDevice(noServer);
    choice.isFile = choice.identifier.empty();
    choice.followsDefault = !choice.isFile;
    if (choice.isFile) {
      const std::string name = freeName(options.files.front());
      choice.identifier = std::string(kFilePrefix) + name;
      Tavro::logLine(Tavro::LogLevel::Info, "tavro-play", "%s; writing %s", noServer.c_str(),
                     name.c_str());
    }
  }
  if (choice.isFile) {
    refuseAnInputAsOutput(choice.identifier.substr(kFilePrefix.size()), options);
  } else if (options.simulated.value_or(false)) {
    throw PlayerError(ExitStatus::Usage, "simulated time is for file devices");
  }
  choice.isBurstFile = choice.isFile && choice.identifier.ends_with(kBurstSuffix);
  choice.attach = {.offersBursts = options.passthrough == PassthroughMode::On,
                   .partsPerMillion = options.fileDriftPpm};
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

Device::Device(const DeviceChoice& choice) : m_choice(choice) {
  if (choice.followsDefault) {
    m_id = defaultDevice();
  } else {
    attach();
  }
  m_streams = describe().streams;
}

void Device::attach() {
  AudioDevices::Failure failure;
  m_id = AudioDevices::attach(m_choice.identifier, &failure, m_choice.attach);
  if (m_id == kAudioObjectUnknown) {
    throw PlayerError(ExitStatus::DeviceFailed, failure.message);
  }
  const AudioObjectPropertyAddress where =
      address(kAudioHardwarePropertyDefaultOutputDevice, kAudioObjectPropertyScopeGlobal);
  const OSStatus status =
      AudioObjectSetPropertyData(kAudioObjectSystemObject, &where, 0, nullptr, sizeof(m_id), &m_id);
  if (status != noErr) {
    AudioDevices::detach(m_id);
    throw PlayerError(
        ExitStatus::DeviceFailed,
        m_choice.identifier + " cannot be made the output: " + AudioDevices::statusText(status));
  }
}

Device::~Device() {
  if (m_id != kAudioObjectUnknown && !m_choice.followsDefault) {
    AudioDevices::detach(m_id);
  }
}

/// With no device left it is the one that was, which tells what happened.
AudioDeviceID Device::current() const {
  const AudioDeviceID now =
      m_choice.followsDefault ? defaultDevice() : AudioDeviceID{kAudioObjectUnknown};
  return now != kAudioObjectUnknown ? now : m_id;
}

void Device::setFileFormat(const StreamFormat& format) {
  const AudioObjectPropertyAddress streams =
      address(kAudioDevicePropertyStreams, kAudioDevicePropertyScopeOutput);
  AudioStreamID stream = kAudioObjectUnknown;
  UInt32 size = sizeof(stream);
  OSStatus status = AudioObjectGetPropertyData(m_id, &streams, 0, nullptr, &size, &stream);
  if (status == noErr) {
    status = setPhysicalFormat(stream, description(format));
  }
  if (status != noErr) {
    throw PlayerError(
        ExitStatus::DeviceFailed,
        fmt::format("{} cannot hold {}: {}", m_choice.identifier, shapeText(description(format)),
                    AudioDevices::statusText(status)));
  }
}

AudioDevices::DeviceDescription Device::describe() const {
  const std::vector<AudioDevices::DeviceDescription> devices = AudioDevices::list();
  const auto found = std::find_if(devices.begin(), devices.end(),
                                  [this](const auto& device) { return device.id == m_id; });
  return found != devices.end() ? *found : AudioDevices::DeviceDescription{};
}

void Device::restoreFormats() const {
  for (const AudioDevices::StreamDescription& stream : m_streams) {
    setPhysicalFormat(stream.id, stream.currentFormat);
  }
}

void Device::check() const {
  if (const AudioDevices::Failure failure = AudioDevices::failureOf(current())) {
    throw PlayerError(ExitStatus::DeviceFailed, failure.message);
  }
}

std::string Device::startRefusal() const {
  const OSStatus status = totals().startStatus;
  if (status == kAudioDevicePermissionsError) {
    return "another program uses the device";
  }
  return status == noErr ? "" : "the device does not start: " + AudioDevices::statusText(status);
}

std::uint64_t Device::latencyNs() const {
  if (m_choice.isFile) {
    return 0;
  }
  const AudioDeviceID device = current();
  const AudioObjectPropertyAddress where =
      address(kAudioDevicePropertyNominalSampleRate, kAudioObjectPropertyScopeGlobal);
  Float64 rate = 0;
  UInt32 size = sizeof(rate);
  if (AudioObjectGetPropertyData(device, &where, 0, nullptr, &size, &rate) != noErr || rate <= 0) {
    return 0;
  }
  const std::uint32_t frames = framesOf(device, kAudioDevicePropertyLatency) +
                               framesOf(device, kAudioDevicePropertyBufferFrameSize);
  return static_cast<std::uint64_t>(frames / rate * 1e9);
}

/// The cycle under way is not counted yet.
std::uint64_t Device::framesToHear() const {
  const AudioDeviceID device = current();
  return m_choice.isFile ? 0
                         : AudioDevices::totalsOf(device).framesPlayed +
                               framesOf(device, kAudioDevicePropertyBufferFrameSize);
}

void Device::close() {
  const AudioDeviceID device = m_id;
  m_id = kAudioObjectUnknown;
  if (m_choice.followsDefault) {
    return;
  }
  if (const AudioDevices::Failure failure = AudioDevices::detach(device)) {
    throw PlayerError(ExitStatus::DeviceFailed, failure.message);
  }
}

}  // namespace Player
