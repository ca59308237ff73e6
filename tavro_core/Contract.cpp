// SPDX-License-Identifier: MIT

// What the host library implements of the contract's classes.

#include "host/TavroCore.h"

namespace Tavro {

Plugin::Plugin(PluginContext* context) : m_context(context) {}

Plugin::~Plugin() = default;

std::uint32_t Plugin::retain() { return m_holds.fetch_add(1, std::memory_order_relaxed) + 1; }

std::uint32_t Plugin::release() {
  const std::uint32_t left = m_holds.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) {
    delete this;
  }
  return left;
}

std::uint32_t Plugin::holdCount() { return m_holds.load(std::memory_order_relaxed); }

const void* Plugin::getPluginInfo() const { return nullptr; }

PluginContext* Plugin::getPluginContext() const { return m_context; }

bool ComponentInterface::create(GraphSessionInterface*) { return false; }
bool ComponentInterface::destroy() { return false; }
bool ComponentInterface::sendEvent(unsigned, _Variant*) { return false; }
bool ComponentInterface::checkEvent(unsigned, _Variant*) { return false; }
bool ComponentInterface::readQuery(unsigned, _Variant*) { return false; }
bool ComponentInterface::writeQuery(unsigned, _Variant*) { return false; }

bool ComponentInterface::getSupportedFormats(SettingsInterface*, MediaType, DataModel, PortType,
                                             FormatList*) {
  return false;
}

MediaBuffer::MediaBuffer(std::uint32_t size, std::uint32_t chunkSize, std::uint32_t stampMs,
                         std::uint32_t durationMs)
    : timeStamp(stampMs), duration(durationMs), m_size(size), m_chunkSize(chunkSize) {}

std::uint32_t MediaBuffer::bufferSize() const { return m_size; }

std::uint32_t& MediaBuffer::chunkSize() { return m_chunkSize; }

}  // namespace Tavro
