// SPDX-License-Identifier: MIT

#include "player/source/TrackMarks.h"

#include <algorithm>

namespace Player {

void TrackMarks::add(std::uint64_t begin, const Track& track) {
  m_marks.push_back({begin, track.position, track.length()});
  while (m_marks.size() > 1 && m_marks[1].begin + m_heardWithin < begin) {
    m_marks.pop_front();
  }
}

const TrackMarks::Mark* TrackMarks::at(std::uint64_t frame) const {
  const auto behind = std::find_if(m_marks.begin(), m_marks.end(),
                                   [frame](const Mark& mark) { return mark.begin > frame; });
  return behind != m_marks.begin() ? &*(behind - 1) : nullptr;
}

void TrackMarks::forgetBehind(std::uint64_t frame) {
  while (!m_marks.empty() && m_marks.back().begin > frame) {
    m_marks.pop_back();
  }
}

}  // namespace Player
