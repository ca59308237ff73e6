#pragma once

/// The server's words for sinks, channels and samples, and this layer's.

#include <pulse/pulseaudio.h>

#include "platform/driver/SoundServer.h"
#include "platform/format/PcmFormat.h"

namespace Platform {

/// With its channels in the layer's order, in which whoever plays has them: L R C LFE, the centre
/// pair, the centre of the rear, the surround pair (at the sides where there are two), the rear
/// pair, then whatever else there is. The server puts them into the sink's own order, by the map of
/// the stream.
Sink sinkOf(const pa_sink_info& info);

pa_channel_map channelMapOf(const Sink& sink);
pa_sample_spec sampleSpecOf(const PcmFormat& format);

struct FreeFormat {
  void operator()(pa_format_info* format) const { pa_format_info_free(format); }
};
using FormatInfo = std::unique_ptr<pa_format_info, FreeFormat>;
FormatInfo burstFormat(std::uint32_t rate);

}  // namespace Platform
