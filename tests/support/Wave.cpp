// SPDX-License-Identifier: MIT

#include "tests/support/Wave.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <string_view>

namespace {

void put(Bytes& bytes, std::uint64_t value, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    bytes.push_back(static_cast<unsigned char>(value >> (8 * i)));
  }
}

void put(Bytes& bytes, std::string_view text) {
  for (const char c : text) {
    bytes.push_back(static_cast<unsigned char>(c));
  }
}

std::uint64_t get(const Bytes& bytes, std::size_t at, std::size_t count) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < count && at + i < bytes.size(); ++i) {
    value |= std::uint64_t{bytes[at + i]} << (8 * i);
  }
  return value;
}

bool isAt(const Bytes& bytes, std::size_t at, const char* text) {
  return at + 4 <= bytes.size() && std::memcmp(bytes.data() + at, text, 4) == 0;
}

bool isZero(unsigned char byte) { return byte == 0; }

unsigned maskOf(unsigned channels) {
  constexpr unsigned kMasks[] = {0, 0x4, 0x3, 0x7, 0x33, 0x37, 0x3f, 0x70f, 0x63f};
  return kMasks[channels];
}

}  // namespace

Wave noise(const WaveShape& shape, std::size_t frames, std::uint32_t seed) {
  std::mt19937 random(seed);
  Wave wave{shape, {}};
  for (std::size_t i = 0; i < frames * shape.channels; ++i) {
    std::uint32_t word = static_cast<std::uint32_t>(random()) | 1u;
    if (shape.isFloat) {
      const float sample = static_cast<float>(static_cast<std::int32_t>(word)) / 2147483648.0f;
      std::memcpy(&word, &sample, sizeof(word));
    }
    put(wave.data, word, shape.bits / 8);
  }
  return wave;
}

void writeWave(const std::filesystem::path& path, const Wave& wave) {
  const WaveShape& shape = wave.shape;
  Bytes file;
  put(file, "RIFF");
  put(file, 60 + wave.data.size(), 4);
  put(file, "WAVE");
  put(file, "fmt ");
  put(file, 40, 4);
  put(file, 0xfffe, 2);
  put(file, shape.channels, 2);
  put(file, shape.rate, 4);
  put(file, shape.rate * shape.frameBytes(), 4);
  put(file, shape.frameBytes(), 2);
  put(file, shape.bits, 2);
  put(file, 22, 2);
  put(file, shape.bits, 2);
  put(file, maskOf(shape.channels), 4);
  put(file, shape.isFloat ? 3 : 1, 2);
  put(file, std::string_view("\0\0\0\0\x10\0\x80\0\0\xaa\0\x38\x9b\x71", 14));
  put(file, "data");
  put(file, wave.data.size(), 4);
  file.insert(file.end(), wave.data.begin(), wave.data.end());
  writeFile(path, file);
}

Wave readWave(const std::filesystem::path& path) {
  const Bytes file = readFile(path);
  Wave wave;
  EXPECT_TRUE(isAt(file, 8, "WAVE")) << path;
  for (std::size_t at = 12; at + 8 <= file.size();) {
    const std::size_t size = get(file, at + 4, 4);
    if (isAt(file, at, "fmt ")) {
      const std::uint64_t tag = get(file, at + 8, 2);
      wave.shape.isFloat = (tag == 0xfffe ? get(file, at + 32, 2) : tag) == 3;
      wave.shape.channels = static_cast<unsigned>(get(file, at + 10, 2));
      wave.shape.rate = static_cast<unsigned>(get(file, at + 12, 4));
      wave.shape.bits = static_cast<unsigned>(get(file, at + 22, 2));
      wave.speakers = tag == 0xfffe ? static_cast<std::uint32_t>(get(file, at + 28, 4)) : 0;
    } else if (isAt(file, at, "data")) {
      EXPECT_LE(at + 8 + size, file.size()) << "the file is not complete";
      const auto begin = file.begin() + static_cast<std::ptrdiff_t>(at + 8);
      wave.data.assign(begin,
                       begin + static_cast<std::ptrdiff_t>(std::min(size, file.size() - at - 8)));
    }
    at += 8 + size + size % 2;
  }
  return wave;
}

