// SPDX-License-Identifier: MIT

#include "coreaudio/CoreAudioOutput.h"

#include <memory>

namespace Tavro {

CoreAudioOutput::CoreAudioOutput(PluginContext* context)
    : AudioOutput<CoreAudioOutput>(context, L"Core Audio Output", "Audio|Renderer|CoreAudio") {
  auto port = std::make_unique<CoreAudioPort>(this);
  setInputPort(port.get());
  m_thread = new boost::thread([this] { m_feeder.run(m_port->m_peer); });
  [[maybe_unused]] const CoreAudioPort* const owned = port.release();  // by m_port
}

CoreAudioOutput::~CoreAudioOutput() {
  const boost::this_thread::disable_interruption uninterrupted;  // a join can be interrupted
  m_feeder.stop();
  m_thread->join();
  delete m_thread;
  m_thread = nullptr;
  teardown();  // in case the host has not disconnected; no callback comes afterwards
  delete m_port;
}

void CoreAudioOutput::setInputPort(AudioPort* port) { m_port = static_cast<CoreAudioPort*>(port); }

CoreAudioOutput::AudioPort* CoreAudioOutput::getInputPort() { return m_port; }

}  // namespace Tavro
