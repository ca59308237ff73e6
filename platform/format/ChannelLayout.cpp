// SPDX-License-Identifier: MIT

#include "platform/format/ChannelLayout.h"

#include <algorithm>
#include <cstring>

namespace Platform {
namespace {

constexpr AudioChannelLabel L = kAudioChannelLabel_Left;
constexpr AudioChannelLabel R = kAudioChannelLabel_Right;
constexpr AudioChannelLabel C = kAudioChannelLabel_Center;
constexpr AudioChannelLabel LFE = kAudioChannelLabel_LFEScreen;
constexpr AudioChannelLabel Ls = kAudioChannelLabel_LeftSurround;
constexpr AudioChannelLabel Rs = kAudioChannelLabel_RightSurround;
constexpr AudioChannelLabel Lc = kAudioChannelLabel_LeftCenter;
constexpr AudioChannelLabel Rc = kAudioChannelLabel_RightCenter;
constexpr AudioChannelLabel Cs = kAudioChannelLabel_CenterSurround;
constexpr AudioChannelLabel Rls = kAudioChannelLabel_RearSurroundLeft;
constexpr AudioChannelLabel Rrs = kAudioChannelLabel_RearSurroundRight;

struct TaggedLayout {
  AudioChannelLayoutTag tag;
  Labels labels;
};

const std::vector<TaggedLayout>& taggedLayouts() {
  static const std::vector<TaggedLayout> layouts = {
      {kAudioChannelLayoutTag_Mono, {kAudioChannelLabel_Mono}},
      {kAudioChannelLayoutTag_Stereo, {L, R}},
      {kAudioChannelLayoutTag_Quadraphonic, {L, R, Ls, Rs}},
      {kAudioChannelLayoutTag_MPEG_5_0_B, {L, R, Ls, Rs, C}},
      {kAudioChannelLayoutTag_Pentagonal, {L, R, Ls, Rs, C}},
      {kAudioChannelLayoutTag_MPEG_5_1_A, {L, R, C, LFE, Ls, Rs}},
      {kAudioChannelLayoutTag_MPEG_5_1_B, {L, R, Ls, Rs, C, LFE}},
      {kAudioChannelLayoutTag_AudioUnit_6_0, {L, R, Ls, Rs, C, Cs}},
      {kAudioChannelLayoutTag_Hexagonal, {L, R, Ls, Rs, C, Cs}},
      {kAudioChannelLayoutTag_MPEG_6_1_A, {L, R, C, LFE, Ls, Rs, Cs}},
      {kAudioChannelLayoutTag_AudioUnit_7_0, {L, R, Ls, Rs, C, Rls, Rrs}},
      {kAudioChannelLayoutTag_AudioUnit_7_0_Front, {L, R, Ls, Rs, C, Lc, Rc}},
      {kAudioChannelLayoutTag_MPEG_7_1_A, {L, R, C, LFE, Ls, Rs, Lc, Rc}},
      {kAudioChannelLayoutTag_MPEG_7_1_C, {L, R, C, LFE, Ls, Rs, Rls, Rrs}},
  };
  return layouts;
}

constexpr std::size_t kHeaderBytes = offsetof(AudioChannelLayout, mChannelDescriptions);

AudioChannelLayout headerOf(const Labels& labels) {
  AudioChannelLayout layout{};
  const auto& layouts = taggedLayouts();
  const auto found = std::ranges::find(layouts, labels, &TaggedLayout::labels);
  if (found != layouts.end()) {
    layout.mChannelLayoutTag = found->tag;
  } else {
    layout.mChannelLayoutTag = kAudioChannelLayoutTag_UseChannelDescriptions;
    layout.mNumberChannelDescriptions = static_cast<UInt32>(labels.size());
  }
  return layout;
}

/// Bit n of a bitmap stands for label n + 1.
Labels labelsOfBitmap(AudioChannelBitmap bitmap) {
  Labels labels;
  for (std::uint32_t bit = 0; bit < 32; ++bit) {
    if ((bitmap >> bit & 1U) != 0) {
      labels.push_back(bit + 1);
    }
  }
  return labels;
}

std::optional<Labels> labelsOfDescriptions(std::span<const std::byte> descriptions, UInt32 count) {
  if (descriptions.size() / sizeof(AudioChannelDescription) < count) {
    return {};
  }
  Labels labels(count);
  for (UInt32 i = 0; i < count; ++i) {
    std::memcpy(&labels[i], descriptions.data() + i * sizeof(AudioChannelDescription),
                sizeof labels[i]);
  }
  return labels;
}

}  // namespace

Labels usualLabels(std::uint32_t channels) {
  switch (channels) {
    case 1:
      return {kAudioChannelLabel_Mono};
    case 2:
      return {L, R};
    case 3:
      return {L, R, C};
    case 4:
      return {L, R, Ls, Rs};
    case 5:
      return {L, R, C, Ls, Rs};
    case 6:
      return {L, R, C, LFE, Ls, Rs};
    case 7:  // the order of 6.1 sources, so that they need no reordering
      return {L, R, C, LFE, Cs, Ls, Rs};
    default: {
      Labels labels = {L, R, C, LFE, Ls, Rs, Rls, Rrs};
      labels.resize(channels, kAudioChannelLabel_Unknown);
      return labels;
    }
  }
}

std::vector<std::byte> layoutRecord(const Labels& labels) {
  const AudioChannelLayout header = headerOf(labels);
  const std::size_t described = header.mNumberChannelDescriptions * sizeof(AudioChannelDescription);
  std::vector<std::byte> record(std::max(sizeof(AudioChannelLayout), kHeaderBytes + described));
  std::memcpy(record.data(), &header, kHeaderBytes);
  for (std::size_t i = 0; i < header.mNumberChannelDescriptions; ++i) {
    AudioChannelDescription description{};
    description.mChannelLabel = labels[i];
    std::memcpy(record.data() + kHeaderBytes + i * sizeof description, &description,
                sizeof description);
  }
  return record;
}

std::optional<Labels> labelsOfRecord(std::span<const std::byte> record) {
  if (record.size() < kHeaderBytes) {
    return {};
  }
  AudioChannelLayout header{};
  std::memcpy(&header, record.data(), kHeaderBytes);
  if (header.mChannelLayoutTag == kAudioChannelLayoutTag_UseChannelDescriptions) {
    return labelsOfDescriptions(record.subspan(kHeaderBytes), header.mNumberChannelDescriptions);
  }
  if (header.mChannelLayoutTag == kAudioChannelLayoutTag_UseChannelBitmap) {
    return labelsOfBitmap(header.mChannelBitmap);
  }
  const auto& layouts = taggedLayouts();
  const auto found = std::ranges::find(layouts, header.mChannelLayoutTag, &TaggedLayout::tag);
  return found == layouts.end() ? std::nullopt : std::optional(found->labels);
}

}  // namespace Platform
