// SPDX-License-Identifier: MIT

// In builds that check the order of locks.

#ifdef TAVRO_CHECKS_LOCK_ORDER

#include <gtest/gtest.h>

#include <thread>

#include "locks/Mutex.h"

namespace {

using Tavro::Lock;
using Tavro::LockRank;

Tavro::Mutex<LockRank::DeviceControl> control;
Tavro::RecursiveMutex<LockRank::DeviceCycle> cycle;
Tavro::RecursiveMutex<LockRank::DeviceCycle> cycleOfAnother;
Tavro::Mutex<LockRank::Listeners> leaf;
Tavro::Mutex<LockRank::SourceState> anotherLeaf;
Tavro::Mutex<LockRank::SchedulerState> scheduler;

template <class One, class Other>
void take(One& one, Other& other) {
  const Lock first(one);
  const Lock second(other);
}

TEST(LockOrderDeathTest, aLockOutOfOrderEndsTheProcessAndBothAreNamed) {
  EXPECT_DEATH(take(cycle, control), "Device::m_control is taken .* CycleRunner::m_io");
  EXPECT_DEATH(take(cycle, cycleOfAnother), "CycleRunner::m_io is taken .* CycleRunner::m_io");
  EXPECT_DEATH(take(leaf, anotherLeaf), "Source::m_lock is taken .* listeners' lock");
  EXPECT_DEATH(take(control, control), "Device::m_control is taken .* Device::m_control");
  EXPECT_DEATH(control.assertHeld(), "Device::m_control is not held");
}

TEST(LockOrderTest, locksInOrderAreTakenAgainAfterTheyWereReleased) {
  for (int i = 0; i < 2; ++i) {
    take(control, leaf);
    take(cycle, cycle);
    take(leaf, scheduler);
  }
  const Lock held(cycle);
  cycle.assertHeld();
  std::thread([] { take(control, scheduler); }).join();
  take(cycle, leaf);
}

}  // namespace

#endif
