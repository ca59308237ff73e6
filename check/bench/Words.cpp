// SPDX-License-Identifier: MIT

#include "check/bench/Words.h"

#include <fmt/format.h>

#include <algorithm>

namespace Check {

std::string inWords(bool value) { return value ? "yes" : "no"; }

std::string inWords(const std::string& text) { return "\"" + text + "\""; }

std::string inWords(const char* text) { return inWords(std::string(text)); }

std::string inWords(const std::vector<std::string>& lines) {
  if (lines.empty()) {
    return "none";
  }
  std::string text;
  for (const std::string& line : lines) {
    text += (text.empty() ? "" : ", ") + line;
  }
  return text;
}

std::string difference(const Bytes& got, const Bytes& wanted) {
  const auto [here, there] = std::mismatch(got.begin(), got.end(), wanted.begin(), wanted.end());
  const auto at = here - got.begin();
  if (here != got.end() && there != wanted.end()) {
    return fmt::format("byte {} is {:#04x}, not {:#04x}", at, *here, *there);
  }
  return got.size() == wanted.size() ? std::string()
                                     : fmt::format("{} bytes, not {}", got.size(), wanted.size());
}

std::string eventInWords(std::uint32_t id) {
  switch (id) {
    case Tavro::PortEvent::kDisconnect:
      return "disconnect event";
    case Tavro::PortEvent::kStop:
      return "stop event";
    case Tavro::PortEvent::kStart:
      return "start event";
    case Tavro::PortEvent::kFlush:
    case Tavro::PortEvent::kFlushAgain:
      return "flush event";
    default:
      return fmt::format("event {:#x}", id);
  }
}

Tavro::NarrowString narrow(const std::string& text) {
  return {text.c_str(), Tavro::sharedAllocator<char>()};
}

}  // namespace Check
