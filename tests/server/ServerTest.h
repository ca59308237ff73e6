#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "tests/support/Wave.h"
#include "tests/support/Workbench.h"

inline constexpr std::size_t kSecond = 48000;  // frames, at the rate of most sinks here

/// What parec takes for the samples of a shape.
std::string sampleName(const WaveShape& shape);

/// The server's channel map for channels given as "FL FR".
std::string positionsOf(const std::string& channels);

/// A null sink that renders nothing ahead, so that its monitor gets exactly what is played.
struct NullSink {
  std::string name;
  WaveShape shape{};
  std::string positions{};  // the server's channel map, comma-separated; empty: its default
  std::string formats{};    // empty: pcm
};

/// A real PulseAudio daemon for each test, with nothing of the machine's own: started in the test's
/// folder, stopped with it, and the server for every program that the test runs.
class ServerTest : public Workbench {
 protected:
  void SetUp() override;
  void TearDown() override;

  void startServer(const std::vector<NullSink>& sinks);
  /// With a sink "digital" that takes AC-3, too. Its clock is another daemon's null sink.
  void startDigitalServer();
  /// Every byte that the sink took since it last went to that rate.
  Bytes digitallyPlayed(unsigned rate) const {
    return readFile(folder / ("digital-" + std::to_string(rate)));
  }
  void signalServer(int number) const;
  void killServer();

  /// The answer of pactl; fails the test when pactl does.
  std::string pactl(const Words& arguments) const;
  /// What pactl has no word for, in the words of the server's command line.
  void command(const std::string& line) const;
  void load(const NullSink& sink) const;
  void loadDigitalSink() const;
  void unload(const std::string& sink);
  std::string defaultSink() const { return pactl({"get-default-sink"}); }

  /// Begins to record what the sink plays, and returns when the recording runs.
  void record(const NullSink& sink);
  /// Ends it when it holds more than `expectedBytes`, or does not grow to that.
  Bytes recorded(const NullSink& sink, std::size_t expectedBytes);
  void forgetRecordings();
  /// So far.
  Bytes recordedYet(const NullSink& sink) const { return readFile(recordingOf(sink)); }

  /// A program that goes on beside the test; its output goes to the end of `log`.
  pid_t spawn(const Words& command, const std::string& log) const;

  /// Bounded; false: not in time.
  static bool eventually(const std::function<bool()>& isSo);

 private:
  std::filesystem::path recordingOf(const NullSink& sink) const {
    return folder / (sink.name + ".raw");
  }
  pid_t startDaemon(const std::string& socket, const std::vector<NullSink>& sinks) const;

  pid_t m_server = 0;
  pid_t m_clock = 0;                                       // the digital sink's
  std::vector<std::pair<std::string, pid_t>> m_recorders;  // by sink
};
