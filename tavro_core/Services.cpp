#include "host/Services.h"

#include "time/HostTime.h"

namespace Tavro {

namespace {
constexpr std::uint64_t kNanosPerMs = 1'000'000;
}

std::uint64_t GetTimeMS() { return HostTime::now() / kNanosPerMs; }

void SleepMS(unsigned long long ms) {
  HostTime::waitUntil(HostTime::now() + ms * kNanosPerMs, "SleepMS");
}

}  // namespace Tavro
