// SPDX-License-Identifier: MIT

#include "player/base/Options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <utility>

#include "player/base/ExitStatus.h"
#include "time/Nanoseconds.h"

namespace Player {

namespace {

constexpr std::size_t kFractionDigits = 9;
constexpr std::uint64_t kMostOfAPart = 1'000'000'000;

constexpr const char* kFooter =
    "TIME is [[HH:]MM:]SS[.FRACTION]. DEVICE is one of:\n"
    "  auto         the sink that PULSE_SINK names, else the sound server's default sink;\n"
    "               without a server ALSA's default device, else a new WAV file in the\n"
    "               current folder\n"
    "  pulse:NAME   a sink of the sound server\n"
    "  alsa:NAME    an ALSA PCM, such as alsa:hw:0,0\n"
    "  file:PATH    a WAV file, or AC-3 bursts if PATH ends in .spdif; uses simulated time by\n"
    "               default. PATH.part is written and replaces PATH at the end or when\n"
    "               interrupted; an existing PATH is kept if nothing was played\n"
    "\n"
    "Keys, on a terminal in real time:\n"
    "  space pauses and resumes; left and right seek 5 s back and forward; q stops\n"
    "\n"
    "Exit status:\n"
    "  0 finished, or stopped by q; 1 playback failed; 2 wrong options; 3 an input could not be\n"
    "  read completely (the others were played); 4 the device failed; 130 or 143 interrupted\n"
    "\n"
    "Another command, with a help of its own:\n"
    "  tavro-play check BUNDLE    checks what a renderer bundle promises to its host\n"
    "\n"
    "Examples:\n"
    "  tavro-play song.flac\n"
    "  tavro-play --start 1:30 --length 20 --volume 50 song.flac encore.mp3\n"
    "  tavro-play --device alsa:hw:0,0 --passthrough on film.ac3\n"
    "  tavro-play --device file:out.wav --events events.jsonl --json - song.flac\n"
    "  tavro-play --explain-passthrough film.ac3";

bool isNumber(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(),
                                      [](unsigned char c) { return c >= '0' && c <= '9'; });
}

std::string timeProblem(const std::string& text) {
  return parseTime(text) ? "" : "not a time ([[HH:]MM:]SS[.FRACTION]): " + text;
}

/// Option texts that are converted after parsing.
struct Words {
  bool simulate = false;
  bool realTime = false;
  std::string passthrough = "auto";
  std::string start;
  std::string length;
  std::string pauseAt;
  std::string pauseFor;
  std::string seekAt;
  std::string seekTo;
};

const std::map<std::string, PassthroughMode> kPassthroughModes = {
    {"auto", PassthroughMode::Auto}, {"on", PassthroughMode::On}, {"off", PassthroughMode::Off}};

std::string modeProblem(const std::string& text) {
  return kPassthroughModes.contains(text) ? "" : "must be auto, on or off: " + text;
}

/// Prints one line per option: its names, the placeholder of its value, what it does.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
    const std::string names = Formatter::make_option_name(option, isPositional);
    return std::regex_replace(names, std::regex(","), ", ");
  }
  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string& value = option->get_option_text();
    return value.empty() ? "" : " " + value;
  }
  std::string make_positionals(const CLI::App* /*app*/) const override { return ""; }
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override {
    const std::string help = Formatter::make_help(app, std::move(name), mode);
    return std::regex_replace(help, std::regex("\n\n+"), "\n\n");
  }
};

/// For tests; absent from the help.
void declareHidden(CLI::App& app, Options& options, Words& words) {
  app.add_option("--plugin", options.pluginPath)->group("");
  app.add_option("--file-drift-ppm", options.fileDriftPpm)->group("");
  app.add_option("--buffer-ms", options.bufferMs)->group("")->check(CLI::Range(5u, 1000u));
  auto* pauseAt = app.add_option("--pause-at", words.pauseAt)->group("")->check(timeProblem);
  app.add_option("--pause-for", words.pauseFor)->group("")->check(timeProblem)->needs(pauseAt);
  auto* seekAt = app.add_option("--seek-at", words.seekAt)->group("")->check(timeProblem);
  app.add_option("--seek-to", words.seekTo)->group("")->check(timeProblem)->needs(seekAt);
}

