// SPDX-License-Identifier: MIT

#pragma once

#include <vector>

#include "time/HostTime.h"
#include "time/Participants.h"

namespace Tavro::HostTime {

/// The joins under way, the innermost last. Guarded by the scheduler's lock.
class JoinStack {
 public:
  /// `joiner` is null for a thread that does not participate.
  void push(Participant* joiner, MemberId target) { m_joins.push_back({joiner, target}); }
  void pop() { m_joins.pop_back(); }

  bool isEmpty() const { return m_joins.empty(); }
  Participant* joiner() const { return m_joins.back().joiner; }  // of the innermost
  MemberId target() const { return m_joins.back().target; }      // likewise

  /// Returns the target of the member's innermost join; 0 if it joins none.
  MemberId targetOf(const Participant* joiner) const;

 private:
  struct Join {
    Participant* joiner;
    MemberId target;
  };
  std::vector<Join> m_joins;
};

}  // namespace Tavro::HostTime
