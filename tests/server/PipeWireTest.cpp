#include "tests/server/PipeWireTest.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>

#include "tests/support/Channels.h"

namespace fs = std::filesystem;

void PipeWireTest::SetUp() {
  ServerTest::SetUp();
  need("dbus-daemon pipewire wireplumber pipewire-pulse");
}

/// Each program needs the one before it.
void PipeWireTest::startPipeWire(const std::vector<NullSink>& sinks) {
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

/// No devices of the machine's. Bluetooth's also need a login service, which containers lack.
void PipeWireTest::writeSessionManagersSettings() const {
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

void PipeWireTest::writeSinks(const std::vector<NullSink>& sinks) const {
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
