// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "host/GraphSession.h"
#include "locks/Mutex.h"
#include "tavro_core/Clock.h"
#include "tavro_core/EventLog.h"
#include "tavro_core/Ledger.h"

namespace Tavro {

/// The session that components are created in: settings, the clock, and the ledger of all buffers.
/// It must outlive the components and the pools of their streams.
///
/// The media buffers of its streams must come from a BufferPool made with its ledger.
class Session final : public GraphSessionInterface {
 public:
  // For components.
  bool getSetting(const Setting& setting, _Variant* out) override;
  void reportBuffer(std::uint32_t streamId, std::uint32_t state, MediaBuffer* buffer) override;
  void registerSettingConsumer(SettingConsumer* consumer) override;
  void unregisterSettingConsumer(SettingConsumer* consumer) override;
  SessionClock* getClock() override { return &m_clock; }

  // For the host.

  /// Stores a value (not a pointer) and notifies the registered consumers, on this thread and with
  /// no lock held, except those unregistered meanwhile. [host-thread]
  void setSetting(const Setting& setting, const _Variant& value);

  Clock& clock() { return m_clock; }
  Ledger& ledger() { return m_ledger; }
  EventLog& events() { return m_events; }

 private:
  bool isRegistered(SettingConsumer* consumer) TAVRO_EXCLUDES(m_lock);

  Clock m_clock;
  EventLog m_events{m_clock};
  Ledger m_ledger{m_events};

  Mutex<LockRank::SessionLists> m_lock;  // held only to access the lists
  std::vector<std::pair<Setting, _Variant>> m_settings TAVRO_GUARDED_BY(m_lock);
  std::vector<SettingConsumer*> m_consumers TAVRO_GUARDED_BY(m_lock);
};

}  // namespace Tavro
