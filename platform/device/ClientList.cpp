// SPDX-License-Identifier: MIT

#include "platform/device/ClientList.h"

#include <algorithm>

namespace Platform {

bool ClientList::has(const Client& client) const {
  return std::ranges::find(m_clients, &client, &std::shared_ptr<Client>::get) != m_clients.end();
}

void ClientList::add(const std::shared_ptr<Client>& client) {
  m_clients.push_back(client);
  ++m_count;
}

void ClientList::remove(const Client& client) {
  const auto found = std::ranges::find(m_clients, &client, &std::shared_ptr<Client>::get);
  if (found != m_clients.end()) {
    found->reset();
    --m_count;
  }
}

void ClientList::clear() {
  m_clients.clear();
  m_count = 0;
}

void ClientList::closeGaps() {
  std::erase_if(m_clients, [](const auto& client) { return client == nullptr; });
}

/// Iterates by index, as the list may change meanwhile.
bool ClientList::play(AudioBufferList& buffers, std::uint32_t frames,
                      const AudioTimeStamp& time) TAVRO_NONBLOCKING {
  bool silent = true;
  const std::size_t count = m_clients.size();
  for (std::size_t i = 0; i < count; ++i) {
    // A client may be removed during its call. What removes it holds it until it is stopped, so
    // this reference is not the last one.
    TAVRO_CALLS_OUT(if (const std::shared_ptr<Client> client = m_clients[i]) {
      silent &= client->play({.buffers = buffers, .frames = frames, .time = time, .mix = !silent});
    })
  }
  return silent;
}

void ClientList::deviceChanged() {
  for (const auto& client : m_clients) {
    client->deviceChanged();
  }
}

}  // namespace Platform
