// SPDX-License-Identifier: MIT

#include <fmt/format.h>

#include <array>
#include <utility>

#include "check/promises/Promise.h"

namespace Check {
namespace {

using Tavro::_Variant;
using Map = std::vector<SInt32>;
namespace Script = AudioDevices::Script;

constexpr OSStatus kBuildFault = -4960;

void buildsInOrder(Bench& bench) {
  bench.connect();
  bench.platform.takeCalls();
  bench.require(bench.write(48000, 2, 16), "the property write returns true", "false");
  Lines calls =
      bench.platform.takeCalls({"NewAUGraph", "AUGraphAdd", "AUGraphOpen", "AUGraphNode",
                                "AUGraphInit", "AudioUnitSetProperty", "AudioUnitGetProperty ",
                                "AudioUnitReset", "AUGraphStart", "AudioUnitSetParameter"});
  std::erase(calls, "AudioUnitGetProperty 2002");  // a map of more channels is read
  bench.expectEqual(
      "the calls of a build", calls,
      Lines{"NewAUGraph", "AUGraphAddNode", "AUGraphOpen", "AUGraphNodeInfo", "AUGraphInitialize",
            "AudioUnitSetProperty 8", "AudioUnitSetProperty 23", "AudioUnitGetProperty 2000",
            "AudioUnitReset", "AudioUnitSetParameter 14"});
}

void expectFormat(Bench& bench, AudioFormatFlags flags, std::uint32_t rate, UInt32 channels,
                  UInt32 bits) {
  const AudioStreamBasicDescription got = bench.platform.output()->format;
  const UInt32 frameBytes = channels * (bits / 8);
  const auto inWords = [](double sampleRate, UInt32 id, UInt32 formatFlags, UInt32 packet,
                          UInt32 packetFrames, UInt32 frame, UInt32 channelCount, UInt32 width) {
    return fmt::format("{} Hz, id {:#x}, flags {}, {}/{}/{} bytes and frames, {} channels, {} bits",
                       sampleRate, id, formatFlags, packet, packetFrames, frame, channelCount,
                       width);
  };
  bench.expectEqual(
      "the unit's format",
      inWords(got.mSampleRate, got.mFormatID, got.mFormatFlags, got.mBytesPerPacket,
              got.mFramesPerPacket, got.mBytesPerFrame, got.mChannelsPerFrame, got.mBitsPerChannel),
      inWords(rate, kAudioFormatLinearPCM, flags, frameBytes, 1, frameBytes, channels, bits));
}

void describesTheStream(Bench& bench) {
  for (const std::uint32_t bits : {32U, 16U, 0U}) {  // floats have 32 whatever is written
    bench.build(Tavro::FormatCode::kFloat, 48000, 2, bits);
    expectFormat(bench, 9, 48000, 2, 32);
    bench.end();
  }
  bench.build(Tavro::FormatCode::kBigEndian, 48000, 2, 16);
  expectFormat(bench, 14, 48000, 2, 16);
  bench.end();
  for (const std::uint32_t code : {0U, 1U, 2U, 0x74776F73U, 0xFFFFFFFFU}) {
    const Bench::Case connected(bench, fmt::format("format code {:#x}", code));
    bench.build(code, 192000, 8, 24);
    expectFormat(bench, 12, 192000, 8, 24);
    bench.end();
  }
  bench.build(Tavro::FormatCode::kInteger, 11025, 3, 8);
  expectFormat(bench, 12, 11025, 3, 8);
}

/// Formats that no device has, on a unit that takes them.
void playsOddFormats(Bench& bench) {
  struct Shape {
    std::uint32_t rate, channels, bits, frameBytes;
  };
  for (const Shape& shape : {Shape{0, 2, 16, 4}, Shape{48000, 0, 16, 0}, Shape{32000, 2, 7, 0},
                             Shape{96000, 0x80000000U, 16, 0}}) {
    const Bench::Case written(
        bench, fmt::format("{} Hz, {} channels, {} bits", shape.rate, shape.channels, shape.bits));
    bench.build();
    Script::failCall("AudioUnitSetProperty", 1, noErr);  // returns 0 and does nothing
    bench.expectEqual("the property write", bench.write(shape.rate, shape.channels, shape.bits),
                      true);
    bench.queue(400, 1000, 10);
    bench.setGraphTime(1000);
    const Rendered call = bench.render(10);
    bench.expectEqual("bytes of a call", call.byteSize, 10 * shape.frameBytes);
    bench.expect(call.staysWithinMemory, "only the capacity is written", "more was");
    bench.timeBase().currentTime();
    bench.end();
  }
}

void swapsSurroundPairs(Bench& bench) {
  const std::array<std::pair<Map, Map>, 4> maps = {
      {{{0, 1, 2, 3, 4, 5, 6, 7}, {0, 1, 2, 3, 6, 7, 4, 5}},
       {{9, -1, 2, 3, 8, 8, 8, 8, 1, 0}, {9, -1, 2, 3, 6, 7, 4, 5, 1, 0}},
       {{0, 1, 2, 3, 4, 5, 6}, {}},
       {{}, {}}}};
  for (const auto& [before, after] : maps) {
    const Bench::Case entries(bench, fmt::format("a map of {} entries", before.size()));
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(before.data());
    Script::answerUnitProperty(kAudioOutputUnitProperty_ChannelMap,
                               {.bytes = {bytes, bytes + before.size() * sizeof(SInt32)}});
    const std::vector<AudioChannelLabel> labels(before.size(), 1);
    if (!before.empty()) {  // whose map can be written
      bench.platform.useDevice(
          {.name = fmt::format("of {}", before.size()),
           .streams = {{.format = AudioDevices::pcmInteger(
                            48000, static_cast<std::uint32_t>(before.size()), 16)}},
           .labels = labels});
    }
    bench.build();
    bench.expect(bench.platform.output()->channelMap == after,
                 "the map that is set: " + fmt::format("{}", fmt::join(after, " ")),
                 fmt::format("{}", fmt::join(bench.platform.output()->channelMap, " ")));
    bench.end();
    bench.platform.forgetCalls();
  }
}

void refusesAnotherDeviceSize(Bench& bench) {
  for (const std::size_t bytes : {2U, 0U}) {
    bench.connect();
    Script::answerUnitProperty(kAudioOutputUnitProperty_CurrentDevice, {.bytes = Bytes(bytes, 0)});
    bench.expectEqual(fmt::format("the property write, with a current device of {} bytes", bytes),
                      bench.write(48000, 2, 16), false);
    bench.expectNothingRegistered();
    bench.end();
  }
}

void rebuilds(Bench& bench) {
  bench.build();
  const auto isRunning = [&] {
    return bench.platform.output().has_value() && bench.platform.output()->running;
  };
  bench.queue(400, 1000, 10);
  bench.expectEqual("a write of another rate", bench.write(44100, 2, 16), true);
  bench.expectEqual("buffers released by it", bench.upstream.released(), 1U);
  bench.write(48000, 1, 16);
  bench.expectEqual("running, as it was stopped", isRunning(), false);
  bench.start();
  bench.expectEqual("a write of another channel count", bench.write(48000, 2, 16), true);
  bench.expectEqual("running, as it was started", isRunning(), true);
  bench.expectEqual("graphs", Script::leftovers().graphs, std::size_t{1});
  Script::failCall("AUGraphIsRunning", 1, kBuildFault);
  bench.expectEqual("a write while the platform cannot say whether it runs",
                    bench.write(48000, 1, 16), true);
  bench.expectEqual("running after it", isRunning(), false);
}

void ignoresTheSameProperties(Bench& bench) {
  bench.build();
  bench.start();
  bench.queue(400, 1000, 10);
  bench.platform.takeCalls();
  for (const std::uint32_t bits : {16U, 24U}) {
    bench.expectEqual(fmt::format("the same rate and channels with {} bits", bits),
                      bench.write(48000, 2, bits), false);
  }
  bench.expectEqual("platform calls", bench.platform.takeCalls(), Lines{});
  bench.expectEqual("buffers released", bench.upstream.released(), 0U);
  bench.expectEqual("bits per sample", bench.information("BitsPerSample"), std::string("16"));
}

void publishesBitsPerSample(Bench& bench) {
  const auto expectBits = [&](const char* wanted) {
    bench.expectEqual("bits per sample", bench.information("BitsPerSample"), std::string(wanted));
  };
  bench.build();
  expectBits("16");
  bench.write(44100, 2, 24);
  expectBits("24");
  Script::failCall("AUGraphInitialize", 1, kBuildFault);
  bench.write(48000, 2, 8);
  expectBits("24");
  bench.end();
  bench.build(Tavro::FormatCode::kFloat, 48000, 2, 8);
  expectBits("8");
}

void refusesOtherValues(Bench& bench) {
  bench.build();
  bench.platform.takeCalls();
  Tavro::AudioProperties other;
  other.m_sampleRate = 8000;
  other.m_channels = 1;
  const auto refuses = [&](const char* what, std::uint32_t id, _Variant value) {
    bench.expectEqual(what, bench.port->writeQuery(id, &value), false);
  };
  for (const std::uint32_t id :
       {Tavro::PortQuery::kConfigurePcm, Tavro::PortQuery::kConfigurePassthrough}) {
    refuses("a value of another type", id,
            {Tavro::VariantType::kUInt32, objectValue(&other).value});
    refuses("an object that is null", id, {Tavro::VariantType::kObject, 0});
  }
  refuses("another query", 0x200b000f, objectValue(&other));
  _Variant number{Tavro::VariantType::kUInt32, 50};
  bench.expectEqual("another question", bench.port->readQuery(0x20130005, &number), false);
  bench.expect(number.type == Tavro::VariantType::kUInt32 && number.value == 50,
               "an answer that is refused changes nothing", "the value changed");
  bench.expectEqual("platform calls", bench.platform.takeCalls(), Lines{});
  bench.expectEqual("a write of the former properties", bench.write(48000, 2, 16), false);
}

void needsAConnection(Bench& bench) {
  bench.build();
  bench.event(Tavro::PortEvent::kDisconnect);
  bench.write(44100, 2, 16);
  bench.expect(!bench.platform.output(), "no output without the format of a connection",
               "one was built");
  bench.expectNothingRegistered();
}

void triesAnotherWrite(Bench& bench) {
  bench.build();
  bench.start();
  Script::failCall("AUGraphInitialize", 1, kBuildFault);
  bench.expectEqual("a write whose build fails", bench.write(44100, 2, 24), false);
  bench.expectNothingRegistered();
  bench.upstream.addTens(3, 1000);
  bench.feed();
  bench.expectEqual("ready", bench.ready(), false);
  bench.platform.takeCalls();
  bench.expectEqual("the same write once more", bench.write(44100, 2, 24), false);
  bench.expectEqual("platform calls of that", bench.platform.takeCalls(), Lines{});
  bench.expectEqual("another write", bench.write(48000, 2, 24), true);
  bench.expect(bench.platform.output() && !bench.platform.output()->running, "a stopped output",
               "another one");
}

void usesOnlyWhatIsThere(Bench& bench) {
  bench.build();
  bench.start();
  bench.event(Tavro::PortEvent::kFlush);
  bench.write(48000, 1, 16);
  Script::failCall("AUGraphInitialize", 1, kBuildFault);
  bench.write(44100, 2, 16);
  bench.announceVolume({Tavro::VariantType::kUInt8, 50});
  bench.start();
  bench.write(48000, 2, 16);
  bench.event(Tavro::PortEvent::kDisconnect);
  bench.announceVolume({Tavro::VariantType::kUInt8, 50});
  bench.timeBase().isRunning();
  for (const std::uint32_t id :
       {Tavro::PortEvent::kStart, Tavro::PortEvent::kStop, Tavro::PortEvent::kFlush}) {
    bench.event(id);
  }
  bench.end();
  bench.expectEqual("platform calls on what is not there", misusesIn(bench.platform.calls()),
                    Lines{});
}

}  // namespace

std::vector<Promise> configurationPromises() {
  const char* subject = "configuration";
  return {
      {"build-order", subject,
       "A property write builds in order: node, open, initialise, format, callback, device, reset, "
       "volume.",
       buildsInOrder},
      {"stream-format", subject,
       "The unit's stream format follows the connection's format code and the written properties.",
       describesTheStream},
      {"odd-formats", subject,
       "A format without bytes or rate that the unit takes divides nothing by zero.",
       playsOddFormats},
      {"channel-map", subject,
       "On a device of eight or more channels, entries 4 and 5 swap with 6 and 7; other maps stay.",
       swapsSurroundPairs},
      {"device-size", subject,
       "A current device of another size than an identifier fails the write and leaves nothing.",
       refusesAnotherDeviceSize},
      {"rebuild", subject,
       "A write of another rate or channel count rebuilds the output, which runs if it ran before.",
       rebuilds},
      {"same-properties", subject,
       "A write of the same rate, channel count and mode returns false and changes nothing.",
       ignoresTheSameProperties},
      {"bits-per-sample", subject, "A write that succeeds publishes its bits per sample.",
       publishesBitsPerSample},
      {"refused-values", subject,
       "A write of another type, without an object or with another identifier changes nothing.",
       refusesOtherValues},
      {"refused-states", subject, "A PCM write without a connection's format builds nothing.",
       needsAConnection},
      {"failed-build", subject,
       "A write whose build fails leaves nothing; only a different write tries again.",
       triesAnotherWrite},
      {"platform-handles", subject,
       "No platform call is made on a graph, unit, device or procedure that is not there.",
       usesOnlyWhatIsThere},
  };
}

}  // namespace Check
