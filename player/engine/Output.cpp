// SPDX-License-Identifier: MIT

#include "player/engine/Output.h"

#include <fmt/format.h>

#include <algorithm>

namespace Player {

namespace {

class StreamName : public Tavro::StreamSource {
 public:
  std::uint32_t streamId() override { return 1; }
};

std::vector<Tavro::FormatDescriptor> formatsOf(Tavro::ComponentInterface& component) {
  Tavro::StandardAllocator<Tavro::Node<Tavro::FormatDescriptor>> allocator;
  Tavro::FormatList list(&allocator);
  component.getSupportedFormats(nullptr, Tavro::MediaType::Audio, Tavro::DataModel::Stream,
                                Tavro::PortType::Input, &list);
  std::vector<Tavro::FormatDescriptor> formats;
  for (const auto* node = list.m_first; node != nullptr; node = node->next) {
    formats.push_back(node->value);
  }
  return formats;
}

std::string textOf(const StreamFormat& format) {
  return format.bursts ? fmt::format("AC-3 bursts at {} Hz", format.rate)
                       : fmt::format("{} Hz, {} channel{}, {} bits", format.rate, format.channels,
                                     format.channels == 1 ? "" : "s", bitsOf(format.type));
}

}  // namespace

FormatRefused::FormatRefused(const StreamFormat& format)
    : PlayerError(ExitStatus::PlaybackFailed, "the output rejected " + textOf(format)) {}

Output::Output(Tavro::Bundle& bundle, Tavro::Session& session)
    : m_component(bundle.makeComponent()), m_formats(formatsOf(m_component->component())) {
  if (!m_component->component().create(&session)) {
    throw PlayerError(ExitStatus::PlaybackFailed, "the plug-in could not be created");
  }
}

Output::~Output() { m_component->component().destroy(); }

bool Output::takes(const StreamFormat& format) const {
  return !m_written || m_written->rate != format.rate || m_written->channels != format.channels ||
         m_written->bursts != format.bursts;
}

const Tavro::FormatDescriptor* Output::descriptorFor(std::uint32_t code) const {
  const auto found = std::find_if(m_formats.begin(), m_formats.end(),
                                  [code](const auto& format) { return format.formatCode == code; });
  return found != m_formats.end() ? &*found : nullptr;
}

Tavro::PortInterface* Output::connectInput(std::uint32_t code) {
  StreamName name;
  const Tavro::FormatDescriptor* format = descriptorFor(code);
  Tavro::PortInterface* port =
      format != nullptr ? m_component->output().connectInput(Tavro::MediaType::Audio, format, &name)
                        : nullptr;
  if (port == nullptr) {
    throw PlayerError(ExitStatus::PlaybackFailed, "the plug-in does not accept this kind of input");
  }
  return port;
}

Connection::Connection(Output& output, Source& source, const StreamFormat& format)
    : m_output(output), m_port(output.connectInput(format.formatCode())) {
  Tavro::_Variant peer{
      Tavro::VariantType::kObject,
      reinterpret_cast<std::uintptr_t>(static_cast<Tavro::PortInterface*>(&source))};
  m_port->sendEvent(Tavro::PortEvent::kConnect, &peer);

  Tavro::AudioProperties properties;
  properties.m_sampleRate = format.rate;
  properties.m_channels = format.channels;
  properties.m_bitsPerSample = bitsOf(format.type);
  Tavro::_Variant value{Tavro::VariantType::kObject, reinterpret_cast<std::uintptr_t>(&properties)};
  m_output.m_written = format;
  const std::uint32_t query =
      format.bursts ? Tavro::PortQuery::kConfigurePassthrough : Tavro::PortQuery::kConfigurePcm;
  if (!m_port->writeQuery(query, &value)) {
    send(Tavro::PortEvent::kDisconnect);
    m_output.m_component->output().disconnectInput(m_port);
    throw FormatRefused(format);
  }
}

Connection::~Connection() {
  send(Tavro::PortEvent::kDisconnect);
  m_output.m_component->output().disconnectInput(m_port);
}

bool Connection::isReady() {
  Tavro::_Variant none{};
  return m_port->checkEvent(Tavro::PortCheck::kReady, &none);
}

void Connection::start() { send(Tavro::PortEvent::kStart); }

void Connection::stop() { send(Tavro::PortEvent::kStop); }

void Connection::flush() { send(Tavro::PortEvent::kFlush); }

void Connection::send(std::uint32_t event) {
  Tavro::_Variant none{};
  m_port->sendEvent(event, &none);
}

}  // namespace Player
