// SPDX-License-Identifier: MIT

#include "platform/drivers/file/WaveSpeakers.h"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace Platform {
namespace {

/// The speakers in the order of a WAVE file.
constexpr std::array kWaveSpeakers = {SF_CHANNEL_MAP_LEFT,
                                      SF_CHANNEL_MAP_RIGHT,
                                      SF_CHANNEL_MAP_CENTER,
                                      SF_CHANNEL_MAP_LFE,
                                      SF_CHANNEL_MAP_REAR_LEFT,
                                      SF_CHANNEL_MAP_REAR_RIGHT,
                                      SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER,
                                      SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER,
                                      SF_CHANNEL_MAP_REAR_CENTER,
                                      SF_CHANNEL_MAP_SIDE_LEFT,
                                      SF_CHANNEL_MAP_SIDE_RIGHT};
constexpr std::size_t kNoPlace = kWaveSpeakers.size();

/// Returns true for a surround pair beside a rear pair or a rear centre; alone it is at the back.
bool surroundsAreAtTheSides(const Labels& labels) {
  return std::ranges::any_of(labels, [](AudioChannelLabel label) {
    return label == kAudioChannelLabel_RearSurroundLeft ||
           label == kAudioChannelLabel_RearSurroundRight ||
           label == kAudioChannelLabel_CenterSurround;
  });
}

int speakerOf(AudioChannelLabel label, bool sides) {
  switch (label) {
    case kAudioChannelLabel_Left:
      return SF_CHANNEL_MAP_LEFT;
    case kAudioChannelLabel_Right:
      return SF_CHANNEL_MAP_RIGHT;
    case kAudioChannelLabel_Center:
    case kAudioChannelLabel_Mono:
      return SF_CHANNEL_MAP_CENTER;
    case kAudioChannelLabel_LFEScreen:
      return SF_CHANNEL_MAP_LFE;
    case kAudioChannelLabel_LeftSurround:
      return sides ? SF_CHANNEL_MAP_SIDE_LEFT : SF_CHANNEL_MAP_REAR_LEFT;
    case kAudioChannelLabel_RightSurround:
      return sides ? SF_CHANNEL_MAP_SIDE_RIGHT : SF_CHANNEL_MAP_REAR_RIGHT;
    case kAudioChannelLabel_RearSurroundLeft:
      return SF_CHANNEL_MAP_REAR_LEFT;
    case kAudioChannelLabel_RearSurroundRight:
      return SF_CHANNEL_MAP_REAR_RIGHT;
    case kAudioChannelLabel_LeftCenter:
      return SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER;
    case kAudioChannelLabel_RightCenter:
      return SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER;
    case kAudioChannelLabel_CenterSurround:
      return SF_CHANNEL_MAP_REAR_CENTER;
    default:
      return SF_CHANNEL_MAP_INVALID;
  }
}

std::vector<std::size_t> wavePlaces(const Labels& labels) {
  const bool sides = surroundsAreAtTheSides(labels);
  std::vector<std::size_t> places;
  for (const AudioChannelLabel label : labels) {
    const auto found = std::ranges::find(kWaveSpeakers, speakerOf(label, sides));
    places.push_back(static_cast<std::size_t>(found - kWaveSpeakers.begin()));
  }
  return places;
}

}  // namespace

std::vector<std::size_t> waveOrder(const Labels& labels) {
  const auto places = wavePlaces(labels);
  std::vector<std::size_t> order;
  for (std::size_t place = 0; place < kNoPlace; ++place) {
    const auto found = std::ranges::find(places, place);
    if (found != places.end()) {
      order.push_back(static_cast<std::size_t>(found - places.begin()));
    }
  }
  return order.size() == labels.size() ? order : std::vector<std::size_t>();
}

std::vector<int> waveSpeakers(const Labels& labels) {
  auto places = wavePlaces(labels);
  std::ranges::sort(places);
  std::vector<int> speakers;
  std::ranges::transform(places, std::back_inserter(speakers),
                         [](std::size_t place) { return kWaveSpeakers.at(place); });
  return speakers;
}

bool areUsualSpeakers(const std::vector<int>& speakers) {
  return speakers == std::vector<int>{SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT} ||
         speakers == std::vector<int>{SF_CHANNEL_MAP_CENTER};
}

}  // namespace Platform
