// SPDX-License-Identifier: MIT

#include <iterator>

#include "check/promises/Promise.h"

namespace Check {

std::vector<Promise> allPromises() {
  std::vector<Promise> all;
  for (const auto of :
       {entryPromises, componentPromises, configurationPromises, volumePromises, feedingPromises,
        soundPromises, randomPromises, clockPromises, flushPromises, callbackPromises,
        passthroughPromises, failurePromises, endingPromises, threadPromises}) {
    std::vector<Promise> some = of();
    std::ranges::move(some, std::back_inserter(all));
  }
  return all;
}

}  // namespace Check
