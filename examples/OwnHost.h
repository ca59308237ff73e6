// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/AudioDevices.h>

#include "host/TavroCore.h"
#include "tavro_core/Bundle.h"
#include "tavro_core/Session.h"

/// Stands for your own host in own_host_test.cpp: plays a stream of 16-bit stereo at 48 kHz, and
/// holds the clock while there is no device, so that no buffer gets late.
class OwnHost {
 public:
  /// Starts to play. The session and the upstream must outlive this host.
  OwnHost(Tavro::Session& session, auto& upstream) : m_session(session) {
    m_component->component().create(&session);
    m_port = m_component->output().connectInput(Tavro::MediaType::Audio, &m_format, &upstream);
    Tavro::PortInterface* peer = &upstream;
    Tavro::_Variant value{Tavro::VariantType::kObject, reinterpret_cast<std::uintptr_t>(peer)};
    m_port->sendEvent(Tavro::PortEvent::kConnect, &value);
    Tavro::AudioProperties stream;
    stream.m_sampleRate = 48000, stream.m_channels = 2, stream.m_bitsPerSample = 16;
    value.value = reinterpret_cast<std::uintptr_t>(&stream);
    m_port->writeQuery(Tavro::PortQuery::kConfigurePcm, &value);
    while (!m_port->checkEvent(Tavro::PortCheck::kReady, nullptr)) Tavro::SleepMS(1);
    m_port->sendEvent(Tavro::PortEvent::kStart, nullptr);
  }
  ~OwnHost() {
    m_port->sendEvent(Tavro::PortEvent::kDisconnect, nullptr);
    m_component->output().disconnectInput(m_port);
    m_component->component().destroy();
  }
  OwnHost(const OwnHost&) = delete;
  OwnHost& operator=(const OwnHost&) = delete;

  void playFor(std::uint32_t ms) {
    for (; ms > 0; --ms, Tavro::SleepMS(1))
      hasDevice() ? m_session.clock().start() : m_session.clock().pause();
  }

 private:
  static bool hasDevice() {
    constexpr AudioObjectPropertyAddress kDefault = {kAudioHardwarePropertyDefaultOutputDevice,
                                                     kAudioObjectPropertyScopeGlobal,
                                                     kAudioObjectPropertyElementMaster};
    AudioDeviceID device = kAudioObjectUnknown;
    UInt32 bytes = sizeof device;
    AudioObjectGetPropertyData(kAudioObjectSystemObject, &kDefault, 0, nullptr, &bytes, &device);
    return device != kAudioObjectUnknown;
  }

  Tavro::Session& m_session;
  const Tavro::FormatDescriptor m_format{Tavro::FormatCode::kInteger, 0, 0, 2, 0};
  Tavro::Bundle m_bundle{"CoreAudioOutput.so"};
  std::unique_ptr<Tavro::Component> m_component = m_bundle.makeComponent();
  Tavro::PortInterface* m_port = nullptr;
};
