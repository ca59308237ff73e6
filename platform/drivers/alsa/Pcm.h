// SPDX-License-Identifier: MIT

#pragma once

/// Owners of libasound's handles, and the steps that open and set up a PCM. None blocks by itself,
/// but plug-ins may.

#include <alsa/asoundlib.h>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/drivers/alsa/AlsaChannels.h"
#include "platform/format/PcmFormat.h"

namespace Platform {

struct ClosePcm {
  void operator()(snd_pcm_t* pcm) const { snd_pcm_close(pcm); }
};
using Pcm = std::unique_ptr<snd_pcm_t, ClosePcm>;

/// Opens a PCM without waiting for another program to release it. Channels and rates are the
/// device's own; with `exactly`, samples are too. Returns 0 or libasound's error.
int openPcm(const std::string& name, bool exactly, Pcm& pcm);

/// The settings that a PCM supports.
class HwParams {
 public:
  HwParams() { snd_pcm_hw_params_malloc(&m_params); }
  HwParams(const HwParams& other) : HwParams() { snd_pcm_hw_params_copy(m_params, other.get()); }
  ~HwParams() { snd_pcm_hw_params_free(m_params); }
  HwParams& operator=(const HwParams&) = delete;

  snd_pcm_hw_params_t* get() { return m_params; }
  const snd_pcm_hw_params_t* get() const { return m_params; }

 private:
  snd_pcm_hw_params_t* m_params = nullptr;
};

/// Reads all settings for interleaved frames without resampling. Returns 0 or an error.
int readParams(snd_pcm_t* pcm, HwParams& params);

snd_pcm_format_t alsaFormatOf(SampleType type);

std::vector<Positions> channelMapsOf(snd_pcm_t* pcm);

struct PcmSetup {
  PcmFormat format;
  std::uint32_t cycleFrames = 0;  // delivered at a time
};

/// Sets it up. Returns 0 or an error. `*bufferFrames` is at least 160 ms if the device has that
/// much.
int setUp(snd_pcm_t* pcm, const PcmSetup& setup, snd_pcm_uframes_t* bufferFrames);

/// Sets the channel positions if it can. Returns the present ones, or `wanted` if they are unknown.
Positions arrange(snd_pcm_t* pcm, const Positions& wanted);

/// Adds to a name ("iec958:CARD=0") the channel status of AC-3 at the rate: consumer, non-audio.
std::string withBurstStatus(const std::string& name, std::uint32_t rate);

inline constexpr std::uint32_t kAlsaBufferMs = 160;  // a busy machine delays threads

}  // namespace Platform
