#pragma once

/// libasound's handles with owners, and the steps that open and set up a PCM. None waits by its own
/// doing; plug-ins may all the same.

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

/// Answers 0 or libasound's error. Without waiting for another program to let go of it. Channels
/// and rates are the device's own; with `exactly`, samples are too.
int openPcm(const std::string& name, bool exactly, Pcm& pcm);

/// What a PCM can be set to.
class HwParams {
 public:
  HwParams() { snd_pcm_hw_params_malloc(&m_params); }
  HwParams(const HwParams& other) : HwParams() { snd_pcm_hw_params_copy(m_params, other.get()); }
  ~HwParams() { snd_pcm_hw_params_free(m_params); }
  HwParams& operator=(const HwParams&) = delete;

  snd_pcm_hw_params_t* get() const { return m_params; }

 private:
  snd_pcm_hw_params_t* m_params = nullptr;
};

/// All that it takes in interleaved frames without resampling; answers 0 or an error.
int readParams(snd_pcm_t* pcm, HwParams& params);

snd_pcm_format_t alsaFormatOf(SampleType type);

std::vector<Positions> channelMapsOf(snd_pcm_t* pcm);

struct PcmSetup {
  PcmFormat format;
  std::uint32_t cycleFrames = 0;  // handed over at a time
};

/// Sets it up and answers 0 or an error. `*bufferFrames`: 160 ms at least where the device has so
/// much.
int setUp(snd_pcm_t* pcm, const PcmSetup& setup, snd_pcm_uframes_t* bufferFrames);

/// Where the PCM has its channels now, which is as `wanted` where that can be set.
Positions arrange(snd_pcm_t* pcm, const Positions& wanted);

/// "iec958:CARD=0" with the channel status of AC-3 at the rate: not audio, for a consumer.
std::string withBurstStatus(const std::string& name, std::uint32_t rate);

inline constexpr std::uint32_t kAlsaBufferMs = 160;  // a busy machine keeps threads waiting

}  // namespace Platform
