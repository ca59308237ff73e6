// SPDX-License-Identifier: MIT

#include "time/JoinStack.h"

#include <algorithm>

namespace Tavro::HostTime {

MemberId JoinStack::targetOf(const Participant* joiner) const {
  const auto join = std::find_if(m_joins.rbegin(), m_joins.rend(), [joiner](const Join& candidate) {
    return candidate.joiner == joiner;
  });
  return join != m_joins.rend() ? join->target : 0;
}

}  // namespace Tavro::HostTime
