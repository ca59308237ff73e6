// SPDX-License-Identifier: MIT

#include <cerrno>
#include <exception>
#include <filesystem>
#include <future>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>

#include "player/base/ExitStatus.h"
#include "player/base/JsonFile.h"
#include "player/base/Options.h"
#include "player/base/ProgramLog.h"
#include "player/cli/Player.h"
#include "player/device/Device.h"
#include "player/report/DeviceReport.h"
#include "player/terminal/SignalHandler.h"
#include "tavro_core/Bundle.h"
#include "tavro_core/Log.h"
#include "time/HostTime.h"

namespace {

using Player::ExitStatus;

constexpr const char* kBundleName = "CoreAudioOutput.so";

Tavro::LogLevel levelOf(const Player::Options& options) {
  if (options.quiet) {
    return Tavro::LogLevel::Error;
  }
  return options.verbose ? Tavro::LogLevel::Verbose : Tavro::LogLevel::Info;
}

std::optional<std::string> reportFor(const Player::Options& options) {
  if (options.listDevices) {
    return Player::reportDevices(options);
  }
  if (options.explainPassthrough) {
    return Player::reportPassthrough(options);
  }
  return std::nullopt;
}

/// Queries the sound server while the inputs are opened and the bundle is loaded; each takes some
/// milliseconds.
std::future<Player::SoundingDevice> callServer(const Player::Options& options) {
  return options.device == "auto" ? std::async(std::launch::async, Player::soundingDevice)
                                  : std::future<Player::SoundingDevice>();
}

ExitStatus play(const Player::Options& options) {
  if (!options.jsonPath.empty() && options.jsonPath != "-") {
    Player::requireWritable(options.jsonPath);
  }
  std::future<Player::SoundingDevice> called = callServer(options);
  Player::Playlist playlist(options);
  if (playlist.isEmpty()) {
    return ExitStatus::InputUnreadable;
  }
  Tavro::Bundle bundle(options.pluginPath.empty() ? kBundleName : options.pluginPath);
  const Player::DeviceChoice choice = Player::chooseDevice(options, [&] { return called.get(); });
  if (choice.simulated) {
    Tavro::HostTime::simulate();
  }
  Player::SignalHandler::endCleanly();
  return Player::Player(options, choice, playlist, bundle).run();
}

/// Runs the program that checks bundles, which lies beside this one, in place of it. Returns only
/// if that fails.
ExitStatus checkBundle(char** arguments) {
  const std::filesystem::path self = std::filesystem::canonical("/proc/self/exe");
  const std::string program = (self.parent_path() / "tavro-play-check").string();
  execv(program.c_str(), arguments);
  Tavro::logLine(Tavro::LogLevel::Error, "tavro-play", "cannot run %s: %s", program.c_str(),
                 std::generic_category().message(errno).c_str());
  return ExitStatus::Usage;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && argv[1] == std::string_view("check")) {
    return static_cast<int>(checkBundle(argv + 1));
  }
  Player::Options options;
  if (const std::optional<int> done = Player::parseOptions(argc, argv, options)) {
    return *done;
  }
  Tavro::setLogLevel(levelOf(options));
  Player::SignalHandler::install();
  ExitStatus status = ExitStatus::PlaybackFailed;
  try {
    if (const std::optional<std::string> report = reportFor(options)) {
      std::cout << *report << std::flush;
      return static_cast<int>(ExitStatus::Played);
    }
    return static_cast<int>(play(options));
  } catch (const Player::PlayerError& error) {
    status = error.status;
    Player::logError(error.what());
  } catch (const std::exception& error) {
    Player::logError(error.what());
  }
  return static_cast<int>(status);
}
