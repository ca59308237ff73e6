#pragma once

#include <AudioDevices/AudioDevices.h>

#include <nlohmann/json.hpp>

#include <functional>
#include <string>

#include "tests/support/Wave.h"
#include "tests/support/Workbench.h"

/// A machine whose ALSA knows nothing but what the test says, and which has no sound server.
class AlsaTest : public Workbench {
 protected:
  AlsaTest();

  /// Adds a PCM of the tests' own kind (BenchPcm.cpp tells its settings) that plays into
  /// NAME.raw.
  void define(const std::string& name, const std::string& settings = "");
  void configure(const std::string& text);
  Bytes played(const std::string& name) const { return readFile(path(name + ".raw")); }

  Result playOn(const std::string& name, const Wave& in);
  nlohmann::json totals() const { return nlohmann::json::parse(readFile(path("totals"))); }

  /// Bounded; false: not in time.
  static bool eventually(const std::function<bool()>& isSo);
};

/// It failed as the device did, which is told in one line with these words in it.
testing::AssertionResult toldInOneLine(const Result& result, const std::string& words);
