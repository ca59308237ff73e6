// SPDX-License-Identifier: MIT

#pragma once

namespace Platform {

/// Starts (once) a thread that polls playing devices four times a second; stalled devices are
/// reported and reopened. [any-thread]
void watchCycles();

}  // namespace Platform
