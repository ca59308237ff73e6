// SPDX-License-Identifier: MIT

#include "platform/device/ModelLock.h"

namespace Platform {

std::mutex& modelLock() {
  static auto* lock = new std::mutex;  // outlives every static that uses it
  return *lock;
}

}  // namespace Platform
