// SPDX-License-Identifier: MIT

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <functional>
#include <utility>

#include "check/promises/Promise.h"

namespace Check {
namespace {

using AudioDevices::ac3Bursts;
using AudioDevices::pcmInteger;
using Formats = std::vector<AudioStreamBasicDescription>;
using Sizes = std::vector<std::size_t>;
namespace Script = AudioDevices::Script;

AudioStreamBasicDescription marked(AudioStreamBasicDescription format, UInt32 mark) {
  format.mReserved = mark;
  return format;
}

/// A device of streams in PCM that offer these formats beside it; a connected component.
void setUp(Bench& bench, const std::vector<Formats>& offers) {
  AudioDevices::ScriptedSetup setup{.name = "digital", .streams = {}};
  for (const Formats& offered : offers) {
    setup.streams.push_back({.format = pcmInteger(44100, 2, 16), .available = offered});
  }
  bench.platform.useDevice(setup);
  bench.connect();
  bench.platform.takeCalls();
}

/// Two streams, of which the second takes AC-3 at 48 kHz.
void setUp(Bench& bench) {
  setUp(bench, {{pcmInteger(48000, 2, 16)}, {pcmInteger(48000, 2, 16), ac3Bursts(48000, 2)}});
}

bool passThrough(Bench& bench, std::uint32_t rate = 48000, std::uint32_t channels = 2) {
  return bench.write(rate, channels, 16, Tavro::PortQuery::kConfigurePassthrough);
}

void setUpAndPassThrough(Bench& bench) {
  setUp(bench);
  bench.require(passThrough(bench), "the passthrough write returns true", "false");
}

std::string formatInWords(const AudioStreamBasicDescription& format) {
  return fmt::format("{:#x} at {} Hz, {} channels, mark {}", format.mFormatID, format.mSampleRate,
                     format.mChannelsPerFrame, format.mReserved);
}

AudioStreamBasicDescription formatOf(Bench& bench, std::size_t stream) {
  const AudioObjectPropertyAddress address = {kAudioStreamPropertyPhysicalFormat,
                                              kAudioObjectPropertyScopeGlobal, 0};
  AudioStreamBasicDescription format{};
  UInt32 size = sizeof format;
  AudioObjectGetPropertyData(bench.platform.device().stream(stream), &address, 0, nullptr, &size,
                             &format);
  return format;
}

void expectFormat(Bench& bench, std::size_t stream, const AudioStreamBasicDescription& wanted) {
  bench.expectEqual(fmt::format("format of stream {}", stream),
                    formatInWords(formatOf(bench, stream)), formatInWords(wanted));
}

void queueBursts(Bench& bench, const Sizes& sizes) {
  for (const std::size_t size : sizes) {
    bench.upstream.add(size, 1000, 32);
  }
  bench.feed();
}

/// What a cycle plays on a stream.
Bytes played(Bench& bench, std::size_t stream = 1) {
  bench.step("run a cycle of the device");
  const auto cycle = bench.platform.device().cycle(1536);
  bench.require(cycle.ran, "a client plays on the device", "none does");
  return cycle.buffers.at(stream);
}

void expectBurst(Bench& bench, std::size_t number) {
  bench.expectBytes(fmt::format("burst {}, unchanged", number), played(bench),
                    bench.upstream.buffers().at(number)->content());
}

void expectNothing(Bench& bench, const char* why) {
  bench.expect(isZero(played(bench)), std::string("nothing on the stream: ") + why, "other bytes");
}

void selectsTheFirstMatch(Bench& bench) {
  setUp(bench, {{pcmInteger(48000, 2, 16)},
                {ac3Bursts(44100, 2), ac3Bursts(48000, 6), ac3Bursts(48000, 2, 0x61632D34),
                 marked(ac3Bursts(48000, 2), 3), marked(ac3Bursts(48000, 2, kAudioFormatAC3), 4)},
                {ac3Bursts(48000, 2, 0x49414333)}});
  bench.require(passThrough(bench), "the passthrough write returns true", "false");
  expectFormat(bench, 0, pcmInteger(44100, 2, 16));
  expectFormat(bench, 1, marked(ac3Bursts(48000, 2), 3));
  expectFormat(bench, 2, pcmInteger(44100, 2, 16));
  bench.expectEqual(
      "the calls that change the device",
      bench.platform.takeCalls({"AudioObjectSet", "AudioDevice", "NewAUGraph", "AudioUnit"}),
      Lines{"AudioObjectSetPropertyData 'pft '", "AudioDeviceCreateIOProcID", "AudioDeviceStart"});
  bench.expectEqual("bits per sample", bench.information("BitsPerSample"), std::string("16"));
}

void acceptsFourCodes(Bench& bench) {
  for (const UInt32 code : {0x49414333U, 0x69616333U, 0x63616333U, 0x61632D33U}) {
    const Bench::Case coded(bench, fmt::format("format {:#x}", code));
    setUp(bench, {{ac3Bursts(48000, 2, code)}});
    bench.event(Tavro::PortEvent::kDisconnect);  // which takes the format descriptor
    bench.expectEqual("the passthrough write", passThrough(bench), true);
    expectFormat(bench, 0, ac3Bursts(48000, 2, code));
    bench.end();
  }
}

void refusesWithoutAMatch(Bench& bench) {
  AudioStreamBasicDescription noRate = ac3Bursts(48000, 2);
  noRate.mSampleRate = std::nan("");
  setUp(bench,
        {{ac3Bursts(44100, 2), ac3Bursts(48000, 6), noRate, ac3Bursts(48000, 2, 0x61632D34)}});
  bench.expectEqual("the passthrough write", passThrough(bench), false);
  bench.expectEqual("the calls that change the device",
                    bench.platform.takeCalls({"AudioObjectSet", "AudioDevice"}), Lines{});
  expectFormat(bench, 0, pcmInteger(44100, 2, 16));
  bench.expectEqual("ready", bench.ready(), false);
}

void restoresTheFormat(Bench& bench) {
  setUpAndPassThrough(bench);
  bench.platform.takeCalls();
  const Lines ends = {"AudioDeviceStop", "AudioDeviceDestroyIOProcID",
                      "AudioObjectSetPropertyData 'pft '"};
  bench.event(Tavro::PortEvent::kDisconnect);
  bench.expectEqual("the calls of the disconnect", bench.platform.takeCalls(), ends);
  expectFormat(bench, 1, pcmInteger(44100, 2, 16));
  bench.platform.takeCalls();
  bench.event(Tavro::PortEvent::kDisconnect);
  bench.expectEqual("the calls of another one", bench.platform.takeCalls(), Lines{});
  passThrough(bench, 1, 1);  // fails, so the next one is a change
  bench.require(passThrough(bench), "passthrough begins again", "it does not");
  bench.platform.takeCalls();
  bench.end();
  bench.expectEqual("the calls of the deletion", bench.platform.takeCalls(), ends);
  expectFormat(bench, 1, pcmInteger(44100, 2, 16));
}

void changesMode(Bench& bench) {
  setUp(bench);
  bench.expectEqual("a PCM write", bench.write(48000, 2, 16), true);
  bench.expectEqual("the same for passthrough", passThrough(bench), true);
  bench.expect(Script::leftovers() == Script::Leftovers{.ioProcedures = 1, .runningDevices = 1},
               "an I/O procedure instead of the graph", "something else");
  bench.expectEqual("the same once more", passThrough(bench), false);
  bench.expectEqual("the same for PCM", bench.write(48000, 2, 16), true);
  bench.expect(Script::leftovers() == Script::Leftovers{.graphs = 1, .units = 1},
               "a graph instead of the I/O procedure", "something else");
  expectFormat(bench, 1, pcmInteger(44100, 2, 16));
  bench.expectEqual("passthrough at a rate that no stream takes", passThrough(bench, 44100), false);
  bench.expectNothingRegistered();
}

void passesBursts(Bench& bench) {
  setUpAndPassThrough(bench);
  bench.setGraphTime(1000);
  queueBursts(bench, {kBurstBytes, kBurstBytes, kBurstBytes});
  bench.setGraphTime(90000);  // no clock is consulted
  for (unsigned i = 0; i < 3; ++i) {
    expectBurst(bench, i);
    bench.expectEqual("bursts released", bench.upstream.released(), i + 1);
    bench.advance(100);
  }
  expectNothing(bench, "the queue is empty");
  bench.expectEqual("reports", bench.session.takeReports().size(), std::size_t{0});
  bench.expectEqual("time of the time base", bench.timeBase().currentTime(), 0U);
  bench.expectEqual("running", bench.timeBase().isRunning(), false);
  queueBursts(bench, {});
  bench.expectNoMisuse();
}

void leavesOtherStreams(Bench& bench) {
  setUpAndPassThrough(bench);
  queueBursts(bench, {kBurstBytes, kBurstBytes});
  bench.expect(isZero(played(bench, 0)), "nothing on the other stream", "bytes");
}

void consumesOtherSizes(Bench& bench) {
  setUpAndPassThrough(bench);
  queueBursts(bench, {4096, kBurstBytes, 8192, kBurstBytes - 1, kBurstBytes, kBurstBytes});
  expectNothing(bench, "the buffer has 4096 bytes");
  bench.expectEqual("buffers released", bench.upstream.released(), 1U);
  expectBurst(bench, 1);
  expectNothing(bench, "the buffer has 8192 bytes");
  expectNothing(bench, "the buffer has 6143 bytes");
  bench.expectEqual("buffers released", bench.upstream.released(), 4U);
  for (const std::uint32_t room : {8192U, 512U}) {
    bench.platform.device().setBufferBytes(1, room);
    expectNothing(bench, "the device's buffer has another size");
  }
  bench.expectEqual("buffers released", bench.upstream.released(), 6U);
}

void waitsForMemory(Bench& bench) {
  setUpAndPassThrough(bench);
  queueBursts(bench, {kBurstBytes, kBurstBytes});
  bench.platform.device().setBufferWithoutMemory(1, true);
  played(bench);
  const auto registered = registeredProcedure(bench.platform.calls());
  bench.require(registered.has_value(), "an I/O procedure is registered", "none is");
  const auto call = [&](AudioBufferList* list, void* clientData) {
    bench.step("call the I/O procedure");
    const AudioTimeStamp time{};
    bench.expectEqual(
        "status of the I/O procedure",
        registered->procedure(registered->device, &time, nullptr, &time, list, &time, clientData),
        OSStatus{noErr});
  };
  Bytes memory(kBurstBytes, 0);
  AudioBufferList one{1, {{2, static_cast<UInt32>(kBurstBytes), memory.data()}}};
  call(nullptr, registered->clientData);
  call(&one, registered->clientData);  // no buffer for the second stream
  call(&one, nullptr);
  bench.expect(isZero(memory), "the other stream's buffer stays", "it was written");
  bench.expectEqual("buffers released", bench.upstream.released(), 0U);
}

void staysThroughEvents(Bench& bench) {
  setUpAndPassThrough(bench);
  queueBursts(bench, {kBurstBytes, kBurstBytes, kBurstBytes});
  bench.platform.takeCalls();
  for (const std::uint32_t id : {Tavro::PortEvent::kStop, Tavro::PortEvent::kStart}) {
    bench.event(id);
    bench.upstream.add(kBurstBytes, 1000, 32);
    bench.letFeederRun();
    bench.expectEqual("buffers that wait upstream", bench.upstream.waiting(), std::size_t{0});
    bench.expectEqual("ready", bench.ready(), true);
  }
  bench.event(Tavro::PortEvent::kFlush);
  bench.expectReferencesReturned();
  bench.expectEqual("platform calls", bench.platform.takeCalls(), Lines{});
  expectNothing(bench, "the queue was flushed");
}

void holdsDuringCycles(Bench& bench) {
  using Hook = std::function<void()> RecordedBuffer::*;
  const std::array<std::pair<const char*, Hook>, 3> moments = {
      {{"lockData()", &RecordedBuffer::onLock},
       {"unlockData()", &RecordedBuffer::onUnlock},
       {"release()", &RecordedBuffer::onRelease}}};
  for (const auto& [name, hook] : moments) {
    for (const bool otherThread : {false, true}) {
      const Bench::Case named(
          bench, fmt::format("flush in {}{}", name, otherThread ? " on another thread" : ""));
      setUpAndPassThrough(bench);
      queueBursts(bench, {kBurstBytes, kBurstBytes});
      bool flushed = false;
      bench.upstream.buffers().at(0)->*hook = [&, fromThread = otherThread] {
        if (!std::exchange(flushed, true)) {
          bench.flush(fromThread);
          queueBursts(bench, {kBurstBytes});  // before the cycle continues
        }
      };
      played(bench);
      bench.expectEqual("buffers released", bench.upstream.released(), 2U);
      expectBurst(bench, 2);
      bench.expectNoMisuse();
      bench.end();
      bench.upstream.forget();
    }
  }
}

}  // namespace

std::vector<Promise> passthroughPromises() {
  const char* subject = "passthrough";
  return {
      {"passthrough-selection", subject,
       "The first stream with a matching AC-3 format is switched to its first one, then cycles "
       "start.",
       selectsTheFirstMatch},
      {"passthrough-codes", subject,
       "Four format codes count as AC-3, and passthrough needs no format of the connection.",
       acceptsFourCodes},
      {"passthrough-refused", subject,
       "Without a format of exactly the rate and channel count nothing changes on the device.",
       refusesWithoutAMatch},
      {"passthrough-restored", subject,
       "The end of passthrough stops and removes the I/O procedure and restores the format, once.",
       restoresTheFormat},
      {"passthrough-mode", subject,
       "A write of the other mode ends the one path and builds the other.", changesMode},
      {"passthrough-untouched", subject,
       "Bursts reach the stream unchanged, in order, one a cycle, outside any clock and report.",
       passesBursts},
      {"passthrough-other-streams", subject, "The device's other streams stay as they are.",
       leavesOtherStreams},
      {"passthrough-sizes", subject,
       "A buffer or device buffer of another size than 6144 bytes is consumed without output.",
       consumesOtherSizes},
      {"passthrough-memory", subject, "A cycle without memory for the stream consumes nothing.",
       waitsForMemory},
      {"passthrough-events", subject,
       "Stop and start change nothing during passthrough; a flush empties the queue.",
       staysThroughEvents},
      {"passthrough-flush", subject,
       "A flush in the middle of a cycle releases the burst once and loses no fresh one.",
       holdsDuringCycles},
  };
}

}  // namespace Check
