// What becomes of the output when something happens to devices, row by row, and when a device is
// said to stand.

#include <gtest/gtest.h>

#include <vector>

#include "platform/src/CycleWatchdog.h"
#include "platform/src/OutputPolicy.h"

namespace Platform {

void PrintTo(const Situation& situation, std::ostream* out) {
  *out << "change " << int(situation.change) << ", subject " << int(situation.subject)
       << ", choice " << int(situation.choice) << ", fallback " << int(situation.fallback);
}

namespace {

struct Case {
  const char* what;
  Situation situation;
  Action action;
};

const std::vector<Case> kCases = {
    {"the default is followed while nothing was set",
     {Change::DefaultChanged, Subject::Another, Choice::None, Fallback::There},
     Action::PlayOnDefault},
    {"a device that was set is kept",
     {Change::DefaultChanged, Subject::Another, Choice::There, Fallback::There},
     Action::Keep},
    {"its stand-in is the default of the moment",
     {Change::DefaultChanged, Subject::Another, Choice::Missing, Fallback::There},
     Action::PlayOnDefault},
    {"the default goes and there is no other",
     {Change::DefaultChanged, Subject::Another, Choice::None, Fallback::None},
     Action::Hold},
    {"a device that was set is kept without a default, too",
     {Change::DefaultChanged, Subject::Another, Choice::There, Fallback::None},
     Action::Keep},

    {"what plays is lost and there is a default",
     {Change::DeviceGone, Subject::ThePlaying, Choice::Missing, Fallback::There},
     Action::PlayOnDefault},
    {"the same with nothing set",
     {Change::DeviceGone, Subject::ThePlaying, Choice::None, Fallback::There},
     Action::PlayOnDefault},
    {"what plays is lost and there is nothing else",
     {Change::DeviceGone, Subject::ThePlaying, Choice::Missing, Fallback::None},
     Action::Hold},
    {"some other device is lost",
     {Change::DeviceGone, Subject::Another, Choice::There, Fallback::There},
     Action::Keep},
    {"some other device is lost while a stand-in plays",
     {Change::DeviceGone, Subject::Another, Choice::Missing, Fallback::There},
     Action::Keep},

    {"a stream is ended on purpose",
     {Change::StreamEnded, Subject::ThePlaying, Choice::None, Fallback::There},
     Action::Hold},
    {"somebody else's stream is",
     {Change::StreamEnded, Subject::Another, Choice::There, Fallback::There},
     Action::Keep},

    {"what was set is back",
     {Change::DeviceBack, Subject::TheChosen, Choice::There, Fallback::There},
     Action::PlayOnChosen},
    {"a device comes while what was set plays",
     {Change::DeviceBack, Subject::Another, Choice::There, Fallback::There},
     Action::Keep},
    {"the first device comes, the default",
     {Change::DeviceBack, Subject::Another, Choice::None, Fallback::There},
     Action::PlayOnDefault},
    {"the first device comes, no default yet",
     {Change::DeviceBack, Subject::Another, Choice::Missing, Fallback::None},
     Action::Hold},

    {"the rate of what plays changes",
     {Change::RateChanged, Subject::ThePlaying, Choice::There, Fallback::There},
     Action::Keep},

    {"the server goes with all it had",
     {Change::ServerGone, Subject::ThePlaying, Choice::Missing, Fallback::None},
     Action::Hold},
    {"the server goes and a device of another kind is left",
     {Change::ServerGone, Subject::ThePlaying, Choice::None, Fallback::There},
     Action::PlayOnDefault},
    {"the server goes, but what was set is none of its",
     {Change::ServerGone, Subject::Another, Choice::There, Fallback::None},
     Action::Keep},
    {"the server is back with what was set",
     {Change::ServerBack, Subject::Another, Choice::There, Fallback::There},
     Action::PlayOnChosen},
    {"the server is back without it",
     {Change::ServerBack, Subject::Another, Choice::Missing, Fallback::There},
     Action::PlayOnDefault},
    {"the server is back with nothing",
     {Change::ServerBack, Subject::Another, Choice::None, Fallback::None},
     Action::Hold},

    {"what plays stands still",
     {Change::Stalled, Subject::ThePlaying, Choice::None, Fallback::There},
     Action::OpenAnew},
    {"somebody suspends it",
     {Change::Suspended, Subject::ThePlaying, Choice::There, Fallback::There},
     Action::Keep},
    {"and lets it go on",
     {Change::Resumed, Subject::ThePlaying, Choice::There, Fallback::There},
     Action::Keep},
};

TEST(OutputPolicy, answersAsTheTableSays) {
  for (const Case& each : kCases) {
    EXPECT_EQ(decide(each.situation), each.action)
        << each.what << ": " << testing::PrintToString(each.situation);
  }
}

/// Whatever happens to other devices.
TEST(OutputPolicy, keepsAHealthyChoiceAndNeverGoesWhereNothingIs) {
  for (int change = 0; change <= int(Change::Resumed); ++change) {
    for (const Subject subject : {Subject::ThePlaying, Subject::TheChosen, Subject::Another}) {
      for (const Choice choice : {Choice::None, Choice::There, Choice::Missing}) {
        for (const Fallback fallback : {Fallback::There, Fallback::None}) {
          const Situation now{Change(change), subject, choice, fallback};
          const Action action = decide(now);
          if (choice == Choice::There && subject == Subject::Another) {
            EXPECT_NE(action, Action::PlayOnDefault) << testing::PrintToString(now);
            EXPECT_NE(action, Action::Hold) << testing::PrintToString(now);
          }
          EXPECT_FALSE(fallback == Fallback::None && action == Action::PlayOnDefault)
              << testing::PrintToString(now);
          EXPECT_FALSE(choice != Choice::There && subject != Subject::TheChosen &&
                       action == Action::PlayOnChosen)
              << testing::PrintToString(now);
        }
      }
    }
  }
}

constexpr std::uint64_t kMs = 1'000'000;
constexpr std::uint64_t kCycle = 10 * kMs;

using Finding = CycleWatchdog::Finding;

TEST(Watchdog, knowsADeviceThatStandsFromOneThatPlaysOrIsNotAskedTo) {
  CycleWatchdog watchdog;
  std::uint64_t cycles = 0;
  for (std::uint64_t ms = 0; ms < 5000; ms += 250) {
    EXPECT_EQ(watchdog.look(ms * kMs, true, cycles += 25, kCycle), Finding::Fine) << ms;
  }
  for (std::uint64_t ms = 5000; ms < 10000; ms += 250) {
    EXPECT_EQ(watchdog.look(ms * kMs, false, cycles, kCycle), Finding::Fine) << ms;
  }
  EXPECT_EQ(watchdog.look(10000 * kMs, true, cycles, kCycle), Finding::Fine);
  EXPECT_EQ(watchdog.look(10750 * kMs, true, cycles, kCycle), Finding::Fine);  // since 9750
  EXPECT_EQ(watchdog.look(10751 * kMs, true, cycles, kCycle), Finding::BeganToStand);
  EXPECT_TRUE(watchdog.stands());
  EXPECT_EQ(watchdog.look(11000 * kMs, true, cycles + 1, kCycle), Finding::GoesOn);
  EXPECT_FALSE(watchdog.stands());
}

TEST(Watchdog, waitsForFourCyclesWhereTheyAreLong) {
  CycleWatchdog watchdog;
  EXPECT_EQ(watchdog.look(0, true, 1, 400 * kMs), Finding::Fine);
  EXPECT_EQ(watchdog.look(1600 * kMs, true, 1, 400 * kMs), Finding::Fine);
  EXPECT_EQ(watchdog.look(1601 * kMs, true, 1, 400 * kMs), Finding::BeganToStand);
}

TEST(Watchdog, hasADeviceOpenedAnewLessAndLessOften) {
  CycleWatchdog watchdog;
  std::vector<std::uint64_t> tries;
  for (std::uint64_t second = 0; second < 80; ++second) {
    if (watchdog.look(second * 1000 * kMs, true, 1, kCycle) == Finding::OpenAnew) {
      tries.push_back(second);
    }
  }
  // Found standing after 2 s (looks are a second apart), then 2, 4, 8, 16, 16, … s between tries.
  EXPECT_EQ(tries, (std::vector<std::uint64_t>{4, 8, 16, 32, 48, 64}));
  EXPECT_EQ(watchdog.look(81'000 * kMs, false, 1, kCycle), Finding::GoesOn);  // was stopped
}

/// What is opened anew takes what fits into its buffer, and may then stand as before.
TEST(Watchdog, isNotTakenInByADeviceThatRunsForAMoment) {
  CycleWatchdog watchdog;
  std::uint64_t cycles = 1;
  std::vector<std::uint64_t> tries;
  const auto lookUntil = [&](std::uint64_t& second, std::uint64_t end) {
    for (; second < end; ++second) {
      if (watchdog.look(second * 1000 * kMs, true, cycles, kCycle) == Finding::OpenAnew) {
        tries.push_back(second);
        cycles += 16;
      }
    }
  };
  std::uint64_t second = 0;
  lookUntil(second, 50);
  // Each begins to stand again 3 s after the try, then 4, 8, 16 s.
  EXPECT_EQ(tries, (std::vector<std::uint64_t>{4, 11, 22, 41}));
  for (; second < 60; ++second) {  // well again
    watchdog.look(second * 1000 * kMs, true, cycles += 100, kCycle);
  }
  tries.clear();
  lookUntil(second, 64);
  EXPECT_EQ(tries, (std::vector<std::uint64_t>{63}));
}

}  // namespace
}  // namespace Platform
