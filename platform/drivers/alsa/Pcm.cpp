// SPDX-License-Identifier: MIT

#include "platform/drivers/alsa/Pcm.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace Platform {
namespace {

int setPeriods(snd_pcm_t* pcm, snd_pcm_hw_params_t* params, const PcmSetup& setup) {
  const std::uint64_t frames = std::uint64_t{setup.format.rate} * kAlsaBufferMs / 1000;
  snd_pcm_uframes_t buffer =
      std::max<snd_pcm_uframes_t>(frames, 2 * snd_pcm_uframes_t{setup.cycleFrames});
  snd_pcm_uframes_t least = buffer;
  if (snd_pcm_hw_params_set_buffer_size_min(pcm, params, &least) < 0) {
    snd_pcm_hw_params_set_buffer_size_near(pcm, params, &buffer);  // the largest that it has
  }
  snd_pcm_uframes_t period = setup.cycleFrames;
  int direction = 0;
  snd_pcm_hw_params_set_period_size_near(pcm, params, &period, &direction);
  snd_pcm_hw_params_set_buffer_size_first(pcm, params, &buffer);
  return snd_pcm_hw_params(pcm, params);
}

/// Makes the PCM start by itself when there is no room for another cycle.
int setStart(snd_pcm_t* pcm, std::uint32_t cycleFrames, snd_pcm_uframes_t bufferFrames) {
  snd_pcm_sw_params_t* params = nullptr;
  snd_pcm_sw_params_alloca(&params);
  const snd_pcm_uframes_t threshold =
      bufferFrames - std::min<snd_pcm_uframes_t>(cycleFrames, bufferFrames / 2);
  int error = snd_pcm_sw_params_current(pcm, params);
  if (error == 0) {
    error = snd_pcm_sw_params_set_start_threshold(pcm, params, threshold);
  }
  return error < 0 ? error : snd_pcm_sw_params(pcm, params);
}

Positions positionsOf(const snd_pcm_chmap_t& map) { return {map.pos, map.pos + map.channels}; }

Positions presentPositions(snd_pcm_t* pcm) {
  const std::unique_ptr<snd_pcm_chmap_t, decltype(&std::free)> map(snd_pcm_get_chmap(pcm),
                                                                   std::free);
  return map ? positionsOf(*map) : Positions{};
}

/// Returns the rate's code in the channel status.
unsigned rateCodeOf(std::uint32_t rate) {
  switch (rate) {
    case 44100:
      return 0x00;
    case 32000:
      return 0x03;
    default:
      return 0x02;  // 48 kHz
  }
}

}  // namespace

int openPcm(const std::string& name, bool exactly, Pcm& pcm) {
  const int mode = SND_PCM_NONBLOCK | SND_PCM_NO_AUTO_RESAMPLE | SND_PCM_NO_AUTO_CHANNELS |
                   (exactly ? SND_PCM_NO_AUTO_FORMAT : 0);
  snd_pcm_t* opened = nullptr;
  const int error = snd_pcm_open(&opened, name.c_str(), SND_PCM_STREAM_PLAYBACK, mode);
  pcm.reset(error < 0 ? nullptr : opened);
  return error;
}

int readParams(snd_pcm_t* pcm, HwParams& params) {
  int error = snd_pcm_hw_params_any(pcm, params.get());
  if (error >= 0) {
    error = snd_pcm_hw_params_set_rate_resample(pcm, params.get(), 0);
  }
  if (error >= 0) {
    error = snd_pcm_hw_params_set_access(pcm, params.get(), SND_PCM_ACCESS_RW_INTERLEAVED);
  }
  return std::min(error, 0);
}

snd_pcm_format_t alsaFormatOf(SampleType type) {
  switch (type) {
    case SampleType::S24:
      return SND_PCM_FORMAT_S24_3LE;
    case SampleType::S32:
      return SND_PCM_FORMAT_S32_LE;
    case SampleType::F32:
      return SND_PCM_FORMAT_FLOAT_LE;
    default:
      return SND_PCM_FORMAT_S16_LE;
  }
}

std::vector<Positions> channelMapsOf(snd_pcm_t* pcm) {
  std::vector<Positions> maps;
  snd_pcm_chmap_query_t** const found = snd_pcm_query_chmaps(pcm);
  for (snd_pcm_chmap_query_t** each = found; each != nullptr && *each != nullptr; ++each) {
    maps.push_back(positionsOf((*each)->map));
  }
  if (found != nullptr) {
    snd_pcm_free_chmaps(found);
  }
  return maps;
}

int setUp(snd_pcm_t* pcm, const PcmSetup& setup, snd_pcm_uframes_t* bufferFrames) {
  HwParams params;
  int error = readParams(pcm, params);
  if (error == 0) {
    error = snd_pcm_hw_params_set_format(pcm, params.get(), alsaFormatOf(setup.format.sample.type));
  }
  if (error == 0) {
    error = snd_pcm_hw_params_set_channels(pcm, params.get(), setup.format.channels);
  }
  if (error == 0) {
    error = snd_pcm_hw_params_set_rate(pcm, params.get(), setup.format.rate, 0);
  }
  if (error == 0) {
    error = setPeriods(pcm, params.get(), setup);
  }
  if (error == 0) {
    error = snd_pcm_hw_params_get_buffer_size(params.get(), bufferFrames);
  }
  return error < 0 ? error : setStart(pcm, setup.cycleFrames, *bufferFrames);
}

Positions arrange(snd_pcm_t* pcm, const Positions& wanted) {
  const Positions present = presentPositions(pcm);
  if (present.size() != wanted.size() || present == wanted) {
    return wanted;
  }
  std::vector<unsigned> record(1 + wanted.size());  // laid out as a snd_pcm_chmap_t
  record[0] = static_cast<unsigned>(wanted.size());
  std::ranges::copy(wanted, record.begin() + 1);
  const auto* const map = reinterpret_cast<const snd_pcm_chmap_t*>(record.data());
  return snd_pcm_set_chmap(pcm, map) == 0 ? wanted : present;
}

std::string withBurstStatus(const std::string& name, std::uint32_t rate) {
  char status[64];
  std::snprintf(status, sizeof status, "%cAES0=0x06,AES1=0x82,AES2=0x00,AES3=0x%02x",
                name.find(':') == std::string::npos ? ':' : ',', rateCodeOf(rate));
  return name + status;
}

}  // namespace Platform
