// SPDX-License-Identifier: MIT

#include <fmt/format.h>

#include <array>
#include <functional>
#include <thread>
#include <utility>

#include "check/promises/Promise.h"

namespace Check {
namespace {

using Tavro::VariantType::kUInt8;
namespace Script = AudioDevices::Script;

constexpr std::uint32_t kPassthrough = Tavro::PortQuery::kConfigurePassthrough;

/// States in which a host may delete a component that it has not disconnected.
const std::array<std::pair<const char*, std::function<void(Bench&)>>, 5>& states() {
  static const std::array<std::pair<const char*, std::function<void(Bench&)>>, 5> all = {
      {{"as it was made", [](Bench& bench) { bench.make(); }},
       {"connected", [](Bench& bench) { bench.connect(); }},
       {"with a built output and buffers queued",
        [](Bench& bench) {
          bench.build();
          bench.upstream.addTens(5, 1000);
          bench.feed();
        }},
       {"while it plays",
        [](Bench& bench) {
          bench.build();
          bench.start();
          bench.upstream.addTens(5, 1000);
          bench.feed();
          bench.setGraphTime(1000);
          bench.platform.device().cycle(700);
        }},
       {"during passthrough", [](Bench& bench) {
          bench.connect();
          bench.write(48000, 2, 16, kPassthrough);
          bench.upstream.add(kBurstBytes, 1000, 32);
          bench.upstream.add(kBurstBytes, 1032, 32);
          bench.feed();
          bench.platform.device().cycle(1536);
        }}}};
  return all;
}

void useDigitalDevice(Bench& bench) {
  bench.platform.useDevice({.name = "digital",
                            .streams = {{.format = AudioDevices::pcmInteger(48000, 2, 16),
                                         .available = {AudioDevices::ac3Bursts(48000, 2)}}}});
}

void leavesNothing(Bench& bench) {
  useDigitalDevice(bench);
  for (const auto& [name, reach] : states()) {
    const Bench::Case state(bench, fmt::format("deleted {}", name));
    reach(bench);
    bench.end();
    bench.expectNothingRegistered();
    bench.expectReferencesReturned();
    bench.upstream.forget();
    bench.setGraphTime(0);
  }
}

void keepsNoMemory(Bench& bench) {
  useDigitalDevice(bench);
  std::int64_t before = 0;
  for (int round = 0; round < 4; ++round) {
    for (const auto& [name, reach] : states()) {
      reach(bench);
      bench.end();
      bench.upstream.forget();
      bench.session.takeReports();
      bench.setGraphTime(0);
    }
    Journal::instance().take();
    bench.platform.forgetCalls();
    if (round == 1) {  // what is made once has been made
      before = Watch::liveBlocks();
    }
  }
  bench.expectEqual("blocks left over by two rounds", Watch::liveBlocks() - before, 0);
  bench.expect(!Watch::hasLeaks(), "no memory that nothing refers to",
               "AddressSanitizer found some");
}

void leavesItsSession(Bench& bench) {
  bench.build();
  bench.ready();
  bench.letFeederRun();
  bench.event(Tavro::PortEvent::kDisconnect);
  bench.step("destroy");
  bench.component->component().destroy();
  bench.expect(bench.session.clock.timeBases.empty(), "no time base stays with the clock",
               "one does");
  bench.expect(bench.session.consumers.empty(), "no setting consumer stays with the session",
               "one does");
  bench.session.clock.reads = 0;
  bench.session.takeReports();
  bench.advance(100);
  bench.expectEqual("reads of the graph clock after destroy()", bench.session.clock.reads.load(),
                    0U);
  bench.step("create again");
  bench.expectEqual("create() in another session",
                    bench.component->component().create(&bench.session), true);
  bench.expectNoMisuse();
}

/// destroy() from within a report of the feeder returns at once, and the buffer's reference is
/// returned nevertheless.
void leavesFromAReport(Bench& bench) {
  bench.build();
  bench.setGraphTime(2000);
  bench.session.onReport = [&](const Report&) { bench.component->component().destroy(); };
  bench.queue(400, 1000, 10);
  bench.session.onReport = nullptr;
  bench.expectEqual("buffers released", bench.upstream.released(), 1U);
  bench.expect(bench.session.consumers.empty(), "the session is left", "it is not");
  bench.component->component().create(&bench.session);
  bench.upstream.add(400, 1000, 10).onRelease = [&] {
    std::thread([&] { bench.component->component().destroy(); }).join();
  };
  bench.feed();
  bench.expectEqual("buffers released", bench.upstream.released(), 2U);
  bench.expectNoMisuse();
}

/// While a call of the platform is under way, the graph that it uses stays.
void waitsForCallsUnderWay(Bench& bench) {
  for (const bool volume : {true, false}) {
    const char* function = volume ? "AudioUnitSetParameter" : "AUGraphIsRunning";
    const Bench::Case named(bench, function);
    bench.build();
    bench.platform.takeCalls();
    std::thread disconnecting;
    Lines meanwhile;
    Script::onCall(function, [&] {
      if (disconnecting.joinable()) {
        return;
      }
      disconnecting = std::thread([&] { bench.event(Tavro::PortEvent::kDisconnect); });
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      meanwhile = bench.platform.takeCalls({"AUGraphClose", "DisposeAUGraph"});
    });
    volume ? bench.announceVolume({kUInt8, 50}) : void(bench.timeBase().isRunning());
    bench.require(disconnecting.joinable(), std::string(function) + " is called", "it is not");
    disconnecting.join();
    bench.expectEqual("calls that end the graph meanwhile", meanwhile, Lines{});
    bench.expectNothingRegistered();
    bench.end();
    bench.platform.forgetCalls();
  }
}

}  // namespace

std::vector<Promise> endingPromises() {
  const char* subject = "ending";
  return {
      {"deletion", subject,
       "A component may be deleted in any state: registrations and references are returned.",
       leavesNothing},
      {"deletion-memory", subject, "A deleted component leaves no memory behind.", keepsNoMemory},
      {"destroy", subject, "After destroy() neither session nor clock is used.", leavesItsSession},
      {"destroy-from-a-report", subject,
       "destroy() is possible from within a report, and while the feeder releases a buffer.",
       leavesFromAReport},
      {"calls-under-way", subject,
       "The graph stays until the platform calls that use it have returned.",
       waitsForCallsUnderWay},
  };
}

}  // namespace Check
