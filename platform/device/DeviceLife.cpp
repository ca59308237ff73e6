// SPDX-License-Identifier: MIT

#include "platform/device/DeviceLife.h"

namespace Platform {

void DeviceLife::markLost(const AudioDevices::Failure& loss) {
  if (isAlive()) {
    const Tavro::Lock model(modelLock());
    m_loss = loss;
    m_lost = true;
  }
}

void DeviceLife::noteRefusal(const AudioDevices::Failure& refusal) {
  const Tavro::Lock model(modelLock());
  m_refusal = refusal;
}

AudioDevices::Failure DeviceLife::failure() const {
  const Tavro::Lock model(modelLock());
  return m_loss ? m_loss : m_refusal;
}

}  // namespace Platform
