// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/AudioDevices.h>

namespace Platform {

/// Calls the process's observer, if there is one. [io-thread]
void reportRender(const AudioDevices::RenderRecord& record);

}  // namespace Platform
