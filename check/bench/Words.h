// SPDX-License-Identifier: MIT

#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "check/record/Bytes.h"
#include "host/TavroCore.h"

namespace Check {

// Values in words.
std::string inWords(bool value);
std::string inWords(const std::string& text);
std::string inWords(const char* text);
std::string inWords(const std::vector<std::string>& lines);
template <class T>
requires std::integral<T> || std::floating_point<T> || std::is_enum_v<T> std::string inWords(
    T value) {
  if constexpr (std::is_enum_v<T>) {
    return std::to_string(static_cast<std::uint64_t>(value));
  } else {
    return std::to_string(value);
  }
}

/// Returns where the bytes first differ from the wanted ones; empty if they are equal.
std::string difference(const Bytes& got, const Bytes& wanted);

/// The name of a port's event.
std::string eventInWords(std::uint32_t id);

Tavro::NarrowString narrow(const std::string& text);

}  // namespace Check
