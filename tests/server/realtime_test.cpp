// SPDX-License-Identifier: MIT

// The thread that plays is a real-time one where that is permitted, and otherwise plays as it is.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sched.h>
#include <unistd.h>

#include "tests/server/ServerTest.h"

namespace fs = std::filesystem;

namespace {

class RealTimeOnAServer : public ServerTest {
 protected:
  void SetUp() override {
    ServerTest::SetUp();
    if (geteuid() != 0) {
      GTEST_SKIP() << "only root is sure to be permitted, and can become a user who is not";
    }
    if (!IsSkipped()) {
      startServer({{"one"}});
    }
    writeWave(path("in.wav"), noise({16, false, 2, 48000}, 48000));
  }

  static long realTimeThreadsOf(pid_t process) {
    const fs::directory_iterator tasks("/proc/" + std::to_string(process) + "/task");
    return std::count_if(tasks, fs::directory_iterator(), [](const auto& task) {
      const int policy = sched_getscheduler(std::stoi(task.path().filename()));
      return (policy & ~SCHED_RESET_ON_FORK) == SCHED_FIFO;
    });
  }

  /// A copy that every user may run: the build may be in a private folder.
  std::string playerForEveryUser() const {
    fs::create_directory(folder / "bin");
    for (const auto& file : fs::directory_iterator(fs::path(PLAYER).parent_path())) {
      if (file.path() == PLAYER || file.path().extension() == ".so") {
        fs::copy(file, folder / "bin");
      }
    }
    return path("bin/tavro-play");
  }

  static long lockedKilobytesOf(pid_t process) {
    const std::string status = readText("/proc/" + std::to_string(process) + "/status");
    return std::stol(status.substr(status.find("VmLck:") + 6));
  }
};

TEST_F(RealTimeOnAServer, isAskedForByTheThreadThatPlaysAndToldOfOnce) {
  const pid_t player = begin(PLAYER, {"-v", "--device", "pulse:one", "in.wav"});
  EXPECT_TRUE(eventually([&] { return realTimeThreadsOf(player) == 1; }));
  EXPECT_GT(lockedKilobytesOf(player), 64);
  const Result result = end(player);
  EXPECT_EQ(result.status, 0);
  const std::string told = "real-time scheduling: granted; locked memory: granted";
  const std::size_t at = result.err.find(told);
  EXPECT_NE(at, std::string::npos) << result.err;
  EXPECT_EQ(result.err.find(told, at + 1), std::string::npos);
}

TEST_F(RealTimeOnAServer, isDoneWithoutWhereItIsNotPermitted) {
  fs::permissions(folder, fs::perms::all);
  const Result result =
      run("setpriv", {"--reuid=65534", "--regid=65534", "--clear-groups", "prlimit", "--memlock=0",
                      playerForEveryUser(), "-v", "--device", "pulse:one", "in.wav"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(says(result.err, "real-time scheduling: Operation not permitted"));
  EXPECT_FALSE(says(result.err, "locked memory: granted"));
}

}  // namespace
