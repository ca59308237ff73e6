#include "BundleTest.h"
#include "fakes/AllocationWatch.h"

namespace {

using testing::IsEmpty;

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

TEST_F(EntryTest, everyOtherIdentifierAnswersThreeAndNull) {
  make();
  for (const char* id :
       {"com.norvane.flowloom.component.output.single",
        "com.norvane.flowloom.component.output.multiple", "",
        "com.norvane.flowloom.component.Output", "COM.NORVANE.FLOWLOOM.INTERFACE.COMPONENT",
        "com.norvane.flowloom.component.output ", "com.norvane.flowloom.component.outpu",
        "com.norvane.flowloom"}) {
    void* out = nullptr;
    EXPECT_EQ(component->lookUp(id, &out), 3U) << id;
    EXPECT_EQ(out, nullptr) << id;
  }
}

TEST_F(EntryTest, anIdentifierWithoutStorageIsUnknown) {
  make();
  const Tavro::NarrowString none(nullptr, Tavro::sharedAllocator<char>());
  void* out = this;
  EXPECT_EQ(component->plugin()->queryInterface(none, &out), 3U);
  EXPECT_EQ(out, nullptr);
}

TEST_F(EntryTest, eachCallOfTheEntryMakesAComponentOfItsOwn) {
  gate.open();
  Component first;
  Component second;
  EXPECT_NE(first.plugin(), second.plugin());
  ASSERT_TRUE(first->create(&session));
  Tavro::FormatDescriptor descriptor{1, 0, 0, 2, 0};
  Tavro::PortInterface* firstPort =
      first.output().connectInput(Tavro::MediaType::Audio, &descriptor, &source);
  Tavro::PortInterface* secondPort =
      second.output().connectInput(Tavro::MediaType::Audio, &descriptor, &source);
  EXPECT_NE(firstPort, nullptr);
  EXPECT_NE(secondPort, nullptr);
  EXPECT_NE(firstPort, secondPort);
  EXPECT_TRUE(first->destroy());
}

TEST_F(EntryTest, theContextIsPassedOnToTheHostsBase) {
  gate.open();
  int context = 0;
  Tavro::Plugin* plugin = nullptr;
  ASSERT_EQ(getPluginOfBundle()(reinterpret_cast<Tavro::PluginContext*>(&context), &plugin), 0U);
  EXPECT_EQ(static_cast<void*>(plugin->getPluginContext()), &context);
  delete plugin;
}

TEST_F(EntryTest, theLastReleaseDestroysTheComponent) {
  gate.open();
  Tavro::Plugin* plugin = nullptr;
  ASSERT_EQ(getPluginOfBundle()(nullptr, &plugin), 0U);
  plugin->retain();
  EXPECT_EQ(plugin->release(), 1U);
  EXPECT_EQ(plugin->release(), 0U);
}

TEST_F(EntryTest, aComponentNeverUsedIsDestroyedThroughAnyFacetWithoutAPlatformCall) {
  make();
  component.reset();
  Tavro::Plugin* plugin = nullptr;
  ASSERT_EQ(getPluginOfBundle()(nullptr, &plugin), 0U);
  void* facet = nullptr;
  plugin->queryInterface(narrow("com.norvane.flowloom.interface.output"), &facet);
  delete static_cast<Tavro::OutputInterface*>(facet);
  EXPECT_THAT(journal.take(), IsEmpty());
  EXPECT_EQ(platform.calls(), 0U);
}

TEST_F(EntryTest, aThreadThatCannotBeStartedLeavesTheEntryAsAnException) {
  if (!AllocationWatch::present()) {
    return;
  }
  gate.open();
  Tavro::Plugin* const before = reinterpret_cast<Tavro::Plugin*>(&gate);
  Tavro::Plugin* plugin = before;
  AllocationWatch::refuseThreads(true);
  EXPECT_ANY_THROW(getPluginOfBundle()(nullptr, &plugin));
  AllocationWatch::refuseThreads(false);
  EXPECT_EQ(plugin, before);
  Component afterwards;
}

TEST_F(EntryTest, anyAllocationOfTheEntryMayFailAndLeavesNothingBehind) {
  if (!AllocationWatch::present()) {
    return;
  }
  gate.open();
  { Component first; }
  Tavro::Plugin* const before = reinterpret_cast<Tavro::Plugin*>(&gate);
  unsigned failures = 0;
  for (std::uint64_t nth = 1; nth < 1000; ++nth) {
    Tavro::Plugin* plugin = before;
    const std::int64_t blocks = AllocationWatch::liveBlocks();
    bool failed = false;
    AllocationWatch::refuseNth(nth);
    try {
      getPluginOfBundle()(nullptr, &plugin);
    } catch (...) {
      failed = true;
    }
    AllocationWatch::refuseNth(0);
    if (!failed) {
      delete plugin;
      break;
    }
    ++failures;
    EXPECT_EQ(plugin, before) << nth;
    EXPECT_EQ(AllocationWatch::liveBlocks(), blocks) << "allocation " << nth;
  }
  EXPECT_GT(failures, 5U);
}

}  // namespace
