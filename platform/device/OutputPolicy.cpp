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

// The first row that fits holds.
constexpr std::array kRows = {
    // A device that was set, and is well, is kept.
    Row{Change::DefaultChanged, kWhichever, Choice::There, kWhetherOrNot, Action::Keep},
    Row{Change::DefaultChanged, kWhichever, kWhateverChoice, Fallback::There,
        Action::PlayOnDefault},
    Row{Change::DefaultChanged, kWhichever, kWhateverChoice, Fallback::None, Action::Hold},

    // Who loses its device goes on elsewhere, or waits for one.
    Row{Change::DeviceGone, Subject::ThePlaying, Choice::There, kWhetherOrNot,
        Action::PlayOnChosen},
    Row{Change::DeviceGone, Subject::ThePlaying, kWhateverChoice, Fallback::There,
        Action::PlayOnDefault},
    Row{Change::DeviceGone, Subject::ThePlaying, kWhateverChoice, Fallback::None, Action::Hold},
    Row{Change::DeviceGone, kWhichever, kWhateverChoice, kWhetherOrNot, Action::Keep},

    // Who was silenced on purpose does not speak up elsewhere.
    Row{Change::StreamEnded, Subject::ThePlaying, kWhateverChoice, kWhetherOrNot, Action::Hold},
    Row{Change::StreamEnded, kWhichever, kWhateverChoice, kWhetherOrNot, Action::Keep},

    // What was set is gone back to; any other device is good only for who has none.
    Row{Change::DeviceBack, Subject::TheChosen, kWhateverChoice, kWhetherOrNot,
        Action::PlayOnChosen},
    Row{Change::DeviceBack, kWhichever, Choice::There, kWhetherOrNot, Action::Keep},
    Row{Change::DeviceBack, kWhichever, kWhateverChoice, Fallback::There, Action::PlayOnDefault},
    Row{Change::DeviceBack, kWhichever, kWhateverChoice, Fallback::None, Action::Hold},

    // The server converts; a new stream would cut off what the old one has in its buffer.
    Row{Change::RateChanged, kWhichever, kWhateverChoice, kWhetherOrNot, Action::Keep},

    Row{Change::ServerGone, kWhichever, Choice::There, kWhetherOrNot, Action::Keep},
    Row{Change::ServerGone, kWhichever, kWhateverChoice, Fallback::There, Action::PlayOnDefault},
    Row{Change::ServerGone, kWhichever, kWhateverChoice, Fallback::None, Action::Hold},
    Row{Change::ServerBack, kWhichever, Choice::There, kWhetherOrNot, Action::PlayOnChosen},
    Row{Change::ServerBack, kWhichever, kWhateverChoice, Fallback::There, Action::PlayOnDefault},
    Row{Change::ServerBack, kWhichever, kWhateverChoice, Fallback::None, Action::Hold},

    // A device that stands is not lost: moving away would cost more than waiting.
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
