// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

#include "check/bench/Bench.h"

namespace Check {

/// Something that every renderer bundle does for its host, and the check of it.
struct Promise {
  std::string id;         // kebab-case; stays the same from version to version
  std::string subject;    // the group that it is listed in
  std::string statement;  // one sentence
  void (*check)(Bench& bench);
};

// The promises of a subject.
std::vector<Promise> entryPromises();
std::vector<Promise> componentPromises();
std::vector<Promise> configurationPromises();
std::vector<Promise> volumePromises();
std::vector<Promise> feedingPromises();
std::vector<Promise> soundPromises();
std::vector<Promise> randomPromises();
std::vector<Promise> clockPromises();
std::vector<Promise> flushPromises();
std::vector<Promise> callbackPromises();
std::vector<Promise> passthroughPromises();
std::vector<Promise> failurePromises();
std::vector<Promise> endingPromises();
std::vector<Promise> threadPromises();

/// All promises, in the order in which they are listed and checked.
std::vector<Promise> allPromises();

}  // namespace Check
