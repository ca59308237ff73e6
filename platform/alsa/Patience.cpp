#include "Patience.h"

#include <future>
#include <memory>
#include <thread>
#include <utility>

#include "Alsa.h"

namespace Platform {

bool comesBack(std::function<void()> step) {
  const auto done = std::make_shared<std::promise<void>>();
  const std::future<void> back = done->get_future();
  std::thread([done, step = std::move(step)] {
    step();
    done->set_value();
  }).detach();
  return back.wait_for(kAlsaPatience) == std::future_status::ready;
}

}  // namespace Platform
