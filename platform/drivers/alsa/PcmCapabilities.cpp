// SPDX-License-Identifier: MIT

#include "platform/drivers/alsa/PcmCapabilities.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace Platform {
namespace {

constexpr std::uint32_t kMostUsualChannels = 8;
constexpr std::uint32_t kLowestRate = 1000;
constexpr std::uint32_t kHighestRate = 768000;
constexpr std::array kUsualRates = {8000U,   11025U,  12000U,  16000U, 22050U, 24000U,
                                    32000U,  44100U,  48000U,  64000U, 88200U, 96000U,
                                    176400U, 192000U, 352800U, 384000U};

using Types = std::array<SampleType, 4>;

/// Returns the sample types to use for `type`, from lossless to the most lossy.
Types typesFor(SampleType type) {
  switch (type) {
    case SampleType::S24:
      return {SampleType::S24, SampleType::S32, SampleType::F32, SampleType::S16};
    case SampleType::S32:
      return {SampleType::S32, SampleType::F32, SampleType::S24, SampleType::S16};
    case SampleType::F32:
      return {SampleType::F32, SampleType::S32, SampleType::S24, SampleType::S16};
    default:
      return kBackendTypes;
  }
}

bool hasRate(snd_pcm_t* pcm, HwParams& params, std::uint32_t rate) {
  return snd_pcm_hw_params_test_rate(pcm, params.get(), rate, 0) == 0;
}

void readRates(snd_pcm_t* pcm, HwParams& params, Ability& ability) {
  unsigned lowest = 0;
  unsigned highest = 0;
  int direction = 0;
  snd_pcm_hw_params_get_rate_min(params.get(), &lowest, &direction);
  snd_pcm_hw_params_get_rate_max(params.get(), &highest, &direction);
  std::vector<std::uint32_t> candidates(kUsualRates.begin(), kUsualRates.end());
  candidates.insert(candidates.end(), {std::clamp(lowest, kLowestRate, kHighestRate),
                                       std::clamp(highest, kLowestRate, kHighestRate)});
  std::ranges::sort(candidates);
  candidates.erase(std::ranges::unique(candidates).begin(), candidates.end());
  std::ranges::copy_if(candidates, std::back_inserter(ability.rates),
                       [&](std::uint32_t rate) { return hasRate(pcm, params, rate); });
  if (!ability.rates.empty()) {
    const std::uint32_t unusual = (ability.rates.front() + ability.rates.back()) / 2 | 1U;
    ability.anyBetween = ability.rates.size() > 1 && hasRate(pcm, params, unusual);
  }
}

std::vector<std::uint32_t> channelCounts(const PcmCapabilities& abilities) {
  std::vector<std::uint32_t> counts;
  for (const Ability& each : abilities) {
    counts.push_back(each.channels);
  }
  return counts;
}

}  // namespace

bool Ability::takes(std::uint32_t rate) const {
  return anyBetween ? rate >= rates.front() && rate <= rates.back()
                    : std::ranges::binary_search(rates, rate);
}

std::uint32_t Ability::nearest(std::uint32_t rate) const {
  const auto higher = std::ranges::lower_bound(rates, rate);
  return takes(rate) ? rate : higher != rates.end() ? *higher : rates.back();
}

PcmCapabilities abilitiesOf(snd_pcm_t* pcm) {
  PcmCapabilities abilities;
  HwParams all;
  unsigned fewest = 0;
  if (readParams(pcm, all) < 0 || snd_pcm_hw_params_get_channels_min(all.get(), &fewest) < 0) {
    return abilities;
  }
  const unsigned most = std::min(std::max(fewest, kMostUsualChannels), kMaxChannels);
  for (unsigned channels = std::max(fewest, 1U); channels <= most; ++channels) {
    HwParams some = all;
    if (snd_pcm_hw_params_set_channels(pcm, some.get(), channels) < 0) {
      continue;
    }
    for (const SampleType type : kBackendTypes) {
      HwParams one = some;
      Ability ability{.type = type, .channels = channels};
      if (snd_pcm_hw_params_set_format(pcm, one.get(), alsaFormatOf(type)) == 0) {
        readRates(pcm, one, ability);
      }
      if (!ability.rates.empty()) {
        abilities.push_back(std::move(ability));
      }
    }
  }
  return abilities;
}

bool canTake(const PcmCapabilities& abilities, const PcmFormat& format) {
  return !format.sample.bigEndian && std::ranges::any_of(abilities, [&](const Ability& each) {
    return each.type == format.sample.type && each.channels == format.channels &&
           each.takes(format.rate);
  });
}

PcmFormat nearest(const PcmCapabilities& abilities, const PcmFormat& wanted) {
  const std::vector<std::uint32_t> counts = channelCounts(abilities);  // ascending
  const auto enough = std::ranges::lower_bound(counts, wanted.channels);
  const std::uint32_t channels = enough != counts.end() ? *enough : counts.back();
  const Ability* best = nullptr;
  for (const SampleType type : typesFor(wanted.sample.type)) {
    const auto found = std::ranges::find_if(abilities, [&](const Ability& each) {
      return each.channels == channels && each.type == type;
    });
    if (found != abilities.end() &&
        (best == nullptr || (!best->takes(wanted.rate) && found->takes(wanted.rate)))) {
      best = &*found;
    }
  }
  return {.sample = {.type = best->type}, .channels = channels, .rate = best->nearest(wanted.rate)};
}

}  // namespace Platform
