// What the loader says of bundles that are none.

#include "tavro_core/Bundle.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace Tavro;

std::string inFolder(const char* name) { return std::string(BUNDLE_FOLDER "/") + name; }

template <class Action>
std::string errorOf(Action action) {
  try {
    action();
  } catch (const BundleError& error) {
    return error.what();
  }
  return "no error";
}

TEST(BundleTest, aMissingFileIsNamed) {
  const std::string error = errorOf([] { Bundle bundle(inFolder("nowhere.so")); });
  EXPECT_NE(error.find("nowhere.so"), std::string::npos) << error;
  EXPECT_NE(error.find("cannot load"), std::string::npos) << error;
}

TEST(BundleTest, aLibraryWithoutEntryIsNoBundle) {
  const std::string error = errorOf([] { Bundle bundle(inFolder("bundle_without_entry.so")); });
  EXPECT_NE(error.find("getPlugin"), std::string::npos) << error;
}

TEST(BundleTest, anInterfaceThatIsNotAnsweredIsNamed) {
  Bundle bundle(inFolder("bundle_without_answers.so"));
  const std::string error = errorOf([&bundle] { bundle.makeComponent(); });
  EXPECT_NE(error.find("com.norvane.flowloom.interface.component"), std::string::npos) << error;
}

TEST(PluginTest, theLastHoldDeletes) {
  struct Held : Plugin {
    explicit Held(bool& gone) : Plugin(nullptr), m_gone(gone) {}
    ~Held() override { m_gone = true; }
    std::uint32_t queryInterface(const NarrowString&, void**) override { return 3; }
    bool& m_gone;
  };
  bool gone = false;
  Plugin* plugin = new Held(gone);
  EXPECT_EQ(plugin->retain(), 2u);
  EXPECT_EQ(plugin->release(), 1u);
  EXPECT_FALSE(gone);
  EXPECT_EQ(plugin->release(), 0u);
  EXPECT_TRUE(gone);
}

}  // namespace
