#include "player/Options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>

#include "player/ExitStatus.h"

namespace Player {

namespace {

constexpr std::uint64_t kNanosPerSecond = 1'000'000'000;
constexpr std::size_t kFractionDigits = 9;
constexpr std::uint64_t kMostOfAPart = 1'000'000'000;

constexpr const char* kFooter =
    "TIME is [[HH:]MM:]SS[.FRACTION]; --start and --length cut every file, to the sample.\n"
    "A file device runs in simulated time unless asked otherwise: as fast as it can, and the same\n"
    "on every run. auto is the sound server's default sink; without a server, ALSA's default\n"
    "device; without that, a new WAV file in the current folder.\n"
    "On a terminal, in real time: space pauses and resumes, left and right go 5 s back and "
    "forward\n"
    "within a file, q stops.\n"
    "\n"
    "Exit status: 0 everything was played; 1 playback failed; 2 usage; 3 an input could not be\n"
    "read, or not wholly (the others are played); 4 the device failed; 130 interrupted.";

bool isNumber(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(),
                                      [](unsigned char c) { return c >= '0' && c <= '9'; });
}

std::string timeProblem(const std::string& text) {
  return parseTime(text) ? "" : "not a time ([[HH:]MM:]SS[.FRACTION]): " + text;
}

/// What has to be put together or read before it is an option.
struct Words {
  bool simulate = false;
  bool realTime = false;
  std::string start;
  std::string length;
  std::string pauseAt;
  std::string pauseFor;
  std::string seekAt;
  std::string seekTo;
};

const std::map<std::string, PassthroughMode> kPassthroughModes = {
    {"auto", PassthroughMode::Auto}, {"on", PassthroughMode::On}, {"off", PassthroughMode::Off}};

/// For tests.
void declareHidden(CLI::App& app, Options& options, Words& words) {
  app.add_option("--plugin", options.pluginPath)->group("");
  app.add_option("--file-drift-ppm", options.fileDriftPpm)->group("");
  app.add_option("--buffer-ms", options.bufferMs)->group("")->check(CLI::Range(5u, 1000u));
  auto* pauseAt = app.add_option("--pause-at", words.pauseAt)->group("")->check(timeProblem);
  app.add_option("--pause-for", words.pauseFor)->group("")->check(timeProblem)->needs(pauseAt);
  auto* seekAt = app.add_option("--seek-at", words.seekAt)->group("")->check(timeProblem);
  app.add_option("--seek-to", words.seekTo)->group("")->check(timeProblem)->needs(seekAt);
}

void declare(CLI::App& app, Options& options, Words& words) {
  app.footer(kFooter);
  app.set_version_flag("--version", "tavro-play " PLAYER_VERSION);
  app.add_option("FILE", options.files, "What to play, one after the other")->type_name("PATH");
  app.add_option("--device", options.device,
                 "auto, file:PATH (a WAV file, or AC-3 bursts as PATH.spdif), alsa:NAME (a PCM of "
                 "ALSA), or one of --list-devices")
      ->capture_default_str();
  auto* list = app.add_flag("--list-devices", options.listDevices, "Show the devices");
  app.add_option("--passthrough", options.passthrough,
                 "AC-3 as it is: auto (where the device takes it), on (or not at all), off")
      ->transform(CLI::CheckedTransformer(kPassthroughModes))
      ->type_name("auto|on|off");
  app.add_flag("--explain-passthrough", options.explainPassthrough,
               "Show what of the device takes AC-3 as it is, that of FILE if there is one")
      ->excludes(list);
  auto* simulateFlag = app.add_flag("--simulate", words.simulate, "In simulated time");
  app.add_flag("--real-time", words.realTime, "By the clock")->excludes(simulateFlag);
  app.add_option("--volume", options.volume, "Percent")->check(CLI::Range(0u, 100u));
  app.add_option("--channels", options.channels,
                 "Channels of a file device (else the first input's)")
      ->check(CLI::Range(1u, 8u));
  app.add_option("--start", words.start, "Where to begin")->type_name("TIME")->check(timeProblem);
  app.add_option("--length", words.length, "How much to play")
      ->type_name("TIME")
      ->check(timeProblem);
  app.add_option("--loop", options.loops, "Play it all N times")->check(CLI::Range(1u, 1'000'000u));
  app.add_option("--events", options.eventsPath, "Write one JSON line for each event")
      ->type_name("PATH");
  app.add_option("--json", options.jsonPath,
                 "Write the totals, or what is shown, as JSON (-: standard output)")
      ->type_name("PATH");
  app.add_flag("--quiet,-q", options.quiet, "Only errors");
  app.add_flag("--verbose,-v", options.verbose, "What the plug-in and the decoders say, too");
  declareHidden(app, options, words);
}

}  // namespace

std::optional<std::uint64_t> parseTime(const std::string& text) {
  const std::size_t dot = std::min(text.find('.'), text.size());
  std::string fraction = dot < text.size() ? text.substr(dot + 1) : "0";
  if (!isNumber(fraction)) {
    return std::nullopt;
  }
  fraction.resize(kFractionDigits, '0');

  std::uint64_t seconds = 0;
  std::size_t begin = 0;
  for (int parts = 0; begin <= dot; ++parts) {
    const std::size_t end = std::min(text.find(':', begin), dot);
    const std::string part = text.substr(begin, end - begin);
    if (parts == 3 || part.size() > kFractionDigits || !isNumber(part)) {
      return std::nullopt;
    }
    seconds = seconds * 60 + std::stoull(part);
    begin = end + 1;
  }
  if (seconds > kMostOfAPart) {
    return std::nullopt;
  }
  return seconds * kNanosPerSecond + std::stoull(fraction);
}

std::optional<int> parseOptions(int argc, char** argv, Options& options) {
  CLI::App app{"Plays audio files through the Core Audio Output plug-in.", "tavro-play"};
  Words words;
  declare(app, options, words);
  try {
    app.parse(argc, argv);
    if (options.files.empty() && !options.listDevices && !options.explainPassthrough) {
      throw CLI::RequiredError("FILE");
    }
    if (options.explainPassthrough && options.files.size() > 1) {
      throw CLI::ValidationError("--explain-passthrough", "one FILE at most");
    }
    if (!words.length.empty() && *parseTime(words.length) == 0) {
      throw CLI::ValidationError("--length", "nothing to play");
    }
  } catch (const CLI::Success& asked) {
    return app.exit(asked);
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "tavro-play: %s (--help shows the options)\n", error.what());
    return static_cast<int>(ExitStatus::Usage);
  }
  if (words.simulate || words.realTime) {
    options.simulated = words.simulate;
  }
  options.startNs = words.start.empty() ? 0 : *parseTime(words.start);
  if (!words.length.empty()) {
    options.lengthNs = parseTime(words.length);
  }
  if (!words.pauseAt.empty()) {
    options.pauseAtNs = parseTime(words.pauseAt);
    options.pauseForNs = parseTime(words.pauseFor).value_or(0);
  }
  if (!words.seekAt.empty()) {
    options.seekAtNs = parseTime(words.seekAt);
    options.seekToNs = parseTime(words.seekTo).value_or(0);
  }
  return std::nullopt;
}

}  // namespace Player
