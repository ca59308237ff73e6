// SPDX-License-Identifier: MIT

#include "player/media/LosslessFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

#include "player/base/PackedSamples.h"
#include "player/media/Decoders.h"
#include "player/terminal/SignalHandler.h"

namespace Player {

namespace {

using std::string_view_literals::operator""sv;

constexpr std::size_t kPieceFrames = 4096;
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

bool isInterrupted() { return SignalHandler::requested().has_value(); }

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

/// Bytes of a sample as libsndfile returns it.
constexpr std::size_t bytesRead(SampleType type) { return type == SampleType::Int16 ? 2 : 4; }

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

LosslessFile::LosslessFile(std::string path, File file, const SF_INFO& info,
                           const CodecInfo& coding, SampleType type)
    : m_path(std::move(path)),
      m_file(std::move(file)),
      m_coding(coding),
      m_format{type, coding.rate, coding.channels},
      m_length(static_cast<std::uint64_t>(info.frames)),
      m_piece(kPieceFrames * coding.channels * bytesRead(type)) {}

std::string LosslessFile::title() const {
  return titleOf(sf_get_string(m_file.get(), SF_STR_ARTIST),
                 sf_get_string(m_file.get(), SF_STR_TITLE));
}

std::uint64_t LosslessFile::seek(std::uint64_t target) {
  const std::uint64_t frame = std::min(target, m_length);
  if (sf_seek(m_file.get(), static_cast<sf_count_t>(frame), SEEK_SET) < 0) {
    return target;
  }
  m_position = frame;
  return 0;
}

bool LosslessFile::decode(const StreamFormat& target, std::vector<std::uint8_t>& out) {
  if (m_decoders || !canGive(target)) {
    return goOnByDecoders(target, out);
  }
  const std::size_t frames = read();
  const bool isFaulty = sf_error(m_file.get()) != SF_ERR_NO_ERROR;
  if (isFaulty || (frames == 0 && m_position < m_length)) {
    m_isDamaged = isFaulty;
    return goOnByDecoders(target, out);
  }
  m_position += frames;
  const std::size_t samples = frames * m_format.channels;
  appendPacked(m_piece.data(), samples, bytesRead(m_format.type), m_format.bytesPerSample(),
               target.channels / m_format.channels, out);
  return m_position < m_length;
}

bool LosslessFile::canGive(const StreamFormat& target) const {
  StreamFormat spread = m_format;
  spread.channels = spread.channels == 1 ? 2 : spread.channels;
  return target == m_format || target == spread;
}

/// Reads the next piece; returns its frames.
std::size_t LosslessFile::read() {
  const auto wanted =
      static_cast<sf_count_t>(std::min<std::uint64_t>(kPieceFrames, m_length - m_position));
  void* const to = m_piece.data();
  switch (m_format.type) {
    case SampleType::Int16:
      return static_cast<std::size_t>(
          sf_readf_short(m_file.get(), static_cast<short*>(to), wanted));
    case SampleType::Float32:
      return static_cast<std::size_t>(
          sf_readf_float(m_file.get(), static_cast<float*>(to), wanted));
    default:  // 24 bits are in the upper part of 32
      return static_cast<std::size_t>(sf_readf_int(m_file.get(), static_cast<int*>(to), wanted));
  }
}

/// Continues with the decoders from m_position; skips what their first piece has before it.
bool LosslessFile::goOnByDecoders(const StreamFormat& target, std::vector<std::uint8_t>& out) {
  if (!m_decoders) {
    m_decoders = decoders().open(m_path, isInterrupted);
    m_toSkip = m_decoders->seek(m_position);
  }
  const std::size_t begin = out.size();
  const bool goesOn = m_decoders->decode(target, out);
  const std::uint64_t skipped =
      std::min<std::uint64_t>(m_toSkip, (out.size() - begin) / target.bytesPerFrame());
  m_toSkip -= skipped;
  const auto from = out.begin() + static_cast<std::ptrdiff_t>(begin);
  out.erase(from, from + static_cast<std::ptrdiff_t>(skipped * target.bytesPerFrame()));
  return goesOn;
}

/// The decoders do not report faults that they could repair.
std::string LosslessFile::damage() const {
  const std::string found = m_decoders ? m_decoders->damage() : "";
  if (found.empty() && m_isDamaged) {
    const double seconds = static_cast<double>(m_position) / m_format.rate;
    return fmt::format("damaged, first at {:.3f} s", seconds);
  }
  return found;
}

std::unique_ptr<MediaFile> openMedia(const std::string& path) {
  if (std::unique_ptr<MediaFile> lossless = LosslessFile::open(path)) {
    return lossless;
  }
  return decoders().open(path, isInterrupted);
}

}  // namespace Player
