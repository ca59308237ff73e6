// SPDX-License-Identifier: MIT

#include "platform/device/ClientList.h"

#include <algorithm>

namespace Platform {

std::vector<ClientList::Entry>::iterator ClientList::find(const Client& client) {
  return std::ranges::find_if(m_clients, [&client](const Entry& entry) {
    return entry.client.get() == &client && !entry.isRemoved;
  });
}

void ClientList::add(const std::shared_ptr<Client>& client) {
  m_clients.push_back({.client = client});
  ++m_count;
}

void ClientList::remove(const Client& client) {
  const auto found = find(client);
  if (found != m_clients.end()) {
    found->isRemoved = true;
    --m_count;
  }
}

void ClientList::clear() {
  m_clients.clear();
  m_count = 0;
}

void ClientList::closeGaps() {
  std::erase_if(m_clients, [](const Entry& entry) { return entry.isRemoved; });
}

/// Iterates by index, as the list may change meanwhile.
bool ClientList::play(AudioBufferList& buffers, std::uint32_t frames,
                      const AudioTimeStamp& time) TAVRO_NONBLOCKING {
  bool silent = true;
  const std::size_t count = m_clients.size();
  for (std::size_t i = 0; i < count; ++i) {
    if (!m_clients[i].isRemoved) {
      Client& client = *m_clients[i].client;
      silent &= client.play({.buffers = buffers, .frames = frames, .time = time, .mix = !silent});
    }
  }
  return silent;
}

void ClientList::deviceChanged() {
  for (const Entry& entry : m_clients) {
    entry.client->deviceChanged();
  }
}

}  // namespace Platform
