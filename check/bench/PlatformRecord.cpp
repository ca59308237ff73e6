// SPDX-License-Identifier: MIT

#include "check/bench/PlatformRecord.h"

#include <AudioToolbox/AudioToolbox.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

namespace Check {
namespace {

using AudioDevices::Script::Call;

bool hasWorked(const Call& call) { return call.status == noErr; }

template <class Pointer>
Pointer pointerOf(std::int64_t argument) {
  return reinterpret_cast<Pointer>(static_cast<std::uintptr_t>(argument));
}

template <class T>
void copyTo(T& target, const std::vector<std::uint8_t>& data) {
  if (data.size() == sizeof target) {
    std::memcpy(&target, data.data(), sizeof target);
  }
}

void noteUnitProperty(BuiltOutput& output, const Call& call) {
  output.unit = pointerOf<AudioUnit>(call.arguments.at(0));
  switch (call.arguments.at(1)) {
    case kAudioUnitProperty_StreamFormat:
      copyTo(output.format, call.data);
      break;
    case kAudioUnitProperty_SetRenderCallback:
      copyTo(output.callback, call.data);
      break;
    case kAudioOutputUnitProperty_ChannelMap:
      output.channelMap.resize(call.data.size() / sizeof(SInt32));
      std::memcpy(output.channelMap.data(), call.data.data(),
                  output.channelMap.size() * sizeof(SInt32));
      break;
    default:
      break;
  }
}

bool endsGraph(const Call& call) {
  return call.function == "AUGraphClose" || call.function == "DisposeAUGraph";
}

void noteCall(BuiltOutput& output, const Call& call) {
  if (call.function == "AUGraphStop") {  // whatever its status
    output.running = false;
  } else if (call.function == "AUGraphStart" && hasWorked(call)) {
    output.running = true;
  } else if (call.function == "AudioUnitSetProperty" && hasWorked(call)) {
    noteUnitProperty(output, call);
  } else if (call.function == "AudioUnitSetParameter" && hasWorked(call)) {
    copyTo(output.volume.emplace(), call.data);
  }
}

std::string codeInWords(std::int64_t code) {
  std::string letters = "'....'";
  for (std::size_t i = 0; i < 4; ++i) {
    letters[4 - i] = static_cast<char>((code >> (8 * i)) & 0xFF);
  }
  return letters;
}

std::string inWords(const Call& call) {
  if (call.function.starts_with("AudioUnit") && call.arguments.size() > 1 &&
      call.function != "AudioUnitReset") {
    return call.function + " " + std::to_string(call.arguments[1]);
  }
  if (call.function.starts_with("AudioObject")) {
    return call.function + " " + codeInWords(call.arguments.at(1));
  }
  return call.function;
}

}  // namespace

std::optional<BuiltOutput> builtOutput(const Calls& calls) {
  std::optional<BuiltOutput> output;
  for (const Call& call : calls) {
    if (call.function == "AUGraphOpen" && hasWorked(call)) {
      output = BuiltOutput{.graph = call.arguments.at(0)};
    } else if (output && endsGraph(call) && call.arguments.at(0) == output->graph) {
      output.reset();
    } else if (output) {
      noteCall(*output, call);
    }
  }
  return output && output->callback.inputProc != nullptr ? output : std::nullopt;
}

std::optional<RegisteredProcedure> registeredProcedure(const Calls& calls) {
  const auto found = std::find_if(calls.rbegin(), calls.rend(), [](const Call& call) {
    return call.function == "AudioDeviceCreateIOProcID" && hasWorked(call);
  });
  if (found == calls.rend()) {
    return {};
  }
  return RegisteredProcedure{.device = static_cast<AudioObjectID>(found->arguments.at(0)),
                             .procedure = pointerOf<AudioDeviceIOProc>(found->arguments.at(1)),
                             .clientData = pointerOf<void*>(found->arguments.at(2))};
}

Lines inWords(const Calls& calls) {
  Lines lines;
  for (const Call& call : calls) {
    lines.push_back(inWords(call));
  }
  return lines;
}

Lines misusesIn(const Calls& calls) {
  constexpr std::array kMisuses = {
      OSStatus{kAudio_ParamError}, OSStatus{kAudioHardwareBadObjectError},
      OSStatus{kAudioHardwareBadDeviceError}, OSStatus{kAudioHardwareIllegalOperationError}};
  Lines lines;
  for (const Call& call : calls) {
    if (call.status && std::ranges::find(kMisuses, *call.status) != kMisuses.end()) {
      lines.push_back(inWords(call));
    }
  }
  return lines;
}

}  // namespace Check
