// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/AudioDevices.h>

#include <nlohmann/json.hpp>

#include <string>

#include "tests/support/Workbench.h"

/// A machine whose ALSA knows nothing but what the test says, and which has no sound server.
class AlsaTest : public Workbench {
 protected:
  AlsaTest();

  /// Adds a PCM of the tests' own kind (BenchPcm.cpp lists its settings) that plays into
  /// NAME.raw.
  void define(const std::string& name, const std::string& settings = "");
  void configure(const std::string& text);
  Bytes played(const std::string& name) const { return readFile(path(name + ".raw")); }
};
