// SPDX-License-Identifier: MIT

// What the loader says of bundles that are none.

#include "tavro_core/Bundle.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <string>
#include <unistd.h>
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

TEST(BundleTest, isFoundInAListedFolderOrBesideTheLibrary) {
  const std::string name = "bundle_without_answers.so";
  EXPECT_EQ(Bundle::find(name), inFolder(name.c_str()));
  const std::string listed = testing::TempDir() + "listed-" + std::to_string(getpid());
  std::filesystem::create_directory(listed);
  std::filesystem::copy(inFolder(name.c_str()), listed,
                        std::filesystem::copy_options::overwrite_existing);
  setenv(Bundle::kPathVariable, ("/nonexistent:" + listed).c_str(), 1);
  EXPECT_EQ(Bundle::find(name), listed + "/" + name);
  try {
    Bundle("nowhere.so");
    ADD_FAILURE();
  } catch (const BundleError& error) {
    for (const char* searched : {"/nonexistent ", listed.c_str(), BUNDLE_FOLDER " ",
                                 BUNDLE_FOLDER "/tavro ", "nowhere.so", Bundle::kPathVariable}) {
      EXPECT_THAT(error.what(), testing::HasSubstr(searched));
    }
  }
  unsetenv(Bundle::kPathVariable);
  std::filesystem::remove_all(listed);
}

}  // namespace
