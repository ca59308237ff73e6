// SPDX-License-Identifier: MIT

#include "player/media/LosslessFile.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

namespace Player {

namespace {

using std::string_view_literals::operator""sv;

constexpr sf_count_t kLookBytes = 65536;
constexpr sf_count_t kMostFrames = sf_count_t{1} << 40;  // unknown lengths are larger

struct Samples {
  int format;  // libsndfile's
  SampleType type;
  const char* codec;  // of a WAV file
};

constexpr std::array<Samples, 4> kSamples = {{
    {SF_FORMAT_PCM_16, SampleType::Int16, "pcm_s16le"},
    {SF_FORMAT_PCM_24, SampleType::Int24, "pcm_s24le"},
    {SF_FORMAT_PCM_32, SampleType::Int32, "pcm_s32le"},
    {SF_FORMAT_FLOAT, SampleType::Float32, "pcm_f32le"},
}};

/// Coded audio may be labelled as PCM: the sync words of bursts, and of DTS in its four forms.
constexpr std::array<std::string_view, 5> kHiddenSyncs = {
    "\x72\xf8\x1f\x4e"sv, "\x7f\xfe\x80\x01"sv, "\xfe\x7f\x01\x80"sv, "\x1f\xff\xe8\x00"sv,
    "\xff\x1f\x00\xe8"sv};

bool isWaveOrFlac(const std::string& path) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) {
    return false;  // reading would consume a pipe's data
  }
  std::array<char, 4> kind{};
  std::ifstream(path, std::ios::binary).read(kind.data(), kind.size());
  constexpr std::array kKinds = {"RIFF"sv, "RF64"sv, "fLaC"sv};
  return std::find(kKinds.begin(), kKinds.end(), std::string_view(kind.data(), kind.size())) !=
         kKinds.end();
}

/// Checks the first samples and rewinds.
bool holdsOtherThanPcm(SNDFILE* file) {
  std::string bytes(kLookBytes, '\0');
  const sf_count_t read = sf_read_raw(file, bytes.data(), kLookBytes);
  sf_seek(file, 0, SEEK_SET);
  bytes.resize(static_cast<std::size_t>(std::max<sf_count_t>(read, 0)));
  return std::any_of(kHiddenSyncs.begin(), kHiddenSyncs.end(), [&](std::string_view sync) {
    return bytes.find(sync) != std::string_view::npos;
  });
}

/// libsndfile uses the file's length if the header contradicts it, and logs a remark.
bool contradictsItself(SNDFILE* file) {
  std::array<char, 4096> remarks{};
  sf_command(file, SFC_GET_LOG_INFO, remarks.data(), static_cast<int>(remarks.size()));
  return std::string_view(remarks.data()).find("(should be ") != std::string_view::npos;
}

}  // namespace

std::unique_ptr<LosslessFile> LosslessFile::open(const std::string& path) {
  if (!isWaveOrFlac(path)) {
    return nullptr;
  }
  SF_INFO info{};
  const std::string name = path == "-" ? "./-" : path;  // libsndfile treats "-" otherwise
  File file(sf_open(name.c_str(), SFM_READ, &info));
  const auto samples = std::find_if(kSamples.begin(), kSamples.end(), [&](const Samples& each) {
    return each.format == (info.format & SF_FORMAT_SUBMASK);
  });
  const bool isFlac = (info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_FLAC;
  if (!file || samples == kSamples.end() || info.samplerate <= 0 || info.channels <= 0 ||
      info.frames <= 0 || info.frames > kMostFrames || contradictsItself(file.get()) ||
      (!isFlac && samples->type == SampleType::Int16 && holdsOtherThanPcm(file.get()))) {
    return nullptr;
  }
  const CodecInfo coding{isFlac ? "flac" : samples->codec,
                         static_cast<std::uint32_t>(info.samplerate),
                         static_cast<std::uint32_t>(info.channels)};
  return std::unique_ptr<LosslessFile>(
      new LosslessFile(path, std::move(file), info, coding, samples->type));
}

LosslessFile::LosslessFile(const std::string& path, File file, const SF_INFO& info,
                           const CodecInfo& coding, SampleType type)
    : FallbackFile(path, coding, type, static_cast<std::uint64_t>(info.frames)),
      m_file(std::move(file)) {}

std::string LosslessFile::title() const {
  return titleOf(sf_get_string(m_file.get(), SF_STR_ARTIST),
                 sf_get_string(m_file.get(), SF_STR_TITLE));
}

bool LosslessFile::moveTo(std::uint64_t frame) {
  return sf_seek(m_file.get(), static_cast<sf_count_t>(frame), SEEK_SET) >= 0;
}

FallbackFile::Read LosslessFile::read(void* to, std::size_t frames) {
  const auto wanted = static_cast<sf_count_t>(frames);
  sf_count_t count = 0;
  switch (format().type) {
    case SampleType::Int16:
      count = sf_readf_short(m_file.get(), static_cast<short*>(to), wanted);
      break;
    case SampleType::Float32:
      count = sf_readf_float(m_file.get(), static_cast<float*>(to), wanted);
      break;
    default:  // 24 bits are in the upper part of 32
      count = sf_readf_int(m_file.get(), static_cast<int*>(to), wanted);
  }
  return {static_cast<std::size_t>(count), sf_error(m_file.get()) != SF_ERR_NO_ERROR};
}

}  // namespace Player
