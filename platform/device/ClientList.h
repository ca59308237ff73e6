// SPDX-License-Identifier: MIT

#pragma once

#include <CoreAudio/CoreAudio.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "locks/NonBlocking.h"
#include "platform/device/Client.h"

namespace Platform {

/// The clients of a device, in the order in which a cycle calls them. Guarded by the device's I/O
/// lock, except count(). Inside a cycle a client may remove itself or others, or add one, which
/// then begins with the next cycle.
class ClientList {
 public:
  std::size_t count() const { return m_count.load(); }  // [any-thread]
  bool has(const Client& client) { return find(client) != m_clients.end(); }

  void add(const std::shared_ptr<Client>& client);
  /// Leaves a gap in the list, for closeGaps().
  void remove(const Client& client);
  void clear();
  /// Releases what was removed. Between cycles, or at the end of one.
  void closeGaps();

  /// Calls all clients. Returns true if there is only silence. [io-thread]
  bool play(AudioBufferList& buffers, std::uint32_t frames,
            const AudioTimeStamp& time) TAVRO_NONBLOCKING;
  /// Notifies all clients of a new description. Between cycles.
  void deviceChanged();

 private:
  struct Entry {
    std::shared_ptr<Client> client;  // a removed one may be inside its call
    bool isRemoved = false;
  };
  std::vector<Entry>::iterator find(const Client& client);

  std::vector<Entry> m_clients;
  std::atomic<std::size_t> m_count{0};  // without the gaps; for reading without the lock
};

}  // namespace Platform
