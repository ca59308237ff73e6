// SPDX-License-Identifier: MIT

#include <fmt/format.h>

#include <cstdlib>

#include "check/promises/Promise.h"

namespace Check {
namespace {

using Tavro::_Variant;
using Tavro::VariantType::kUInt32;
using Tavro::VariantType::kUInt8;

void expectVolume(Bench& bench, const std::string& what, float wanted) {
  const auto& output = bench.platform.output();
  bench.require(output && output->volume, "the unit's volume is set", "it is not");
  bench.expectEqual(what, *output->volume, wanted);
}

void appliesTheSetting(Bench& bench) {
  bench.build();
  for (unsigned percent = 0; percent <= 255; ++percent) {
    bench.announceVolume({kUInt8, 0xABCD0000U | percent});  // the low byte counts
    expectVolume(bench, fmt::format("gain of {} %", percent),
                 percent > 100 ? 1.0F : static_cast<float>(percent) / 100.0F);
  }
}

void appliesTheSessionsVolume(Bench& bench) {
  bench.connect();
  bench.announceVolume({kUInt8, 50});  // there is no unit to apply it to, nor is it kept
  bench.write(8000, 2, 16);
  expectVolume(bench, "gain without a setting", 1.0F);
  const auto writeWith = [&](_Variant value, std::uint32_t rate) {
    bench.session.settings[{"Output", "Volume"}] = value;
    bench.require(bench.write(rate, 2, 16), "the property write returns true", "false");
  };
  writeWith({kUInt8, 30}, 48000);
  expectVolume(bench, "gain with a setting of 30", 0.3F);
  bench.announceVolume({kUInt8, 90});
  writeWith({kUInt8, 0}, 44100);
  expectVolume(bench, "gain with a setting of 0", 0.0F);
  writeWith({kUInt32, 30}, 48000);
  expectVolume(bench, "gain with a setting of another type", 1.0F);
}

void ignoresOtherSettings(Bench& bench) {
  bench.build();
  bench.require(!bench.session.consumers.empty(), "a setting consumer is registered", "none is");
  Tavro::SettingConsumer& consumer = **bench.session.consumers.begin();
  bench.platform.takeCalls();
  _Variant half{kUInt8, 50};
  _Variant number{kUInt32, 50};
  struct Announced {
    unsigned mediaType;
    const char* group;
    const char* name;
    _Variant* value;
  };
  for (const Announced& other : {Announced{2, "Output", "Volume ", &half},
                                 {2, "Output", "volume", &half},
                                 {2, "output", "Volume", &half},
                                 {2, "Volume", "Output", &half},
                                 {1, "Output", "Volume", &half},
                                 {2, "Output", "Volume", &number},
                                 {2, "Output", "Volume", nullptr},
                                 {2, "Channels", "Maximum", &number}}) {
    bench.step(
        fmt::format("announce {} / {} of media type {}", other.group, other.name, other.mediaType));
    consumer.settingChanged(
        {static_cast<Tavro::MediaType>(other.mediaType), narrow(other.group), narrow(other.name)},
        other.value);
    bench.expectEqual("platform calls", bench.platform.takeCalls(), Lines{});
  }
}

/// The sound, not only the call: half the volume is half of each sample.
void isHeard(Bench& bench) {
  bench.build();
  bench.start();
  bench.announceVolume({kUInt8, 50});
  bench.upstream.addTens(4, 1000);
  bench.feed();
  bench.setGraphTime(1000);
  bench.platform.device().cycle(480);  // changes of the volume take one cycle
  const Bytes played = bench.platform.device().cycle(480).buffers.at(0);
  const Bytes& content = bench.upstream.buffers().at(1)->content();
  for (std::size_t i = 0; i + 1 < content.size(); i += 2) {
    const auto sample = [i](const Bytes& bytes) {
      return static_cast<std::int16_t>(bytes.at(i) | bytes.at(i + 1) << 8);
    };
    const int wanted = sample(content) / 2;
    bench.require(std::abs(sample(played) - wanted) <= 1,
                  fmt::format("sample {} at half its volume: {}", i / 2, wanted),
                  std::to_string(sample(played)));
  }
}

}  // namespace

std::vector<Promise> volumePromises() {
  const char* subject = "volume";
  return {
      {"volume-setting", subject,
       "A change of Output / Volume becomes the unit's gain, in percent, limited to 1.",
       appliesTheSetting},
      {"session-volume", subject,
       "Each build applies the session's volume, and full volume if there is none of its type.",
       appliesTheSessionsVolume},
      {"other-settings", subject, "Settings of another name, media type or value type are ignored.",
       ignoresOtherSettings},
      {"volume-is-heard", subject, "At half the volume the device plays half of each sample.",
       isHeard},
  };
}

}  // namespace Check
