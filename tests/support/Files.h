// SPDX-License-Identifier: MIT

#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;
using Words = std::vector<std::string>;

inline Bytes readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

inline std::string readText(const std::filesystem::path& path) {
  const Bytes bytes = readFile(path);
  return std::string(bytes.begin(), bytes.end());
}

inline void writeFile(const std::filesystem::path& path, const Bytes& bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

inline Bytes joined(const std::vector<Bytes>& parts) {
  Bytes all;
  for (const Bytes& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

/// The pieces of equal length that a file consists of, e.g. its AC-3 frames of one bit rate at 48
/// or 32 kHz.
inline std::vector<Bytes> framesIn(const Bytes& file, std::size_t frameBytes) {
  std::vector<Bytes> frames;
  for (std::size_t at = 0; at + frameBytes <= file.size(); at += frameBytes) {
    const auto begin = file.begin() + static_cast<std::ptrdiff_t>(at);
    frames.emplace_back(begin, begin + static_cast<std::ptrdiff_t>(frameBytes));
  }
  return frames;
}

inline Words split(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}
