#include <dlfcn.h>
#include <filesystem>

#include "BundleTest.h"
#include "fakes/AllocationWatch.h"

namespace {

class EntryTest : public BundleTest {};

TEST_F(EntryTest, theThreeServedIdentifiersAnswerTheViewsOfTheSameComponent) {
  make();
  void* out = nullptr;
  EXPECT_EQ(component->lookUp("com.norvane.flowloom.interface.component", &out), 0U);
  EXPECT_EQ(out, dynamic_cast<Tavro::ComponentInterface*>(component->plugin()));
  EXPECT_EQ(component->lookUp("com.norvane.flowloom.interface.output", &out), 0U);
  EXPECT_EQ(out, dynamic_cast<Tavro::OutputInterface*>(component->plugin()));
  EXPECT_EQ(component->lookUp("com.norvane.flowloom.component.output", &out), 0U);
  auto* output = static_cast<Tavro::OutputComponent*>(out);
  EXPECT_EQ(output, dynamic_cast<Tavro::OutputComponent*>(component->plugin()));
  EXPECT_TRUE(output->sendEvent(Tavro::ComponentEvent::kFirst, nullptr));
}

TEST_F(EntryTest, theContextIsPassedOnAndAnUnusedComponentIsDestroyedWithoutAPlatformCall) {
  gate.open();
  auto* context = reinterpret_cast<Tavro::PluginContext*>(this);
  Tavro::Plugin* plugin = nullptr;
  ASSERT_EQ(getPluginOfBundle()(context, &plugin), 0U);
  EXPECT_EQ(plugin->getPluginContext(), context);
  void* facet = nullptr;
  plugin->queryInterface(narrow("com.norvane.flowloom.interface.output"), &facet);
  delete static_cast<Tavro::OutputInterface*>(facet);  // any facet will do
  EXPECT_THAT(journal.take(), testing::IsEmpty());
}

TEST_F(EntryTest, theBundleIsUnloadedAndLoadedAgain) {
  gate.open();
  const std::filesystem::path path = BUNDLE_PATH ".copy";  // beside what it needs
  std::filesystem::copy_file(BUNDLE_PATH, path, std::filesystem::copy_options::overwrite_existing);
  for (int round = 0; round < 2; ++round) {
    void* const bundle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(bundle, nullptr);
    Tavro::Plugin* plugin = nullptr;
    reinterpret_cast<Tavro::GetPluginFunction*>(dlsym(bundle, "getPlugin"))(nullptr, &plugin);
    delete plugin;
    dlclose(bundle);
    EXPECT_EQ(dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr) << "it is still loaded";
  }
  std::filesystem::remove(path);
}

TEST_F(EntryTest, anyAllocationThreadOrMutexOfTheEntryMayBeRefusedAndLeavesNothingBehind) {
  if (!AllocationWatch::present()) {
    return;
  }
  gate.open();
  { Component first; }
  Tavro::Plugin* const before = reinterpret_cast<Tavro::Plugin*>(&gate);
  Tavro::Plugin* plugin = before;
  std::uint64_t nth = 0;
  for (bool failed = true; failed;) {
    const std::int64_t blocks = AllocationWatch::liveBlocks();
    failed = false;
    AllocationWatch::refuseNth(++nth);
    try {
      getPluginOfBundle()(nullptr, &plugin);
    } catch (...) {
      failed = true;
    }
    AllocationWatch::refuseNth(0);
    if (failed) {
      EXPECT_EQ(plugin, before) << nth;
      EXPECT_EQ(AllocationWatch::liveBlocks(), blocks) << "allocation " << nth;
    }
  }
  delete plugin;
  EXPECT_GT(nth, 5U);
}

}  // namespace
