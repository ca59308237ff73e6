// SPDX-License-Identifier: MIT

#include "player/media/MpegFile.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

namespace Player {

namespace {

/// Returns true if the file begins with a tag or with a frame of layer III.
bool mayBeMp3(const std::string& path) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) {
    return false;  // reading would consume a pipe's data
  }
  std::array<char, 3> kind{};
  std::ifstream(path, std::ios::binary).read(kind.data(), kind.size());
  const bool isFrame = kind[0] == '\xff' && (kind[1] & 0xe6) == 0xe2;
  return isFrame || std::string_view(kind.data(), kind.size()) == "ID3";
}

/// Frames that are decoded before the first one after a seek. Their data may lie in up to 511 bytes
/// of earlier frames, which are at least 24 bytes long.
constexpr long kFramesAhead = 24;

/// Sets up a file that stops at the first fault, prints nothing and keeps the stream's own rate.
bool configure(mpg123_handle* file) {
  constexpr long kFlags = MPG123_QUIET | MPG123_FORCE_FLOAT | MPG123_GAPLESS | MPG123_NO_RESYNC;
  return mpg123_param(file, MPG123_ADD_FLAGS, kFlags, 0) == MPG123_OK &&
         mpg123_param(file, MPG123_PREFRAMES, kFramesAhead, 0) == MPG123_OK &&
         mpg123_param(file, MPG123_REMOVE_FLAGS, MPG123_AUTO_RESAMPLE, 0) == MPG123_OK;
}

/// Only the tag that encoders write into the first frame names a delay, and the file's length.
bool namesItsLength(mpg123_handle* file) {
  long delay = -1;
  return mpg123_getstate(file, MPG123_ENC_DELAY, &delay, nullptr) == MPG123_OK && delay >= 0 &&
         mpg123_length(file) > 0;
}

/// Returns a field of the older kind of tag: up to 30 characters, filled up with blanks or zeros.
std::string fieldOf(const char (&field)[30]) {
  const std::string text(field, strnlen(field, sizeof field));
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace

std::unique_ptr<MpegFile> MpegFile::open(const std::string& path) {
  if (!mayBeMp3(path)) {
    return nullptr;
  }
  File file(mpg123_new(nullptr, nullptr));
  long rate = 0;
  int channels = 0;
  int encoding = 0;
  mpg123_frameinfo frame{};
  if (!file || !configure(file.get()) || mpg123_open(file.get(), path.c_str()) != MPG123_OK ||
      mpg123_getformat(file.get(), &rate, &channels, &encoding) != MPG123_OK ||
      encoding != MPG123_ENC_FLOAT_32 || mpg123_info(file.get(), &frame) != MPG123_OK ||
      frame.layer != 3 || !namesItsLength(file.get())) {
    return nullptr;
  }
  const CodecInfo coding{"mp3", static_cast<std::uint32_t>(rate),
                         static_cast<std::uint32_t>(channels)};
  const auto length = static_cast<std::uint64_t>(mpg123_length(file.get()));
  return std::unique_ptr<MpegFile>(new MpegFile(path, std::move(file), coding, length));
}

MpegFile::MpegFile(const std::string& path, File file, const CodecInfo& coding,
                   std::uint64_t length)
    : FallbackFile(path, coding, SampleType::Float32, length), m_file(std::move(file)) {}

std::string MpegFile::title() const {
  mpg123_id3v1* old = nullptr;
  mpg123_id3v2* tag = nullptr;
  mpg123_id3(m_file.get(), &old, &tag);
  if (tag != nullptr && tag->title != nullptr) {
    return titleOf(tag->artist != nullptr ? tag->artist->p : nullptr, tag->title->p);
  }
  const std::string title = old != nullptr ? fieldOf(old->title) : "";
  const std::string artist = old != nullptr ? fieldOf(old->artist) : "";
  return titleOf(artist.empty() ? nullptr : artist.c_str(),
                 title.empty() ? nullptr : title.c_str());
}

bool MpegFile::moveTo(std::uint64_t frame) {
  return mpg123_seek(m_file.get(), static_cast<off_t>(frame), SEEK_SET) ==
         static_cast<off_t>(frame);
}

FallbackFile::Read MpegFile::read(void* to, std::size_t frames) {
  const std::size_t bytesPerFrame = format().bytesPerFrame();
  std::size_t bytes = 0;
  const int result = mpg123_read(m_file.get(), to, frames * bytesPerFrame, &bytes);
  return {bytes / bytesPerFrame, result != MPG123_OK && result != MPG123_DONE};
}

}  // namespace Player
