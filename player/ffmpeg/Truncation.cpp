// SPDX-License-Identifier: MIT

#include "player/ffmpeg/Truncation.h"

#include <algorithm>
#include <array>
#include <bit>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <string_view>

namespace Player {

namespace {

using std::string_view_literals::operator""sv;

constexpr std::uint64_t kUnknown = UINT64_MAX;

// Programs that write to a pipe declare some size from here on; smaller files never reach it.
constexpr std::uint64_t kPlaceholder = 0x7fff0000;

/// Reads a regular file; bytes past its end are zeros.
class Bytes {
 public:
  explicit Bytes(const std::string& path) {
    std::error_code ignored;
    if (std::filesystem::is_regular_file(path, ignored)) {
      m_size = std::filesystem::file_size(path, ignored);
      m_file.open(path, std::ios::binary);
    }
  }

  std::uint64_t size() const { return m_size; }

  std::string at(std::uint64_t position, std::size_t count) {
    std::string bytes(count, '\0');
    m_file.clear();
    m_file.seekg(static_cast<std::streamoff>(position));
    m_file.read(bytes.data(), static_cast<std::streamsize>(count));
    return bytes;
  }

  std::uint64_t bigEndian(std::uint64_t position, std::size_t count) {
    const std::string bytes = at(position, count);
    return number(bytes.begin(), bytes.end());
  }

  std::uint64_t littleEndian(std::uint64_t position, std::size_t count) {
    const std::string bytes = at(position, count);
    return number(bytes.rbegin(), bytes.rend());
  }

 private:
  template <class Iterator>
  static std::uint64_t number(const Iterator& first, const Iterator& last) {
    return std::accumulate(first, last, std::uint64_t{0}, [](std::uint64_t sum, char byte) {
      return sum << 8 | static_cast<unsigned char>(byte);
    });
  }

  std::ifstream m_file;
  std::uint64_t m_size = 0;
};

/// Returns the end of a WAV file's data chunk, or of an AVI file as a whole.
std::uint64_t endOfRiff(Bytes& file) {
  const bool isWave = file.at(8, 4) == "WAVE";
  std::uint64_t begin = isWave ? 12 : 0;
  while (isWave && begin < file.size() && file.at(begin, 4) != "data") {
    const std::uint64_t size = file.littleEndian(begin + 4, 4);
    begin += 8 + size + size % 2;
  }
  const std::uint64_t size = file.littleEndian(begin + 4, 4);
  return begin >= file.size() || size >= kPlaceholder ? kUnknown : begin + 8 + size;
}

/// Returns the end of the segment after the header. The leading zero bits of a size's first byte
/// count the bytes that follow; a size of all ones is unknown.
std::uint64_t endOfMatroska(Bytes& file) {
  std::uint64_t end = 4;
  for (const std::size_t idBytes : {0u, 4u}) {
    const std::uint64_t begin = end + idBytes;
    const std::uint64_t first = file.bigEndian(begin, 1);
    const std::size_t bytes =
        1 + static_cast<std::size_t>(std::countl_zero(static_cast<std::uint8_t>(first)));
    if (bytes > 8 || (idBytes > 0 && file.at(end, 4) != "\x18\x53\x80\x67")) {
      return kUnknown;
    }
    const std::uint64_t mask = (std::uint64_t{1} << 7 * bytes) - 1;
    const std::uint64_t size = file.bigEndian(begin, bytes) & mask;
    if (size == mask) {
      return kUnknown;
    }
    end = begin + bytes + size;
  }
  return end;
}

/// Returns the end of the last box, or kUnknown after a box of another kind.
std::uint64_t endOfMp4(Bytes& file) {
  constexpr std::array kBoxes = {"ftyp"sv, "moov"sv, "mdat"sv, "moof"sv, "free"sv, "skip"sv,
                                 "wide"sv, "styp"sv, "sidx"sv, "meta"sv, "udta"sv, "uuid"sv};
  std::uint64_t end = 0;
  while (end < file.size()) {
    std::uint64_t size = file.bigEndian(end, 4);
    size = size == 1 ? file.bigEndian(end + 8, 8) : size;
    if (size < 8 || std::ranges::find(kBoxes, file.at(end + 4, 4)) == kBoxes.end()) {
      return kUnknown;  // also if the box extends to the file's end
    }
    end += size;
  }
  return end;
}

std::uint64_t declaredEnd(Bytes& file) {
  if (file.at(0, 4) == "RIFF") {
    return endOfRiff(file);
  }
  if (file.at(0, 4) == "\x1a\x45\xdf\xa3") {
    return endOfMatroska(file);
  }
  return file.at(4, 4) == "ftyp" ? endOfMp4(file) : kUnknown;
}

}  // namespace

std::uint64_t missingBytes(const std::string& path) {
  Bytes file(path);
  const std::uint64_t end = declaredEnd(file);
  return end == kUnknown || end <= file.size() ? 0 : end - file.size();
}

bool lacksLastPage(const std::string& path) {
  constexpr std::size_t kLargestPage = 27 + 255 + 255 * 255;
  constexpr std::size_t kFlags = 5;
  constexpr std::size_t kSegments = 26;
  Bytes file(path);
  if (file.at(0, 4) != "OggS") {
    return false;
  }
  const std::size_t count = std::min<std::size_t>(file.size(), kLargestPage);
  const std::string tail = file.at(file.size() - count, count);
  const std::size_t begin = tail.rfind("OggS");
  if (begin == std::string::npos) {
    return false;  // something else follows
  }
  const std::string page = tail.substr(begin) + std::string(kLargestPage, '\0');
  std::size_t size = kSegments + 1 + static_cast<unsigned char>(page[kSegments]);
  for (std::size_t i = size - 1; i > kSegments; --i) {
    size += static_cast<unsigned char>(page[i]);
  }
  constexpr char kIsLast = 4;
  return begin + size > tail.size() || (page[kFlags] & kIsLast) == 0;
}

}  // namespace Player
