// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>
#include <nlohmann/json_fwd.hpp>

#include <filesystem>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/Wave.h"

struct Result {
  int status = -1;  // the signal's number, negative, when it was killed
  std::string out;
  std::string err;
  std::size_t errorLines() const;
};

/// True if `text` contains `words`.
testing::AssertionResult says(const std::string& text, const std::string& words);

/// True if the program ended with `status` and its only line of error contains `words`.
testing::AssertionResult saysInOneLine(const Result& result, int status, const std::string& words);

/// The words as main() takes them, with a null at the end.
std::vector<char*> argumentsOf(Words& words);

/// Runs the command in place of the forked process; ends that if it cannot.
[[noreturn]] void execute(Words command);

/// A stream of AC-3 as the ffmpeg program encodes it.
struct Ac3Shape {
  unsigned rate = 48000;
  unsigned channels = 2;
  unsigned kilobits = 192;
  double seconds = 1;
};

inline constexpr std::size_t kBurstBytes = 6144;

/// A folder for each test, and programs run in it.
class Workbench : public testing::Test {
 protected:
  Workbench();
  ~Workbench() override;

  std::string path(const std::string& name) const { return (folder / name).string(); }

  /// Starts a program, whose output goes to NAME.out and NAME.err, and does not wait.
  pid_t begin(const std::string& program, const Words& arguments,
              const std::string& name = "program") const;
  Result end(pid_t process, const std::string& name = "program") const;
  Result endBy(int signal, pid_t process) const;
  Result run(const std::string& program, const Words& arguments,
             const std::string& name = "program") const {
    return end(begin(program, arguments, name), name);
  }

  Result play(const Words& arguments) const { return run(PLAYER, arguments); }
  /// Writes `in` to in.wav and plays that.
  Result playOn(const std::string& device, const Wave& in, const Words& options = {}) const;
  /// The totals of the last run that wrote them to "totals", as playOn() does.
  nlohmann::json totals() const;

  /// Expects that `in` was played without a gap, and that nothing but silence is around it.
  void expectAllArrived(const Wave& in, const Result& result, const Bytes& played) const;

  /// Polls for at most 30 s; returns false if `isSo` did not become true.
  static bool eventually(const std::function<bool()>& isSo);
  /// Likewise, until the running player has written `words` to its standard error.
  bool eventuallySaid(const std::string& words) const;

  /// Encodes or decodes with the ffmpeg program; fails the test when that fails.
  void ffmpeg(Words arguments) const;
  /// Noise; the same for the same shape.
  void encode(const std::string& name, const Ac3Shape& shape) const;
  /// The bursts of a file of AC-3, as the ffmpeg program makes them.
  Bytes burstsOf(const std::string& name) const;
  /// The frames that the ffmpeg program unpacks from a file of bursts.
  Bytes received(const std::string& name) const;

  std::filesystem::path folder;
};
