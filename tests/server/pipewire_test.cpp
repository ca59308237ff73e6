// SPDX-License-Identifier: MIT

// The same on PipeWire's server: exact where its sinks are, listed, followed, told when lost.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>

#include "tests/server/ServerTest.h"
#include "tests/support/Channels.h"

namespace {

namespace fs = std::filesystem;

/// PipeWire in the sound server's place, with a session bus and a session manager of its own. Its
/// sinks work in 32 bit float, so 32 bit integers are not exact on them.
class OnPipeWire : public ServerTest {
 protected:
  void SetUp() override {
    ServerTest::SetUp();
    need("dbus-daemon pipewire wireplumber pipewire-pulse");
  }

  /// Sinks of two or of eight channels. Each program needs the one before it.
  void startPipeWire(const std::vector<NullSink>& sinks) {
    writeSinks(sinks);
    writeSessionManagersSettings();
    setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + path("run/bus")).c_str(), 1);
    setenv("PULSE_SERVER", ("unix:" + path("run/pulse/native")).c_str(), 1);
    startProgram({"dbus-daemon", "--session", "--nofork", "--nopidfile",
                  "--address=unix:path=" + path("run/bus")},
                 [this] { return fs::exists(path("run/bus")); });
    startProgram({"pipewire"}, [this] { return fs::exists(path("run/pipewire-0")); });
    startProgram({"wireplumber"}, [] { return true; });
    startProgram({"pipewire-pulse"}, [&] {
      const std::string there = run("pactl", {"list", "short", "sinks"}, "pactl").out;
      const bool areAll = std::ranges::all_of(
          sinks, [&](const NullSink& sink) { return says(there, "\t" + sink.name + "\t"); });
      // Refused until the session manager is up.
      return areAll && run("pactl", {"set-default-sink", sinks.front().name}, "pactl").status == 0;
    });
  }

  /// The session manager carries it out some time after the answer.
  void setDefault(const std::string& sink) const {
    pactl({"set-default-sink", sink});
    EXPECT_TRUE(eventually([&] { return defaultSink() == sink; })) << sink;
  }

 private:
  /// No devices of the machine's. Bluetooth's also need a login service, which containers lack.
  void writeSessionManagersSettings() const {
    for (const auto& [group, settings] : std::map<std::string, std::string>{
             {"main",
              "alsa_monitor.enabled = false\nv4l2_monitor.enabled = false\n"
              "libcamera_monitor.enabled = false\n"},
             {"bluetooth", "bluez_monitor.enabled = false\n"}}) {
      const fs::path to = path("config/wireplumber/" + group + ".lua.d");
      fs::create_directories(to);
      std::ofstream(to / "60-no-devices.lua") << settings;
    }
  }

  void writeSinks(const std::vector<NullSink>& sinks) const {
    fs::create_directories(path("config/pipewire/pipewire.conf.d"));
    std::ofstream file(path("config/pipewire/pipewire.conf.d/sinks.conf"));
    file << "context.properties = { default.clock.rate = 48000 }\ncontext.objects = [\n";
    for (const NullSink& sink : sinks) {
      file << "  { factory = adapter args = { factory.name = support.null-audio-sink node.name = "
           << sink.name << " media.class = Audio/Sink object.linger = true audio.position = [ "
           << channelsOfFile(sink.shape.channels) << " ] monitor.passthrough = true } }\n";
    }
    file << "]\n";
  }
};

class ExactOnPipeWire : public OnPipeWire, public testing::WithParamInterface<WaveShape> {};

TEST_P(ExactOnPipeWire, everySampleArrives) {
  const NullSink sink{"sink", GetParam(), positionsOf(channelsOfFile(GetParam().channels))};
  startPipeWire({sink});
  expectExact(sink, "pulse:sink");
}

INSTANTIATE_TEST_SUITE_P(Shapes, ExactOnPipeWire,
                         testing::Values(WaveShape{16, false, 2}, WaveShape{24, false, 2},
                                         WaveShape{32, true, 2}, WaveShape{16, false, 8}),
                         nameOfShape);

TEST_F(OnPipeWire, sinksAreListedAndTheDefaultIsFollowedWhenItChangesAndWhenItGoes) {
  const NullSink one{"one", {16, false, 2, 48000}};
  const NullSink two{"two", {16, false, 2, 48000}};
  startPipeWire({one});
  pactl({"load-module", "module-null-sink", "sink_name=two", "channel_map=FL,FR"});
  setDefault("one");
  const Result list = play({"--list-devices"});
  EXPECT_TRUE(says(list.out, "* pulse:one"));
  EXPECT_TRUE(says(list.out, "  pulse:two"));

  const Wave in = noise({16, false, 2, 48000}, 8 * 48000);
  writeWave(path("in.wav"), in);
  record(one);
  record(two);
  const pid_t player = begin(PLAYER, {"in.wav"});
  EXPECT_TRUE(eventually([&] { return hasSound(recordedYet(one)); }));
  setDefault("two");
  EXPECT_TRUE(eventually([&] { return hasSound(recordedYet(two)); })) << pactl({"list", "short"});
  unload("two");
  const Result result = end(player);
  EXPECT_TRUE(result.status == 0 || result.status == 1) << result.err;  // late buffers: 1
  EXPECT_TRUE(contains(recorded(one, 0), framesOf(in, in.frames() - 48000, 48000)));
}

}  // namespace
