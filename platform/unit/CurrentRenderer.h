// SPDX-License-Identifier: MIT

#pragma once

#include <CoreAudio/CoreAudio.h>

#include <cstdint>
#include <memory>

#include "locks/NonBlocking.h"
#include "platform/device/Client.h"
#include "platform/unit/UnitConfiguration.h"
#include "platform/unit/UnitRenderer.h"

namespace Platform {

/// The renderer of a unit that plays, replaced whenever the unit or its device changes. Guarded by
/// the device's I/O lock.
class CurrentRenderer {
 public:
  /// Replaces the renderer by one for this configuration. Takes the I/O lock, but only to put it
  /// into place. On refusal the device has the reason. Call it under the unit's lock of changes.
  OSStatus rebuild(const UnitConfiguration& configuration, float gain);
  /// The same if the device has changed since. Takes the I/O lock.
  void refresh(const UnitConfiguration& configuration, float gain);
  /// The same between cycles.
  void adapt(const UnitConfiguration& configuration, float gain)
      TAVRO_REQUIRES(configuration.device->ioLock());

  /// Returns true if there is only silence. [io-thread]
  bool play(const Cycle& cycle, float gain) TAVRO_NONBLOCKING;

 private:
  std::unique_ptr<UnitRenderer> m_renderer;  // null: silence
  std::uint64_t m_deviceGeneration = 0;      // when it was made
};

}  // namespace Platform
