// SPDX-License-Identifier: MIT

#include "platform/device/ModelLock.h"

namespace Platform {

ModelMutex& modelLock() {
  static auto* lock = new ModelMutex;  // outlives every static that uses it
  return *lock;
}

}  // namespace Platform
