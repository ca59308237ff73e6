// SPDX-License-Identifier: MIT

#include "player/ffmpeg/FrameConverter.h"

#include <array>
#include <numeric>

#include "player/base/PackedSamples.h"
#include "player/media/MediaFile.h"

namespace Player {

namespace {

/// Returns the library's closest type; 24 bits are in the upper part of its 32.
AVSampleFormat libraryType(SampleType type) {
  switch (type) {
    case SampleType::Int16:
      return AV_SAMPLE_FMT_S16;
    case SampleType::Float32:
      return AV_SAMPLE_FMT_FLT;
    default:
      return AV_SAMPLE_FMT_S32;
  }
}

std::size_t libraryBytes(SampleType type) {
  return static_cast<std::size_t>(av_get_bytes_per_sample(libraryType(type)));
}

/// Takes the first channels if the layouts are not sufficient for a mix.
bool openTakingFirstChannels(SwrContext* converter, int channels) {
  std::array<int, 64> map{};
  std::iota(map.begin(), map.end(), 0);
  swr_close(converter);
  return channels <= static_cast<int>(map.size()) &&
         swr_set_channel_mapping(converter, map.data()) >= 0 && swr_init(converter) >= 0;
}

}  // namespace

void FrameConverter::add(const AVFrame& frame, std::vector<std::uint8_t>& out) {
  if (isAsItShouldBe(frame)) {
    append(frame.data[0], static_cast<std::size_t>(frame.nb_samples), out);
    return;
  }
  if (!isPreparedFor(frame)) {
    finish(out);
    prepareFor(frame);
  }
  convert(&frame, out);
}

void FrameConverter::finish(std::vector<std::uint8_t>& out) {
  if (m_converter) {
    convert(nullptr, out);
    m_converter.reset();
    m_spreadsMono = false;
  }
}

bool FrameConverter::isAsItShouldBe(const AVFrame& frame) const {
  return !m_converter && frame.format == libraryType(m_target.type) &&
         frame.sample_rate == static_cast<int>(m_target.rate) &&
         frame.ch_layout.nb_channels == static_cast<int>(m_target.channels);
}

bool FrameConverter::isPreparedFor(const AVFrame& frame) const {
  return m_converter && frame.format == m_shape->format &&
         frame.sample_rate == m_shape->sample_rate &&
         av_channel_layout_compare(&frame.ch_layout, &m_shape->ch_layout) == 0;
}

void FrameConverter::prepareFor(const AVFrame& frame) {
  m_shape.reset(av_frame_alloc());
  m_shape->format = frame.format;
  m_shape->sample_rate = frame.sample_rate;
  av_channel_layout_copy(&m_shape->ch_layout, &frame.ch_layout);

  const int from = frame.ch_layout.nb_channels;
  m_spreadsMono = from == 1 && m_target.channels == 2;
  const int to = m_spreadsMono ? 1 : static_cast<int>(m_target.channels);
  AVChannelLayout in{};
  AVChannelLayout out{};
  if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
    av_channel_layout_default(&in, from);
  } else {
    av_channel_layout_copy(&in, &frame.ch_layout);
  }
  if (from == to) {
    av_channel_layout_copy(&out, &in);
  } else {
    av_channel_layout_default(&out, to);
  }
  SwrContext* made = nullptr;
  const int result = swr_alloc_set_opts2(
      &made, &out, libraryType(m_target.type), static_cast<int>(m_target.rate), &in,
      static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
  m_converter.reset(made);
  av_channel_layout_uninit(&in);
  av_channel_layout_uninit(&out);
  if (result < 0 || (swr_init(made) < 0 && !openTakingFirstChannels(made, to))) {
    throw InputError("cannot convert its samples");
  }
}

/// Null converts what the converter still holds.
void FrameConverter::convert(const AVFrame* frame, std::vector<std::uint8_t>& out) {
  const int room = swr_get_out_samples(m_converter.get(), frame != nullptr ? frame->nb_samples : 0);
  const std::size_t channels = m_spreadsMono ? 1 : m_target.channels;
  const std::size_t bytesPerFrame = channels * libraryBytes(m_target.type);
  m_converted.resize(static_cast<std::size_t>(room > 0 ? room : 0) * bytesPerFrame);
  std::uint8_t* into[] = {m_converted.data()};
  const std::uint8_t** from =
      frame != nullptr ? const_cast<const std::uint8_t**>(frame->extended_data) : nullptr;
  const int done =
      swr_convert(m_converter.get(), into, room, from, frame != nullptr ? frame->nb_samples : 0);
  if (done > 0) {
    append(m_converted.data(), static_cast<std::size_t>(done), out);
  }
}

void FrameConverter::append(const std::uint8_t* samples, std::size_t frames,
                            std::vector<std::uint8_t>& out) const {
  const std::size_t copies = m_spreadsMono ? 2 : 1;
  appendPacked(samples, frames * m_target.channels / copies, libraryBytes(m_target.type),
               m_target.bytesPerSample(), copies, out);
}

}  // namespace Player
