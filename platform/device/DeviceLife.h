// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/AudioDevices.h>

#include <atomic>

#include "platform/device/ModelLock.h"

namespace Platform {

/// How far a device's life has come: alive, lost, ended. Also why it is lost, or why a unit cannot
/// play on it. [any-thread]
class DeviceLife {
 public:
  bool isAlive() const { return !m_ended.load() && !m_lost.load(); }
  bool hasEnded() const { return m_ended.load(); }

  /// Marks the device as lost before it ends. No effect afterwards.
  void markLost(const AudioDevices::Failure& loss);
  /// Returns false if it had ended already.
  bool end() { return !m_ended.exchange(true); }

  /// Records why a unit could not start on it, or nothing if one could.
  void noteRefusal(const AudioDevices::Failure& refusal);
  /// Returns the loss, else the refusal, else nothing.
  AudioDevices::Failure failure() const;

 private:
  std::atomic<bool> m_ended{false};
  std::atomic<bool> m_lost{false};
  AudioDevices::Failure m_loss TAVRO_GUARDED_BY(modelLock());
  AudioDevices::Failure m_refusal TAVRO_GUARDED_BY(modelLock());
};

}  // namespace Platform
