// SPDX-License-Identifier: MIT

#include "platform/manager/RoutingPolicy.h"

#include <algorithm>
#include <array>

namespace Platform {
namespace {

struct Row {
  DeviceEvent change;
  Subject subject;
  Choice choice;
  Fallback fallback;
  Action action;
};

constexpr Subject kWhichever = Subject::Any;
constexpr Choice kWhateverChoice = Choice::Any;
constexpr Fallback kWhetherOrNot = Fallback::Any;

// The first matching row applies.
constexpr std::array kRows = {
    // A device that was set, and is there, is kept.
    Row{DeviceEvent::DefaultChanged, kWhichever, Choice::There, kWhetherOrNot, Action::Keep},
    Row{DeviceEvent::DefaultChanged, kWhichever, kWhateverChoice, Fallback::There,
        Action::PlayOnDefault},
    Row{DeviceEvent::DefaultChanged, kWhichever, kWhateverChoice, Fallback::None, Action::Hold},

    // When the playing device is lost, playback moves to another one, or waits for one.
    Row{DeviceEvent::DeviceGone, Subject::ThePlaying, Choice::There, kWhetherOrNot,
        Action::PlayOnChosen},
    Row{DeviceEvent::DeviceGone, Subject::ThePlaying, kWhateverChoice, Fallback::There,
        Action::PlayOnDefault},
    Row{DeviceEvent::DeviceGone, Subject::ThePlaying, kWhateverChoice, Fallback::None,
        Action::Hold},
    Row{DeviceEvent::DeviceGone, kWhichever, kWhateverChoice, kWhetherOrNot, Action::Keep},

    // A stream that was ended on purpose does not continue elsewhere.
    Row{DeviceEvent::StreamEnded, Subject::ThePlaying, kWhateverChoice, kWhetherOrNot,
        Action::Hold},
    Row{DeviceEvent::StreamEnded, kWhichever, kWhateverChoice, kWhetherOrNot, Action::Keep},

    // Playback returns to the device that was set; another one is used only without that.
    Row{DeviceEvent::DeviceBack, Subject::TheChosen, kWhateverChoice, kWhetherOrNot,
        Action::PlayOnChosen},
    Row{DeviceEvent::DeviceBack, kWhichever, Choice::There, kWhetherOrNot, Action::Keep},
    Row{DeviceEvent::DeviceBack, kWhichever, kWhateverChoice, Fallback::There,
        Action::PlayOnDefault},
    Row{DeviceEvent::DeviceBack, kWhichever, kWhateverChoice, Fallback::None, Action::Hold},

    // The server converts; a new stream would cut off what is in the old one's buffer.
    Row{DeviceEvent::RateChanged, kWhichever, kWhateverChoice, kWhetherOrNot, Action::Keep},

    Row{DeviceEvent::ServerGone, kWhichever, Choice::There, kWhetherOrNot, Action::Keep},
    Row{DeviceEvent::ServerGone, kWhichever, kWhateverChoice, Fallback::There,
        Action::PlayOnDefault},
    Row{DeviceEvent::ServerGone, kWhichever, kWhateverChoice, Fallback::None, Action::Hold},
    Row{DeviceEvent::ServerBack, kWhichever, Choice::There, kWhetherOrNot, Action::PlayOnChosen},
    Row{DeviceEvent::ServerBack, kWhichever, kWhateverChoice, Fallback::There,
        Action::PlayOnDefault},
    Row{DeviceEvent::ServerBack, kWhichever, kWhateverChoice, Fallback::None, Action::Hold},

    // A stalled device is not lost: moving away would cost more than waiting.
    Row{DeviceEvent::Stalled, kWhichever, kWhateverChoice, kWhetherOrNot, Action::Reopen},
    Row{DeviceEvent::Suspended, kWhichever, kWhateverChoice, kWhetherOrNot, Action::Keep},
    Row{DeviceEvent::Resumed, kWhichever, kWhateverChoice, kWhetherOrNot, Action::Keep},
};

template <class Condition>
bool fits(Condition wanted, Condition is) {
  return wanted == Condition::Any || wanted == is;
}

}  // namespace

Action decide(const Situation& situation) {
  const auto row = std::ranges::find_if(kRows, [&](const Row& each) {
    return each.change == situation.change && fits(each.subject, situation.subject) &&
           fits(each.choice, situation.choice) && fits(each.fallback, situation.fallback);
  });
  return row != kRows.end() ? row->action : Action::Keep;
}

}  // namespace Platform
