#include "player/Source.h"

#include "host/Identifiers.h"

namespace Player {

bool Source::readQuery(unsigned id, Tavro::_Variant* value) {
  if (id != Tavro::PortQuery::kNextBuffer) {
    return false;
  }
  Tavro::PooledBuffer* buffer = take();
  if (buffer == nullptr) {
    return false;
  }
  m_session.ledger().pulled(*buffer);
  *value = {Tavro::VariantType::kObject,
            reinterpret_cast<std::uintptr_t>(static_cast<Tavro::MediaBuffer*>(buffer))};
  return true;
}

void Source::end() {
  m_ended.store(true, std::memory_order_release);
  m_wake.notify();
}

std::uint32_t Source::stampOf(std::uint64_t frame) const {
  return m_originMs + static_cast<std::uint32_t>(frame / m_format.rate * 1000 +
                                                 frame % m_format.rate * 1000 / m_format.rate);
}

}  // namespace Player
