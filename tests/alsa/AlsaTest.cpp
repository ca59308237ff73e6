#include "tests/alsa/AlsaTest.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sys/resource.h>
#include <thread>

AlsaTest::AlsaTest() {
  setpriority(PRIO_PROCESS, 0, -15);  // where allowed: all of this plays in real time
  setenv("ALSA_CONFIG_PATH", path("asound.conf").c_str(), 1);
  setenv("PULSE_SERVER", ("unix:" + path("nobody")).c_str(), 1);
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

Result AlsaTest::playOn(const std::string& name, const Wave& in) {
  writeWave(path("in.wav"), in);
  return play({"--device", "alsa:" + name, "--json", "totals", "in.wav"});
}

bool AlsaTest::eventually(const std::function<bool()>& isSo) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!isSo()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

testing::AssertionResult toldInOneLine(const Result& result, const std::string& words) {
  const bool isSo =
      result.status == 4 && result.errorLines() == 1 && result.err.find(words) != std::string::npos;
  return isSo ? testing::AssertionSuccess()
              : testing::AssertionFailure() << "status " << result.status << ": " << result.err;
}
