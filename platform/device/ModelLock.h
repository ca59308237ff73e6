// SPDX-License-Identifier: MIT

#pragma once

#include "locks/Mutex.h"

namespace Platform {

/// The lock of the layer's plain data: descriptions of devices, their list, and what units, graphs
/// and I/O procedures are set to. Never held during a call out; only the listeners' lock is taken
/// under it. [any-thread]
using ModelMutex = Tavro::Mutex<Tavro::LockRank::Model>;
ModelMutex& modelLock();

}  // namespace Platform
