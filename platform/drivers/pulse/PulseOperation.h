// SPDX-License-Identifier: MIT

#pragma once

#include <pulse/pulseaudio.h>

namespace Platform {

/// Releases an operation whose result comes by callback.
inline void letRun(pa_operation* operation) {
  if (operation != nullptr) {
    pa_operation_unref(operation);
  }
}

}  // namespace Platform
