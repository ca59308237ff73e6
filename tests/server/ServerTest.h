// SPDX-License-Identifier: MIT

#pragma once

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

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

  /// Skips the test if one of the programs is missing; the caller continues.
  static void need(const std::string& programs);

  void startServer(const std::vector<NullSink>& sinks) { startDaemon("native", sinks); }
  /// With a sink "digital" that takes AC-3, too. Its clock is another daemon's null sink.
  void startDigitalServer();
  /// Every byte that the sink took since it last went to that rate.
  Bytes digitallyPlayed(unsigned rate) const {
    return readFile(folder / ("digital-" + std::to_string(rate)));
  }
  /// Starts a program of the server, and waits until it is up.
  void startProgram(const Words& command, const std::function<bool()>& isUp);
  void signalServer(int number) const;
  void killServer();

  /// The answer of pactl; fails the test when pactl does.
  std::string pactl(const Words& arguments) const;
  /// The number of the first of the server's sinks, modules or sink-inputs whose line has `text`.
  std::string numberOf(const std::string& kind, const std::string& text = "") const;
  void load(const NullSink& sink) const;
  void loadDigitalSink() const;
  /// By the module that made it.
  void unload(const std::string& sink) const;
  std::string defaultSink() const { return pactl({"get-default-sink"}); }
  void killStream() const;

  /// Begins to record what the sink plays, and returns when the recording runs.
  void record(const NullSink& sink);
  /// Ends it when it holds more than `expectedBytes`, or does not grow to that.
  Bytes recorded(const NullSink& sink, std::size_t expectedBytes);
  void forgetRecordings();
  /// So far.
  Bytes recordedYet(const NullSink& sink) const { return readFile(recordingOf(sink.name)); }
  /// Plays noise of the sink's shape on `device`, which leads to the sink, and expects all of it.
  void expectExact(const NullSink& sink, const std::string& device);

 private:
  std::string recordingOf(const std::string& sink) const { return path(sink + ".raw"); }
  void startDaemon(const std::string& socket, const std::vector<NullSink>& sinks);

  std::vector<pid_t> m_programs;             // the server is the last one
  std::map<std::string, pid_t> m_recorders;  // by sink
};
