// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/AudioDevices.h>

#include "locks/NonBlocking.h"

namespace Platform {

/// Calls the process's observer, if there is one. [io-thread]
void reportRender(const AudioDevices::RenderRecord& record) TAVRO_NONBLOCKING;

}  // namespace Platform
