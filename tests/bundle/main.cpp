// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include "time/HostTime.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  Tavro::HostTime::simulate();
  return RUN_ALL_TESTS();
}
