// SPDX-License-Identifier: MIT

#include <dlfcn.h>
#include <filesystem>

#include "BundleTest.h"
#include "fakes/AllocationWatch.h"

namespace {

class EntryTest : public BundleTest {};

TEST_F(EntryTest, theThreeServedIdentifiersReturnTheViewsOfTheSameComponent) {
  make();
  void* out = nullptr;
  EXPECT_EQ(plugin()->queryInterface(narrow("com.norvane.flowloom.interface.component"), &out), 0U);
  EXPECT_EQ(out, dynamic_cast<Tavro::ComponentInterface*>(plugin()));
  EXPECT_EQ(plugin()->queryInterface(narrow("com.norvane.flowloom.interface.output"), &out), 0U);
  EXPECT_EQ(out, dynamic_cast<Tavro::OutputInterface*>(plugin()));
  EXPECT_EQ(plugin()->queryInterface(narrow("com.norvane.flowloom.component.output"), &out), 0U);
  EXPECT_EQ(out, dynamic_cast<Tavro::OutputComponent*>(plugin()));
}

TEST_F(EntryTest, theContextIsPassedOnAndAnUnusedComponentIsDestroyedWithoutAPlatformCall) {
  auto* context = reinterpret_cast<Tavro::PluginContext*>(this);
  component = bundle().makeComponent(context);
  EXPECT_EQ(plugin()->getPluginContext(), context);
  dropComponent();
  EXPECT_THAT(journal.take(), testing::IsEmpty());
}

TEST_F(EntryTest, theBundleIsUnloadedAndLoadedAgain) {
  gate.open();
  const std::filesystem::path path = BUNDLE_PATH ".copy";  // beside what it needs
  std::filesystem::copy_file(BUNDLE_PATH, path, std::filesystem::copy_options::overwrite_existing);
  for (int round = 0; round < 2; ++round) {
    void* const bundle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(bundle, nullptr);
    Tavro::Plugin* made = nullptr;
    reinterpret_cast<Tavro::GetPluginFunction*>(dlsym(bundle, "getPlugin"))(nullptr, &made);
    EXPECT_EQ(made->retain(), 2U);
    EXPECT_EQ(made->release(), 1U);
    EXPECT_EQ(made->release(), 0U) << "which deletes it";
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
  bundle().makeComponent();
  std::uint64_t nth = 0;
  for (bool failed = true; failed;) {
    const std::int64_t blocks = AllocationWatch::liveBlocks();
    failed = false;
    AllocationWatch::refuseNth(++nth);
    try {
      bundle().makeComponent();
    } catch (...) {
      failed = true;
    }
    AllocationWatch::refuseNth(0);
    EXPECT_EQ(AllocationWatch::liveBlocks(), blocks) << "allocation " << nth;
  }
  EXPECT_GT(nth, 5U);
}

}  // namespace
