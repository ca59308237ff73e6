#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

using Bytes = std::vector<unsigned char>;
using Words = std::vector<std::string>;

struct Result {
  int status = -1;  // the signal's number, negative, when it was killed
  std::string out;
  std::string err;
  std::size_t errorLines() const;
};

Bytes readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const Bytes& bytes);

/// A folder for each test, and programs run in it.
class Workbench : public testing::Test {
 protected:
  Workbench();
  ~Workbench() override;

  std::string path(const std::string& name) const { return (folder / name).string(); }
  Result run(const std::string& program, const Words& arguments) const;
  Result play(const Words& arguments) const { return run(PLAYER, arguments); }

  /// Starts it and does not wait.
  pid_t begin(const std::string& program, const Words& arguments) const;
  Result end(pid_t process) const;

  /// Encodes or decodes with the ffmpeg program; fails the test when that fails.
  void ffmpeg(Words arguments) const;

  std::filesystem::path folder;
};
