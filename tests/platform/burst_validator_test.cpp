// SPDX-License-Identifier: MIT

#include "Bursts.h"
#include "platform/iec61937/BurstValidator.h"

namespace {

using Platform::burstFault;

std::string faultOf(const Bytes& burst, std::uint32_t rate = 48000) {
  return burstFault(Platform::Burst(burst.data(), kBurst), rate);
}

void swapWords(Bytes& burst, std::size_t begin, std::size_t end) {
  for (std::size_t i = begin; i < end; i += 2) {
    std::swap(burst[i], burst[i + 1]);
  }
}

/// Later by so many bytes; what no longer fits is lost.
void shift(Bytes& burst, std::size_t bytes) {
  burst.insert(burst.begin(), bytes, 0);
  burst.resize(kBurst);
}

TEST(BurstValidator, namesEachKindOfDamage) {
  const Bytes sound = encodedBursts(1, 48000, 6, 448);  // frames of 1792 bytes
  ASSERT_EQ(faultOf(sound), "");
  EXPECT_NE(faultOf(sound, 44100).find("of 48000 Hz on a device of 44100 Hz"), std::string::npos);
  struct Row {
    const char* reason;
    std::function<void(Bytes&)> damage;
  };
  const std::vector<Row> rows = {
      {"preamble F873 4E1F", [](Bytes& burst) { burst[0] ^= 1U; }},
      {"preamble F872 0000", [](Bytes& burst) { burst[2] = burst[3] = 0; }},
      {"preamble in the wrong byte order", [](Bytes& burst) { swapWords(burst, 0, kBurst); }},
      {"begins 16 bytes into the cycle", [](Bytes& burst) { shift(burst, 16); }},
      {"data type 21 ", [](Bytes& burst) { burst[4] = 21; }},
      {"sender marked it as faulty", [](Bytes& burst) { burst[4] |= 0x80U; }},
      {"length code of 14320 bits", [](Bytes& burst) { burst[6] = 0xF0, burst[7] = 0x37; }},
      {"length code of 1792 bits",  // bytes, as for other data types
       [](Bytes& burst) { burst[6] = 0x00, burst[7] = 0x07; }},
      {"AC-3 frame in the wrong byte order", [](Bytes& burst) { swapWords(burst, 8, 1800); }},
      {"AC-3 sync word 0000", [](Bytes& burst) { std::fill(&burst[8], &burst[1800], 0); }},
      {"reserved sample rate or length", [](Bytes& burst) { burst[13] |= 0xC0U; }},
      {"reserved sample rate or length",
       [](Bytes& burst) { burst[13] = static_cast<std::uint8_t>((burst[13] & 0xC0U) | 38U); }},
      {"bit stream version 16", [](Bytes& burst) { burst[12] = 16 << 3; }},
      {"behind the AC-3 frame are not zero", [](Bytes& burst) { burst[kBurst - 1] = 1; }},
      {"another burst begins 3072 bytes",
       [&sound](Bytes& burst) { std::copy_n(sound.begin(), 1800, burst.begin() + 3072); }},
      {"first five eighths", [](Bytes& burst) { burst[8 + 600] ^= 0x10U; }},
      {"first five eighths", [](Bytes& burst) { burst[8 + 2] ^= 0x01U; }},
      {"checksum of the AC-3 frame", [](Bytes& burst) { burst[8 + 1500] ^= 0x10U; }},
  };
  for (const Row& row : rows) {
    Bytes burst = sound;
    row.damage(burst);
    EXPECT_NE(faultOf(burst).find(row.reason), std::string::npos)
        << row.reason << " / " << faultOf(burst);
  }
}

TEST(BurstValidator, findsAnyFlippedBitOfAFrame) {
  const Bytes sound = encodedBursts(1);
  const std::size_t frameBytes = 768;
  for (std::size_t bit = 0; bit < 8 * frameBytes; ++bit) {
    Bytes burst = sound;
    burst[8 + bit / 8] = static_cast<std::uint8_t>(burst[8 + bit / 8] ^ 1U << bit % 8);
    ASSERT_NE(faultOf(burst), "") << bit;
  }
}

TEST(BurstValidator, countsPausesBetweenBurstsAndKeepsTheFirstViolations) {
  const Bytes sound = encodedBursts(1);
  const Bytes pause(kBurst);
  Bytes broken = sound;
  broken[4] = 2;
  Platform::BurstValidator validator;
  const auto take = [&validator](const Bytes& cycle) {
    return validator.take(Platform::Burst(cycle.data(), kBurst), 48000);
  };
  EXPECT_FALSE(take(pause));
  EXPECT_TRUE(take(sound));
  EXPECT_EQ(validator.report().pauses, 0U);
  for (int i = 0; i < 20; ++i) {
    EXPECT_FALSE(take(pause));
    EXPECT_FALSE(take(pause));
    EXPECT_TRUE(take(broken));
  }
  EXPECT_FALSE(take(pause));
  const auto& report = validator.report();
  EXPECT_EQ(report.bursts, 21U);
  EXPECT_EQ(report.pauses, 40U);
  EXPECT_EQ(report.violations, 20U);
  ASSERT_EQ(report.first.size(), 16U);
  EXPECT_EQ(report.first.front().burst, 2U);
  EXPECT_EQ(report.first.back().burst, 17U);
  EXPECT_NE(report.first.back().reason.find("data type 2 "), std::string::npos);
}

}  // namespace
