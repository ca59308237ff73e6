// Through ALSA's plug-in for the server, as programs that know only ALSA play.

#include <gtest/gtest.h>

#include <fstream>

#include "tests/server/ServerTest.h"
#include "tests/support/Channels.h"

namespace {

class AlsaOnAServer : public ServerTest {};

TEST_F(AlsaOnAServer, everySampleArrivesThroughThePlugIn) {
  std::ofstream(path("asound.conf"))
      << "pcm.server { type pulse server \"unix:" << path("native") << "\" device \"sink\" }\n";
  setenv("ALSA_CONFIG_PATH", path("asound.conf").c_str(), 1);
  for (const unsigned channels : {2U, 8U}) {
    SCOPED_TRACE(channels);
    const NullSink sink{
        "sink", {16, false, channels, 48000}, positionsOf(channelsOfFile(channels))};
    startServer({sink});
    const Wave in = noise(sink.shape, 24000);
    writeWave(path("in.wav"), in);
    record(sink);
    const Result result = play({"--device", "alsa:server", "in.wav"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(liesIn(recorded(sink, in.data.size()), in.data, sink.shape.frameBytes()));
    killServer();
  }
}

}  // namespace