Bytes framesOf(const Wave& wave, std::size_t first, std::size_t count) {
  const auto begin =
      wave.data.begin() + static_cast<std::ptrdiff_t>(first * wave.shape.frameBytes());
  return Bytes(begin, begin + static_cast<std::ptrdiff_t>(count * wave.shape.frameBytes()));
}

Bytes asFloat(const Wave& wave) {
  if (wave.shape.isFloat) {
    return wave.data;
  }
  Bytes samples;
  const std::size_t bytes = wave.shape.bits / 8;
  for (std::size_t at = 0; at < wave.data.size(); at += bytes) {
    const auto high = static_cast<std::uint32_t>(get(wave.data, at, bytes) << (8 * (4 - bytes)));
    const float sample = static_cast<float>(static_cast<std::int32_t>(high)) / 2147483648.0f;
    std::uint32_t word = 0;
    std::memcpy(&word, &sample, sizeof(word));
    put(samples, word, 4);
  }
  return samples;
}

testing::AssertionResult isExactly(const Wave& played, const Bytes& expected) {
  const std::size_t frame = played.shape.frameBytes();
  if (frame == 0 || played.data.size() < expected.size()) {
    return testing::AssertionFailure() << played.data.size() << " bytes, not " << expected.size();
  }
  const auto [at, unused] = std::mismatch(expected.begin(), expected.end(), played.data.begin());
  if (at != expected.end()) {
    return testing::AssertionFailure()
           << "frame " << static_cast<std::size_t>(at - expected.begin()) / frame << " differs";
  }
  if (played.data.size() != expected.size()) {
    return testing::AssertionFailure()
           << (played.data.size() - expected.size()) / frame << " frames follow";
  }
  return testing::AssertionSuccess();
}

testing::AssertionResult liesIn(const Bytes& whole, const Bytes& part, std::size_t frameBytes) {
  const auto at = std::search(whole.begin(), whole.end(),
                              std::boyer_moore_horspool_searcher(part.begin(), part.end()));
  if (at == whole.end()) {
    const auto begin = std::search(whole.begin(), whole.end(), part.begin(),
                                   part.begin() + static_cast<std::ptrdiff_t>(64 * frameBytes));
    const auto same = std::mismatch(begin, whole.end(), part.begin(), part.end()).first - begin;
    return testing::AssertionFailure()
           << "equal for " << same << " of " << part.size() << " bytes, at "
           << begin - whole.begin() << " of " << whole.size();
  }
  if ((at - whole.begin()) % static_cast<std::ptrdiff_t>(frameBytes) != 0) {
    return testing::AssertionFailure() << "not at a frame: " << at - whole.begin();
  }
  const auto after = at + static_cast<std::ptrdiff_t>(part.size());
  if (!std::all_of(whole.begin(), at, isZero) || !std::all_of(after, whole.end(), isZero)) {
    return testing::AssertionFailure() << "there is more than silence around it";
  }
  return testing::AssertionSuccess();
}

bool contains(const Bytes& whole, const Bytes& part) {
  return std::search(whole.begin(), whole.end(),
                     std::boyer_moore_horspool_searcher(part.begin(), part.end())) != whole.end();
}

bool hasSound(const Bytes& bytes) { return !std::ranges::all_of(bytes, isZero); }

Bytes withoutSilence(const Bytes& frames, std::size_t frameBytes) {
  Bytes sound;
  for (std::size_t at = 0; at + frameBytes <= frames.size(); at += frameBytes) {
    const unsigned char* const frame = frames.data() + at;
    if (!std::all_of(frame, frame + frameBytes, isZero)) {
      sound.insert(sound.end(), frame, frame + frameBytes);
    }
  }
  return sound;
}
