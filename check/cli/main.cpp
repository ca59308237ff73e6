// SPDX-License-Identifier: MIT

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "check/cli/Isolated.h"
#include "check/cli/Report.h"
#include "tavro_core/Bundle.h"

namespace {

enum ExitStatus : int { kAllKept = 0, kSomeBroken = 1, kNotUsable = 2 };

struct Options {
  std::string bundle;
  std::string json;
  std::string junit;
  std::vector<std::string> only;
  unsigned timeoutSeconds = 120;
  bool list = false;
};

struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

constexpr const char* kDescription =
    "Checks what a renderer bundle promises to its host: loads it beside the host runtime and the\n"
    "platform layer, drives it in simulated time on scripted devices, and prints a verdict for\n"
    "each promise.";

constexpr const char* kFooter =
    "Exit status:\n"
    "  0 all promises are kept; 1 some are broken; 2 wrong options, or BUNDLE cannot be checked\n"
    "\n"
    "Examples:\n"
    "  tavro-play check ./MyRenderer.so\n"
    "  tavro-play check --only sound --only flush ./MyRenderer.so\n"
    "  tavro-play check --junit conformance.xml --json conformance.json ./MyRenderer.so";

void describe(CLI::App& app, Options& options) {
  app.description(kDescription);
  app.footer(kFooter);
  app.get_formatter()->label("Positionals", "Argument");
  app.add_option("BUNDLE", options.bundle,
                 "A file that exports getPlugin, or the name of an installed bundle")
      ->type_name("");
  app.add_flag("--list", options.list, "List the promises by subject, and exit");
  app.add_option("--only", options.only, "Check one promise or one subject; may be repeated")
      ->option_text("ID")
      ->allow_extra_args(false);  // one for each --only
  app.add_option("--json", options.json, "Write the verdicts as JSON (- for standard output)")
      ->option_text("PATH");
  app.add_option("--junit", options.junit, "Write them as JUnit XML (- for standard output)")
      ->option_text("PATH");
  app.add_option("--timeout", options.timeoutSeconds,
                 "Limit the time of each promise (default: 120)")
      ->option_text("SECONDS")
      ->check(CLI::Range(1, 3600));
  app.set_version_flag("--version", "tavro-play-check " PROGRAM_VERSION, "Print the version");
  app.set_help_flag("-h,--help", "Print this help");
}

std::vector<Check::Promise> chosen(const Options& options) {
  std::vector<Check::Promise> all = Check::allPromises();
  if (options.only.empty()) {
    return all;
  }
  std::vector<Check::Promise> some;
  for (const Check::Promise& promise : all) {
    if (std::ranges::any_of(options.only, [&](const std::string& name) {
          return name == promise.id || name == promise.subject;
        })) {
      some.push_back(promise);
    }
  }
  for (const std::string& name : options.only) {
    if (std::ranges::none_of(some, [&](const Check::Promise& promise) {
          return name == promise.id || name == promise.subject;
        })) {
      throw UsageError("there is no promise or subject '" + name + "'; --list shows all");
    }
  }
  return some;
}

bool isFile(const std::string& path) { return !path.empty() && path != "-"; }

/// Before anything is checked, which takes a while.
void requireWritable(const std::string& path) {
  if (isFile(path) && !std::ofstream(path, std::ios::app)) {
    throw UsageError("cannot write " + path);
  }
}

void save(const std::string& path, const std::string& text) {
  if (path == "-") {
    std::cout << text << std::flush;
  } else if (isFile(path)) {
    std::ofstream file(path, std::ios::binary);
    file << text << std::flush;
    if (!file) {
      throw UsageError("cannot write " + path);
    }
  }
}

/// The text goes to standard error when a report goes to standard output.
std::FILE* textOutput(const Options& options) {
  return options.json == "-" || options.junit == "-" ? stderr : stdout;
}

/// A file's path, or the name of a bundle that the installation has.
std::string bundlePath(const std::string& name) {
  if (name.empty()) {
    throw UsageError("BUNDLE is missing (--help shows the options)");
  }
  if (std::filesystem::exists(name)) {
    return std::filesystem::absolute(name).string();
  }
  if (name.find('/') != std::string::npos) {
    throw UsageError(name + ": no such file");
  }
  return Tavro::Bundle::find(name);
}

int check(const Options& options) {
  const std::vector<Check::Promise> promises = chosen(options);
  Check::Run run{.bundlePath = bundlePath(options.bundle), .results = {}};
  if (options.json == "-" && options.junit == "-") {
    throw UsageError("standard output is already used by --json; give --junit a PATH");
  }
  requireWritable(options.json);
  requireWritable(options.junit);
  if (const std::string reason = Check::reasonNotToCheck(run.bundlePath, options.timeoutSeconds);
      !reason.empty()) {
    throw UsageError(reason);
  }
  std::FILE* const text = textOutput(options);
  std::string subject;
  for (const Check::Promise& promise : promises) {
    if (promise.subject != subject) {
      subject = promise.subject;
      fmt::print(text, "{}\n", subject);
    }
    run.results.emplace_back(promise,
                             Check::checkIsolated(promise, run.bundlePath, options.timeoutSeconds));
    fmt::print(text, "{}", Check::lineOf(promise, run.results.back().second));
    std::fflush(text);
  }
  fmt::print(text, "\n{}", Check::summaryOf(run));
  save(options.json, Check::jsonOf(run));
  save(options.junit, Check::junitOf(run));
  return run.count(Check::Outcome::Broken) == 0 ? kAllKept : kSomeBroken;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("", "tavro-play check");
  Options options;
  describe(app, options);
  try {
    app.parse(argc, argv);
    if (options.list) {
      fmt::print("{}", Check::listOf(chosen(options)));
      return kAllKept;
    }
    return check(options);
  } catch (const CLI::Success& asked) {
    return app.exit(asked);
  } catch (const CLI::ParseError& error) {
    fmt::print(stderr, "tavro-play check: {} (--help shows the options)\n", error.what());
    return kNotUsable;
  } catch (const std::exception& error) {
    fmt::print(stderr, "tavro-play check: {}\n", error.what());
    return kNotUsable;
  }
}
