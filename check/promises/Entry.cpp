// SPDX-License-Identifier: MIT

#include <dlfcn.h>

#include "check/promises/Promise.h"

namespace Check {
namespace {

constexpr const char* kComponentId = "com.norvane.flowloom.interface.component";
constexpr const char* kOutputId = "com.norvane.flowloom.interface.output";
constexpr const char* kOutputComponentId = "com.norvane.flowloom.component.output";

void makesComponents(Bench& bench) {
  auto* context = reinterpret_cast<Tavro::PluginContext*>(&bench);
  bench.step("make two components");
  const auto first = bench.bundle().makeComponent(context);
  const auto second = bench.bundle().makeComponent();
  bench.expect(&first->plugin() != &second->plugin(), "each call creates a component of its own",
               "the second call returned the first one");
  bench.expect(first->plugin().getPluginContext() == context,
               "the context goes to the Plugin constructor", "another one did");
  bench.advance(50);
  bench.expectEqual("platform calls of unused components", bench.platform.takeCalls(), Lines{});
}

void answersLookups(Bench& bench) {
  bench.make();
  Tavro::Plugin& plugin = bench.component->plugin();
  const auto lookUp = [&](const char* id) -> void* {
    void* found = &bench;
    const std::uint32_t result = plugin.queryInterface(narrow(id), &found);
    bench.expectEqual(std::string("result for ") + id, result, Tavro::InterfaceResult::kFound);
    bench.require(found != nullptr && found != &bench, std::string("a pointer for ") + id, "none");
    return found;
  };
  auto* component = static_cast<Tavro::ComponentInterface*>(lookUp(kComponentId));
  auto* output = static_cast<Tavro::OutputInterface*>(lookUp(kOutputId));
  auto* both = static_cast<Tavro::OutputComponent*>(lookUp(kOutputComponentId));
  bench.expect(static_cast<Tavro::ComponentInterface*>(both) == component &&
                   static_cast<Tavro::OutputInterface*>(both) == output,
               "the three are views of one component", "they are not");
}

void refusesLookups(Bench& bench) {
  bench.make();
  for (const char* id :
       {"com.norvane.flowloom.component.output.single",
        "com.norvane.flowloom.component.output.multiple", "",
        "com.norvane.flowloom.component.outpu", "com.norvane.flowloom.component.output ",
        "COM.norvane.flowloom.interface.component"}) {
    void* found = &bench;
    const std::uint32_t result = bench.component->plugin().queryInterface(narrow(id), &found);
    bench.expectEqual("result for '" + std::string(id) + "'", result,
                      Tavro::InterfaceResult::kUnknown);
    bench.expect(found == nullptr, "null for '" + std::string(id) + "'", "a pointer");
  }
}

void unloads(Bench& bench) {
  for (int round = 0; round < 2; ++round) {
    bench.step("load the bundle, make a component, delete it, unload the bundle");
    Tavro::Bundle(bench.bundlePath()).makeComponent();
    void* const loaded = dlopen(bench.bundlePath().c_str(), RTLD_NOW | RTLD_NOLOAD);
    bench.require(loaded == nullptr, "the bundle is not loaded any more", "it still is");
  }
}

void survivesRefusedAllocations(Bench& bench) {
  bench.requireWatch();
  bench.bundle().makeComponent();  // whatever is made once
  std::uint64_t nth = 0;
  for (bool failed = true; failed;) {
    const Bench::Case refused(bench, "allocation " + std::to_string(++nth) + " refused");
    const std::int64_t before = Watch::liveBlocks();
    failed = false;
    Watch::refuseAllocation(nth);
    try {
      bench.bundle().makeComponent();
    } catch (...) {
      failed = true;
    }
    Watch::refuseAllocation(0);
    if (failed) {
      bench.expectEqual("blocks left over", Watch::liveBlocks() - before, 0);
    }
  }
  bench.expect(nth > 5, "getPlugin() allocates, starts a thread and makes mutexes",
               std::to_string(nth - 1) + " of them can be refused");
}

}  // namespace

std::vector<Promise> entryPromises() {
  const char* subject = "entry";
  return {
      {"entry", subject, "getPlugin() creates a new component at each call, for the given context.",
       makesComponents},
      {"lookup", subject, "queryInterface() returns three views of the component.", answersLookups},
      {"lookup-unknown", subject,
       "queryInterface() returns 3 and null for every other name, compared exactly.",
       refusesLookups},
      {"unload", subject, "The bundle can be unloaded after its last component, and loaded again.",
       unloads},
      {"entry-failures", subject,
       "If memory, a thread or a mutex fails, an exception leaves getPlugin() and nothing else "
       "remains.",
       survivesRefusedAllocations},
  };
}

}  // namespace Check
