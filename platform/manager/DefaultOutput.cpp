// SPDX-License-Identifier: MIT

#include "platform/manager/DefaultOutput.h"

#include <utility>

#include "platform/manager/PropertyListeners.h"

namespace Platform {

std::shared_ptr<Device> DefaultOutput::device() const {
  const auto output = m_devices.find(m_output);
  return output && output->isAlive() ? output : nullptr;
}

void DefaultOutput::choose(const Device& device) {
  m_chosen = device.identifier();
  apply(DeviceEvent::DeviceBack, &device);
}

void DefaultOutput::forgetChoice(const Device& device) {
  if (m_chosen == device.identifier()) {
    m_chosen.clear();
  }
}

bool DefaultOutput::setServerDefault(AudioObjectID id) {
  if (std::exchange(m_serverDefault, id) == id) {
    return false;
  }
  apply(DeviceEvent::DefaultChanged, nullptr);
  return true;
}

std::shared_ptr<Device> DefaultOutput::chosen() const { return m_devices.living(m_chosen); }

/// The device that has been attached the longest, else the server's default.
std::shared_ptr<Device> DefaultOutput::fallback() const {
  if (auto attached = m_devices.longestAttached()) {
    return attached;
  }
  const auto ofServer = m_devices.find(m_serverDefault);
  return ofServer && ofServer->isAlive() ? ofServer : nullptr;
}

Situation DefaultOutput::situation(DeviceEvent change, const Device* device) const {
  Situation now{.change = change,
                .subject = Subject::Another,
                .choice = Choice::None,
                .fallback = fallback() ? Fallback::There : Fallback::None};
  if (!m_chosen.empty()) {
    now.choice = chosen() ? Choice::There : Choice::Missing;
  }
  if (device != nullptr && device->identifier() == m_chosen && device->isAlive()) {
    now.subject = Subject::TheChosen;
  }
  if (device != nullptr && device->id() == m_output) {
    now.subject = Subject::ThePlaying;
  }
  return now;
}

Action DefaultOutput::apply(DeviceEvent change, const Device* device) {
  const Action action = decide(situation(change, device));
  switch (action) {
    case Action::PlayOnChosen:
      moveTo(chosen());
      break;
    case Action::PlayOnDefault:
      moveTo(fallback());
      break;
    case Action::Hold:
      moveTo(nullptr);
      break;
    default:
      break;
  }
  return action;
}

void DefaultOutput::moveTo(const std::shared_ptr<Device>& target) {
  const AudioObjectID id = target ? target->id() : AudioObjectID{kAudioObjectUnknown};
  if (std::exchange(m_output, id) != id) {
    notifyListeners(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);
  }
}

}  // namespace Platform