void declarePlayback(CLI::App& app, Options& options, Words& words) {
  constexpr const char* kGroup = "Playback";
  app.add_option("--start", words.start, "Start position in every file")
      ->option_text("TIME")
      ->group(kGroup)
      ->check(timeProblem);
  app.add_option("--length", words.length, "Duration to play of every file")
      ->option_text("TIME")
      ->group(kGroup)
      ->check(timeProblem);
  app.add_option("--loop", options.loops, "Play all files N times")
      ->option_text("N")
      ->group(kGroup)
      ->check(CLI::Range(1u, 1'000'000u));
  app.add_option("--volume", options.volume, "Volume in percent (0 to 100)")
      ->option_text("PERCENT")
      ->group(kGroup)
      ->check(CLI::Range(0u, 100u));
  app.add_option("--passthrough", words.passthrough,
                 "Pass AC-3 through unmodified: auto (if supported), on (or fail), off")
      ->option_text("MODE")
      ->group(kGroup)
      ->check(modeProblem);
}

void declareDevices(CLI::App& app, Options& options) {
  constexpr const char* kGroup = "Devices";
  app.add_option("--device", options.device, "Device to play on (default: auto)")
      ->option_text("DEVICE")
      ->group(kGroup);
  auto* list =
      app.add_flag("--list-devices", options.listDevices, "List the devices")->group(kGroup);
  app.add_flag("--explain-passthrough", options.explainPassthrough,
               "List device formats that accept AC-3 [of FILE], and why others do not")
      ->group(kGroup)
      ->excludes(list);
}

void declareFiles(CLI::App& app, Options& options) {
  constexpr const char* kGroup = "Files and reports";
  app.add_option("--channels", options.channels,
                 "Channels of a file device, 1 to 8 (default: those of the first FILE)")
      ->option_text("N")
      ->group(kGroup)
      ->check(CLI::Range(1u, 8u));
  app.add_option("--events", options.eventsPath,
                 "Write one JSON line per event (- for standard output)")
      ->option_text("PATH")
      ->group(kGroup);
  app.add_option("--json", options.jsonPath,
                 "Write totals or lists as JSON (- for standard output)")
      ->option_text("PATH")
      ->group(kGroup);
}

void declare(CLI::App& app, Options& options, Words& words) {
  app.formatter(std::make_shared<HelpFormatter>());
  app.footer(kFooter);
  app.set_help_flag();  // declared last, so that its group comes last
  app.add_option("FILE", options.files);
  declarePlayback(app, options, words);
  declareDevices(app, options);
  declareFiles(app, options);
  constexpr const char* kTime = "Simulated time";
  auto* simulate = app.add_flag("--simulate", words.simulate,
                                "Render to a file as fast as possible, deterministically");
  simulate->group(kTime);
  app.add_flag("--real-time", words.realTime, "Play at normal speed, also to a file")
      ->group(kTime)
      ->excludes(simulate);
  constexpr const char* kMessages = "Messages";
  app.add_flag("-q,--quiet", options.quiet, "Print errors only")->group(kMessages);
  app.add_flag("-v,--verbose", options.verbose, "Also print plug-in and decoder messages")
      ->group(kMessages);
  app.set_version_flag("--version", "tavro-play " PLAYER_VERSION, "Print the version")
      ->group(kMessages);
  app.set_help_flag("-h,--help", "Print this help")->group(kMessages);
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
  return seconds * Tavro::kNanosPerSecond + std::stoull(fraction);
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
      throw CLI::ValidationError("--explain-passthrough", "give at most one FILE");
    }
    if (options.eventsPath == "-" && options.jsonPath == "-") {
      throw CLI::ValidationError("--events",
                                 "standard output is already used by --json; give a PATH");
    }
    if (!words.length.empty() && *parseTime(words.length) == 0) {
      throw CLI::ValidationError("--length", "must be longer than 0");
    }
  } catch (const CLI::Success& asked) {
    return app.exit(asked);
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "tavro-play: %s (--help shows the options)\n", error.what());
    return static_cast<int>(ExitStatus::Usage);
  }
  options.passthrough = kPassthroughModes.at(words.passthrough);
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
