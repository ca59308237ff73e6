// SPDX-License-Identifier: MIT

#include "platform/device/DeviceLife.h"

#include "platform/device/ModelLock.h"

namespace Platform {

void DeviceLife::markLost(const AudioDevices::Failure& loss) {
  if (isAlive()) {
    const std::lock_guard model(modelLock());
    m_loss = loss;
    m_lost = true;
  }
}

void DeviceLife::noteRefusal(const AudioDevices::Failure& refusal) {
  const std::lock_guard model(modelLock());
  m_refusal = refusal;
}

AudioDevices::Failure DeviceLife::failure() const {
  const std::lock_guard model(modelLock());
  return m_loss ? m_loss : m_refusal;
}

}  // namespace Platform
