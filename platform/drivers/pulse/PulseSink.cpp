// SPDX-License-Identifier: MIT

#include "platform/drivers/pulse/PulseSink.h"

#include <algorithm>
#include <span>

#include "platform/format/ChannelNames.h"
#include "platform/iec61937/BurstFormat.h"

namespace Platform {
namespace {

constexpr ChannelNames<int> kNames = {PA_CHANNEL_POSITION_MONO,
                                      PA_CHANNEL_POSITION_FRONT_LEFT,
                                      PA_CHANNEL_POSITION_FRONT_RIGHT,
                                      PA_CHANNEL_POSITION_FRONT_CENTER,
                                      PA_CHANNEL_POSITION_LFE,
                                      PA_CHANNEL_POSITION_REAR_CENTER,
                                      PA_CHANNEL_POSITION_SIDE_LEFT,
                                      PA_CHANNEL_POSITION_SIDE_RIGHT,
                                      PA_CHANNEL_POSITION_REAR_LEFT,
                                      PA_CHANNEL_POSITION_REAR_RIGHT,
                                      PA_CHANNEL_POSITION_FRONT_LEFT_OF_CENTER,
                                      PA_CHANNEL_POSITION_FRONT_RIGHT_OF_CENTER};

std::vector<std::uint32_t> burstRatesOf(const pa_sink_info& info) {
  std::vector<std::uint32_t> rates;
  for (const std::uint32_t rate : kBurstRates) {
    const FormatInfo wanted = burstFormat(rate);
    const std::span offered(info.formats, info.n_formats);
    if (std::ranges::any_of(offered, [&](const pa_format_info* each) {
          return pa_format_info_is_compatible(each, wanted.get()) != 0;
        })) {
      rates.push_back(rate);
    }
  }
  return rates;
}

}  // namespace

Sink sinkOf(const pa_sink_info& info) {
  Sink sink{.name = info.name,
            .index = info.index,
            .description = info.description != nullptr ? info.description : info.name,
            .rate = info.sample_spec.rate,
            .positions = {info.channel_map.map, info.channel_map.map + info.channel_map.channels},
            .burstRates = burstRatesOf(info)};
  sortInLayersOrder(kNames, sink.positions);
  sink.labels = labelsOf(kNames, sink.positions);
  return sink;
}

pa_channel_map channelMapOf(const Sink& sink) {
  pa_channel_map map{};
  map.channels = static_cast<std::uint8_t>(sink.positions.size());
  std::ranges::transform(sink.positions, map.map,
                         [](int position) { return static_cast<pa_channel_position_t>(position); });
  return map;
}

pa_sample_spec sampleSpecOf(const PcmFormat& format) {
  pa_sample_spec spec{.format = PA_SAMPLE_S16LE,
                      .rate = format.rate,
                      .channels = static_cast<std::uint8_t>(format.channels)};
  switch (format.sample.type) {
    case SampleType::S24:
      spec.format = PA_SAMPLE_S24LE;
      break;
    case SampleType::S32:
      spec.format = PA_SAMPLE_S32LE;
      break;
    case SampleType::F32:
      spec.format = PA_SAMPLE_FLOAT32LE;
      break;
    default:
      break;
  }
  return spec;
}

FormatInfo burstFormat(std::uint32_t rate) {
  FormatInfo format(pa_format_info_new());
  format->encoding = PA_ENCODING_AC3_IEC61937;
  pa_format_info_set_rate(format.get(), static_cast<int>(rate));
  pa_format_info_set_channels(format.get(), 2);
  return format;
}

}  // namespace Platform
