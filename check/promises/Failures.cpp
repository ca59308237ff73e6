// SPDX-License-Identifier: MIT

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <functional>

#include "check/promises/Promise.h"
#include "tavro_core/Log.h"

// Whole sessions in which one platform call or allocation fails, once for each that a session
// makes.

namespace Check {
namespace {

using Tavro::VariantType::kUInt8;
namespace Script = AudioDevices::Script;

constexpr OSStatus kFault = -4960;

struct Outcome {
  bool firstWrite, secondWrite;
  Lines calls;
};

void playABit(Bench& bench, bool built) {
  bench.setGraphTime(1000);
  bench.upstream.addTens(4, 1000);
  bench.expectEqual("the start event", bench.event(Tavro::PortEvent::kStart), true);
  bench.letFeederRun();
  if (built) {
    bench.expectEqual("buffers that wait upstream", bench.upstream.waiting(), std::size_t{0});
    bench.expectEqual("status of a render call", bench.render(150).status, OSStatus{noErr});
  }
}

/// Whatever the platform returns, nothing is fed after a stop and nothing is kept after a flush.
void endPlaying(Bench& bench) {
  bench.expectEqual("the stop event", bench.event(Tavro::PortEvent::kStop), true);
  bench.letFeederRun();
  bench.upstream.addTens(1, 1050);
  bench.letFeederRun();
  bench.expect(bench.upstream.waiting() != 0, "nothing is fed after a stop", "a buffer is");
  bench.expectEqual("the flush event", bench.event(Tavro::PortEvent::kFlush), true);
  bench.expectEqual("buffers kept after a flush",
                    bench.upstream.delivered() - bench.upstream.released(), 0U);
}

/// A session that makes every call of the PCM path. `failing`: which of them fails; 0 for none.
Outcome pcmSession(Bench& bench, std::uint64_t failing) {
  Outcome outcome{};
  bench.platform.forgetCalls();
  bench.connect();
  bench.platform.takeCalls();
  if (failing != 0) {
    Script::failCall("", failing, kFault);
  }
  outcome.firstWrite = bench.write(48000, 2, 16);
  playABit(bench, outcome.firstWrite && bench.platform.output());
  bench.timeBase().isRunning();
  bench.announceVolume({kUInt8, 40});
  endPlaying(bench);
  bench.expectEqual("the start event", bench.event(Tavro::PortEvent::kStart), true);
  outcome.secondWrite = bench.write(48000, 6, 24);
  playABit(bench, outcome.secondWrite && bench.platform.output());
  Tavro::_Variant answer{};
  bench.expectEqual("the channel query",
                    bench.port->readQuery(Tavro::PortQuery::kMaximumChannels, &answer), true);
  bench.expectEqual("the disconnect event", bench.event(Tavro::PortEvent::kDisconnect), true);
  bench.announceVolume({kUInt8, 40});
  bench.component->output().disconnectInput(bench.port);
  outcome.calls = bench.platform.takeCalls();
  bench.expectNothingRegistered();
  bench.end();
  bench.expectReferencesReturned();
  bench.upstream.forget();
  return outcome;
}

/// Returns true if the failure of this call makes the build fail that it is part of.
bool endsABuild(const std::string& call) {
  constexpr std::array<const char*, 8> kSteps = {"NewAUGraph",
                                                 "AUGraphAddNode",
                                                 "AUGraphOpen",
                                                 "AUGraphNodeInfo",
                                                 "AUGraphInitialize",
                                                 "AudioUnitSetProperty 8",
                                                 "AudioUnitSetProperty 23",
                                                 "AudioUnitGetProperty 2000"};
  return std::ranges::find(kSteps, call) != kSteps.end();
}

void useEightChannels(Bench& bench) {
  bench.platform.useDevice(
      {.name = "surround", .streams = {{.format = AudioDevices::pcmInteger(48000, 8, 16)}}});
}

void survivesPcmFailures(Bench& bench) {
  useEightChannels(bench);
  const Outcome good = pcmSession(bench, 0);
  bench.require(good.firstWrite && good.secondWrite && bench.all().empty(),
                "a session without a failure works", "it does not");
  unsigned builds = 0;
  for (std::size_t failing = 1; failing <= good.calls.size(); ++failing) {
    const std::string& call = good.calls[failing - 1];
    const Bench::Case named(bench, fmt::format("call {} fails: {}", failing, call));
    builds += call == "NewAUGraph" ? 1 : 0;
    const Outcome outcome = pcmSession(bench, failing);
    bench.expectEqual("the first write", outcome.firstWrite, !(endsABuild(call) && builds == 1));
    bench.expectEqual("the second write", outcome.secondWrite, !(endsABuild(call) && builds == 2));
  }
}

std::size_t passthroughSession(Bench& bench, std::uint64_t failing) {
  using Tavro::PortQuery::kConfigurePassthrough;
  bench.platform.forgetCalls();
  bench.connect();
  bench.platform.takeCalls();
  if (failing != 0) {
    Script::failCall("", failing, kFault);
  }
  bench.write(48000, 2, 16, kConfigurePassthrough);
  for (int i = 0; i < 3; ++i) {
    bench.upstream.add(kBurstBytes, 1000, 32);
  }
  bench.feed();
  bench.platform.device().cycle(1536);
  bench.write(44100, 2, 16);
  bench.write(48000, 2, 16, kConfigurePassthrough);
  bench.expectEqual("the disconnect event", bench.event(Tavro::PortEvent::kDisconnect), true);
  const std::size_t calls = bench.platform.takeCalls().size();
  bench.expectNothingRegistered();
  bench.end();
  bench.expectEqual("platform calls after the disconnect", bench.platform.takeCalls(), Lines{});
  bench.expectReferencesReturned();
  bench.upstream.forget();
  return calls;
}

void survivesPassthroughFailures(Bench& bench) {
  bench.platform.useDevice({.name = "digital",
                            .streams = {{.format = AudioDevices::pcmInteger(48000, 2, 16),
                                         .available = {AudioDevices::ac3Bursts(48000, 2)}}}});
  const std::size_t calls = passthroughSession(bench, 0);
  bench.expect(calls > 20, "a session makes platform calls", fmt::format("{}", calls));
  for (std::size_t failing = 1; failing <= calls; ++failing) {
    const Bench::Case named(bench, fmt::format("call {} fails", failing));
    passthroughSession(bench, failing);
  }
}

// Refused allocations.

/// Makes the call with each of its allocations refused once, until one is made without. An
/// exception would leave this function and end the promise.
void refuseEach(Bench& bench, const char* what, const std::function<void()>& call) {
  for (std::uint64_t nth = 1, made = nth; made >= nth; ++nth) {
    const Bench::Case named(bench, fmt::format("{} with allocation {} refused", what, nth));
    const std::uint64_t before = Watch::allocations();
    Watch::refuseAllocation(nth);
    try {
      call();
    } catch (const std::exception& error) {
      Watch::refuseAllocation(0);
      bench.require(false, "no exception", error.what());
    }
    made = Watch::allocations() - before;
    Watch::refuseAllocation(0);
  }
}

void survivesRefusedMemory(Bench& bench) {
  bench.requireWatch();
  bench.build();
  Tavro::setLogLevel(Tavro::LogLevel::Warning);  // the host's log allocates
  bench.component->component().destroy();
  bool created = false;
  refuseEach(bench, "create()",
             [&] { created = bench.component->component().create(&bench.session); });
  bench.expectEqual("create() with memory", created, true);

  bench.session.settings[{"Output", "Volume"}] = {kUInt8, 30};
  Tavro::AudioProperties properties;
  properties.m_channels = 2;
  properties.m_bitsPerSample = 24;
  properties.m_sampleRate = 8000;
  Tavro::_Variant value = objectValue(&properties);
  bool written = false;
  Script::reset();  // so that little is allocated outside the component
  refuseEach(bench, "a property write", [&] {
    ++properties.m_sampleRate;  // another write, so that it is tried again
    written = bench.port->writeQuery(Tavro::PortQuery::kConfigurePcm, &value);
  });
  bench.expectEqual("a property write with memory", written, true);
  bench.expectEqual("bits per sample", bench.information("BitsPerSample"), std::string("24"));

  const Tavro::Setting other(Tavro::MediaType::Audio, narrow("Output"), narrow("Device"));
  Tavro::SettingConsumer& consumer = **bench.session.consumers.begin();
  refuseEach(bench, "a change of a setting", [&] { consumer.settingChanged(other, nullptr); });

  Tavro::StandardAllocator<Tavro::Node<Tavro::FormatDescriptor>> allocator;
  Tavro::FormatList formats(&allocator);
  bool listed = false;
  refuseEach(bench, "getSupportedFormats()", [&] {
    listed = bench.component->component().getSupportedFormats(nullptr, Tavro::MediaType::Audio,
                                                              Tavro::DataModel::Stream,
                                                              Tavro::PortType::Input, &formats);
  });
  bench.expectEqual("getSupportedFormats() with memory", listed, true);
  std::vector<const char*> keys;
  refuseEach(bench, "getInfoKeys()", [&] { bench.component->component().getInfoKeys(&keys); });
  bench.expectEqual("keys", keys.size(), std::size_t{3});
}

}  // namespace

std::vector<Promise> failurePromises() {
  const char* subject = "failures";
  return {
      {"pcm-failures", subject,
       "Any platform call of PCM may fail: only a step of a build fails its write, and nothing is "
       "left.",
       survivesPcmFailures},
      {"passthrough-failures", subject,
       "Any platform call of passthrough may fail, and nothing is left.",
       survivesPassthroughFailures},
      {"out-of-memory", subject,
       "If memory is refused, no exception leaves a call of the host, and the call works "
       "afterwards.",
       survivesRefusedMemory},
  };
}

}  // namespace Check
