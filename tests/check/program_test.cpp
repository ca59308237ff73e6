// SPDX-License-Identifier: MIT

#include <nlohmann/json.hpp>

#include <gmock/gmock.h>

#include "tests/support/Workbench.h"

namespace {

using testing::HasSubstr;

class CheckProgram : public Workbench {
 protected:
  Result check(const Words& arguments) const { return run(CHECK, arguments); }
};

TEST_F(CheckProgram, aBundleThatKeepsAPromiseEndsItWithZero) {
  const Result result = run(PLAYER, {"check", BUNDLE, "--only", "lookup"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(says(result.out, "kept"));
  EXPECT_TRUE(says(result.out, "1 of 1 promises kept"));
}

TEST_F(CheckProgram, everyWayToBreakAPromiseGetsAVerdictAndTheOthersAreChecked) {
  const Result result =
      check({MISBEHAVING, "--timeout", "1", "--only", "create-and-destroy", "--only", "information",
             "--only", "supported-formats", "--only", "lookup-unknown", "--only", "rebuild",
             "--json", path("json"), "--junit", path("junit")});
  EXPECT_EQ(result.status, 1);
  for (const char* words :
       {"did not return within 1 s", "crashed: SIGABRT", "ended the process with status 0",
        "result for '': 3", "connectInput() returns a port", "0 of 5 promises kept, 5 broken"}) {
    EXPECT_TRUE(says(result.out, words));
  }
  const auto json = nlohmann::json::parse(readText(path("json")));
  EXPECT_EQ(json["broken"], 5);
  EXPECT_EQ(json["promises"][0]["id"], "lookup-unknown");
  EXPECT_THAT(json["promises"][0]["findings"][0]["when"], HasSubstr("after: make a component"));
  const std::string junit = readText(path("junit"));
  EXPECT_THAT(junit, HasSubstr("<testsuite name=\"entry\" tests=\"1\" failures=\"1\""));
  EXPECT_THAT(junit, HasSubstr("result for &apos;&apos;: 3"));
}

TEST_F(CheckProgram, whatCannotBeCheckedIsSaidInOneLine) {
  EXPECT_TRUE(saysInOneLine(check({path("nothing")}), 2, "no such file"));
  EXPECT_TRUE(saysInOneLine(check({CHECK}), 2, "cannot load the bundle"));
  EXPECT_TRUE(saysInOneLine(check({BUNDLE, "--only", "manners"}), 2, "'manners'"));
  EXPECT_EQ(check({}).status, 2);
  EXPECT_TRUE(says(check({"--list"}).out, "early-buffers-wait"));
}

}  // namespace
