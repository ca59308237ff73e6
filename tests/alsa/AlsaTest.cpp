// SPDX-License-Identifier: MIT

#include "tests/alsa/AlsaTest.h"

#include <cstdlib>
#include <fstream>
#include <sys/resource.h>

AlsaTest::AlsaTest() {
  setpriority(PRIO_PROCESS, 0, -15);  // where allowed: all of this plays in real time
  setenv("ALSA_CONFIG_PATH", path("asound.conf").c_str(), 1);
  setenv("PULSE_SERVER", ("unix:" + path("no-server")).c_str(), 1);
  // LeakSanitizer falls over a thread that is left behind in a module.
  setenv("ASAN_OPTIONS", "intercept_tls_get_addr=0", 0);
  configure("pcm_type.bench { lib \"" BENCH "\" }\n");
}

void AlsaTest::define(const std::string& name, const std::string& settings) {
  configure("pcm." + name + " { type bench file \"" + path(name + ".raw") + "\" " + settings +
            " }\n");
}

void AlsaTest::configure(const std::string& text) {
  std::ofstream(path("asound.conf"), std::ios::app) << text;
}
