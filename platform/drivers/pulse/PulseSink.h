// SPDX-License-Identifier: MIT

#pragma once

/// The server's sinks, channels and samples, and this layer's.

#include <pulse/pulseaudio.h>

#include "platform/driver/SoundServer.h"
#include "platform/format/PcmFormat.h"

namespace Platform {

/// Returns the sink with its channels in the layer's order, which clients use: L R C LFE, the rear
/// centre, the surround pair (at the sides if there are two), the rear pair, the centre pair, the
/// rest. The server maps them to the sink's own order by the stream's channel map.
Sink sinkOf(const pa_sink_info& info);

pa_channel_map channelMapOf(const Sink& sink);
pa_sample_spec sampleSpecOf(const PcmFormat& format);

struct FreeFormat {
  void operator()(pa_format_info* format) const { pa_format_info_free(format); }
};
using FormatInfo = std::unique_ptr<pa_format_info, FreeFormat>;
FormatInfo burstFormat(std::uint32_t rate);

}  // namespace Platform
