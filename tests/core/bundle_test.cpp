// SPDX-License-Identifier: MIT

// What the loader says of bundles that are none.

#include "tavro_core/Bundle.h"

#include <gtest/gtest.h>

#include <gmock/gmock.h>
#include <string>
#include <utility>

namespace {

using namespace Tavro;

std::string inFolder(const char* name) { return std::string(BUNDLE_FOLDER "/") + name; }

TEST(BundleTest, aFileThatIsNoBundleIsNamedWithWhatItLacks) {
  for (const auto& [name, lacks] :
       {std::pair{"nowhere.so", "cannot load"},
        {"libTavro_Time.so", "getPlugin"},
        {"bundle_without_answers.so", "com.norvane.flowloom.interface.component"}}) {
    try {
      Bundle(inFolder(name)).makeComponent();
      ADD_FAILURE() << name << " was taken for a bundle";
    } catch (const BundleError& error) {
      EXPECT_THAT(error.what(), testing::HasSubstr(lacks));
      EXPECT_THAT(error.what(), testing::HasSubstr(name));
    }
  }
}

}  // namespace
