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
    expectExact(sink, "alsa:server");
    killServer();
  }
}

}  // namespace
