#include "platform/device/OutputPolicy.h"

#include <algorithm>
#include <array>

namespace Platform {
namespace {

struct Row {
  Change change;
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
    Row{Change::DefaultChanged, kWhichever, Choice::There, kWhetherOrNot, Action::Keep},
    Row{Change::DefaultChanged, kWhichever, kWhateverChoice, Fallback::There,
        Action::PlayOnDefault},
    Row{Change::DefaultChanged, kWhichever, kWhateverChoice, Fallback::None, Action::Hold},

    // When the playing device is lost, playback moves to another one, or waits for one.
    Row{Change::DeviceGone, Subject::ThePlaying, Choice::There, kWhetherOrNot,
        Action::PlayOnChosen},
    Row{Change::DeviceGone, Subject::ThePlaying, kWhateverChoice, Fallback::There,
        Action::PlayOnDefault},
    Row{Change::DeviceGone, Subject::ThePlaying, kWhateverChoice, Fallback::None, Action::Hold},
    Row{Change::DeviceGone, kWhichever, kWhateverChoice, kWhetherOrNot, Action::Keep},

    // A stream that was ended on purpose does not continue elsewhere.
    Row{Change::StreamEnded, Subject::ThePlaying, kWhateverChoice, kWhetherOrNot, Action::Hold},
    Row{Change::StreamEnded, kWhichever, kWhateverChoice, kWhetherOrNot, Action::Keep},

    // Playback returns to the device that was set; another one is used only without that.
    Row{Change::DeviceBack, Subject::TheChosen, kWhateverChoice, kWhetherOrNot,
        Action::PlayOnChosen},
    Row{Change::DeviceBack, kWhichever, Choice::There, kWhetherOrNot, Action::Keep},
    Row{Change::DeviceBack, kWhichever, kWhateverChoice, Fallback::There, Action::PlayOnDefault},
    Row{Change::DeviceBack, kWhichever, kWhateverChoice, Fallback::None, Action::Hold},

    // The server converts; a new stream would cut off what is in the old one's buffer.
    Row{Change::RateChanged, kWhichever, kWhateverChoice, kWhetherOrNot, Action::Keep},

    Row{Change::ServerGone, kWhichever, Choice::There, kWhetherOrNot, Action::Keep},
    Row{Change::ServerGone, kWhichever, kWhateverChoice, Fallback::There, Action::PlayOnDefault},
    Row{Change::ServerGone, kWhichever, kWhateverChoice, Fallback::None, Action::Hold},
    Row{Change::ServerBack, kWhichever, Choice::There, kWhetherOrNot, Action::PlayOnChosen},
    Row{Change::ServerBack, kWhichever, kWhateverChoice, Fallback::There, Action::PlayOnDefault},
    Row{Change::ServerBack, kWhichever, kWhateverChoice, Fallback::None, Action::Hold},

    // A stalled device is not lost: moving away would cost more than waiting.
    Row{Change::Stalled, kWhichever, kWhateverChoice, kWhetherOrNot, Action::OpenAnew},
    Row{Change::Suspended, kWhichever, kWhateverChoice, kWhetherOrNot, Action::Keep},
    Row{Change::Resumed, kWhichever, kWhateverChoice, kWhetherOrNot, Action::Keep},
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
