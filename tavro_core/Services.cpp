// SPDX-License-Identifier: MIT

#include "host/Services.h"

#include "time/HostTime.h"
#include "time/Nanoseconds.h"

namespace Tavro {

std::uint64_t GetTimeMS() { return HostTime::now() / kNanosPerMs; }

void SleepMS(unsigned long long ms) {
  HostTime::waitUntil(HostTime::now() + ms * kNanosPerMs, "SleepMS");
}

}  // namespace Tavro
