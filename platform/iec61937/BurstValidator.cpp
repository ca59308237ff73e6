// SPDX-License-Identifier: MIT

#include "platform/iec61937/BurstValidator.h"

#include <optional>
#include <utility>
#include <vector>

#include "ac3/FrameChecksums.h"
#include "ac3/FrameHeader.h"
#include "platform/format/Silence.h"

namespace Platform {
namespace {

constexpr std::uint16_t kSyncA = 0xF872;
constexpr std::uint16_t kSyncB = 0x4E1F;
constexpr std::size_t kPreambleBytes = 8;
constexpr std::size_t kMostViolationsKept = 16;

/// A burst is a sequence of little-endian words.
std::uint16_t wordAt(Burst burst, std::size_t byte) {
  return static_cast<std::uint16_t>(burst[byte] | burst[byte + 1] << 8);
}

std::uint16_t swapped(std::uint16_t word) {
  return static_cast<std::uint16_t>(word << 8 | word >> 8);
}

std::string hex(std::uint16_t word) {
  std::string text;
  for (int shift = 12; shift >= 0; shift -= 4) {
    text += "0123456789ABCDEF"[word >> shift & 0xF];
  }
  return text;
}

bool isPreamble(Burst burst, std::size_t byte) {
  return wordAt(burst, byte) == kSyncA && wordAt(burst, byte + 2) == kSyncB;
}

/// Returns the byte at which the first preamble at or after `from` begins, or kBurstBytes.
std::size_t findPreamble(Burst burst, std::size_t from) {
  for (std::size_t byte = from; byte + kPreambleBytes <= kBurstBytes; byte += 2) {
    if (isPreamble(burst, byte)) {
      return byte;
    }
  }
  return kBurstBytes;
}

std::string preambleFault(Burst burst) {
  if (isPreamble(burst, 0)) {
    return {};
  }
  if (const std::size_t byte = findPreamble(burst, 0); byte != kBurstBytes) {
    return "spacing: the burst begins " + std::to_string(byte) + " bytes into the cycle";
  }
  const std::uint16_t first = wordAt(burst, 0);
  const std::uint16_t second = wordAt(burst, 2);
  if (swapped(first) == kSyncA && swapped(second) == kSyncB) {
    return "preamble in the wrong byte order";
  }
  return "preamble " + hex(first) + " " + hex(second) + " instead of F872 4E1F";
}

std::string dataTypeFault(Burst burst) {
  constexpr unsigned kAc3 = 1;
  const unsigned word = wordAt(burst, 4);
  if (const unsigned type = word & 0x1F; type != kAc3) {
    return "data type " + std::to_string(type) + " instead of 1, AC-3";
  }
  return (word & 0x80) != 0 ? "its sender marked it as faulty" : "";
}

/// Returns the AC-3 frame's first `count` bytes, an even number. A burst holds them as swapped
/// words.
std::vector<std::uint8_t> frameBytes(Burst burst, std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  for (std::size_t i = 0; i < count; ++i) {
    bytes[i] = burst[kPreambleBytes + (i ^ 1)];
  }
  return bytes;
}

std::string frameSyncFault(Burst burst) {
  const std::uint16_t sync = wordAt(burst, kPreambleBytes);
  if (sync == Ac3::kSyncWord) {
    return {};
  }
  return swapped(sync) == Ac3::kSyncWord ? "AC-3 frame in the wrong byte order"
                                         : "AC-3 sync word " + hex(sync) + " instead of 0B77";
}

/// Checks the frame's header against the device's rate and the burst's length code.
std::string frameHeaderFault(Burst burst, std::uint32_t rate,
                             const std::optional<Ac3::Header>& header) {
  constexpr unsigned kHighestVersion = 8;
  if (!header) {
    return "AC-3 frame with a reserved sample rate or length";
  }
  if (header->version > kHighestVersion) {
    return "bit stream version " + std::to_string(header->version) + ", which is not AC-3's";
  }
  if (header->rate != rate) {
    return "AC-3 frame of " + std::to_string(header->rate) + " Hz on a device of " +
           std::to_string(rate) + " Hz";
  }
  const std::size_t bits = wordAt(burst, 6);
  if (bits != 8 * header->bytes) {
    return "length code of " + std::to_string(bits) + " bits for an AC-3 frame of " +
           std::to_string(8 * header->bytes);
  }
  return {};
}

std::string stuffingFault(Burst burst, std::size_t frameBytes) {
  const auto stuffing = burst.subspan(kPreambleBytes + frameBytes);
  if (isZero(stuffing.data(), stuffing.size())) {
    return {};
  }
  if (const std::size_t byte = findPreamble(burst, kPreambleBytes + frameBytes);
      byte != kBurstBytes) {
    return "spacing: another burst begins " + std::to_string(byte) + " bytes into the cycle";
  }
  return "the bytes behind the AC-3 frame are not zero";
}

std::string checksumFault(Burst burst, std::size_t bytes) {
  switch (Ac3::damageOf(frameBytes(burst, bytes))) {
    case Ac3::Damage::FirstFiveEighths:
      return "checksum of the AC-3 frame's first five eighths";
    case Ac3::Damage::Rest:
      return "checksum of the AC-3 frame";
    default:
      return {};
  }
}

}  // namespace

std::string burstFault(Burst burst, std::uint32_t rate) {
  for (const auto& check : {preambleFault, dataTypeFault, frameSyncFault}) {
    if (std::string fault = check(burst); !fault.empty()) {
      return fault;
    }
  }
  const auto header = Ac3::parseHeader(frameBytes(burst, Ac3::kHeaderBytes));
  if (std::string fault = frameHeaderFault(burst, rate, header); !fault.empty()) {
    return fault;
  }
  if (std::string fault = stuffingFault(burst, header->bytes); !fault.empty()) {
    return fault;
  }
  return checksumFault(burst, header->bytes);
}

bool BurstValidator::take(Burst cycle, std::uint32_t rate) {
  if (isZero(cycle.data(), cycle.size())) {
    ++m_zeroCycles;
    return false;
  }
  m_report.pauses += m_report.bursts == 0 ? 0 : m_zeroCycles;
  m_zeroCycles = 0;
  ++m_report.bursts;
  if (std::string fault = burstFault(cycle, rate); !fault.empty()) {
    ++m_report.violations;
    if (m_report.first.size() < kMostViolationsKept) {
      m_report.first.push_back({.burst = m_report.bursts, .reason = std::move(fault)});
    }
  }
  return true;
}

}  // namespace Platform
