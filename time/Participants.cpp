// SPDX-License-Identifier: MIT

#include "time/Participants.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace Tavro::HostTime {

Participant* Participants::add(Role role, std::string name) {
  auto member = std::make_unique<Participant>();
  member->id = ++m_lastId;
  member->role = role;
  member->name = std::move(name);
  m_members.push_back(std::move(member));
  return m_members.back().get();
}

void Participants::remove(const Participant* member) {
  std::erase_if(m_members, [member](const auto& m) { return m.get() == member; });
}

Participant* Participants::find(MemberId id) const {
  const auto at = std::find_if(m_members.begin(), m_members.end(),
                               [id](const auto& member) { return member->id == id; });
  return at != m_members.end() ? at->get() : nullptr;
}

Participant* Participants::nextDue() const {
  const auto order = [](const Participant& m) { return std::tuple(m.deadline, m.role, m.id); };
  Participant* next = nullptr;
  for (const auto& member : m_members) {
    if (member->waiting && (next == nullptr || order(*member) < order(*next))) {
      next = member.get();
    }
  }
  return next;
}

}  // namespace Tavro::HostTime
