// SPDX-License-Identifier: MIT

// The help, as a person reads it and as the parser does.

#include "player/base/Options.h"

#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <regex>
#include <sstream>

#include "tests/support/Workbench.h"

namespace {

using Help = Workbench;

std::optional<int> parse(Words words) {
  Player::Options options;
  return Player::parseOptions(static_cast<int>(words.size()), argumentsOf(words).data(), options);
}

TEST_F(Help, isPlainAndItsExamplesParse) {
  std::istringstream help(play({"--help"}).out);
  std::map<std::string, int> described;
  int examples = -1;  // still before them
  for (std::string line; std::getline(help, line);) {
    EXPECT_LE(line.size(), 100u) << line;
    EXPECT_FALSE(std::regex_search(line, std::regex("[[:cntrl:]]"))) << line;
    std::istringstream in(line);
    const Words words{std::istream_iterator<std::string>(in), {}};
    if (examples >= 0) {
      EXPECT_EQ(parse(words), std::nullopt) << line;
      ++examples;
    } else if (line == "Examples:") {
      examples = 0;
    }
    const std::regex name("--[a-z][a-z-]+");
    for (std::sregex_iterator each(line.begin(), line.end(), name), end; each != end; ++each) {
      described[each->str()] += examples < 0 ? 1 : 0;
    }
  }
  EXPECT_GE(examples, 3);
  EXPECT_EQ(described.size(), 17u);
  for (const auto& [name, times] : described) {
    EXPECT_EQ(times, 1) << name;
  }
}

}  // namespace
