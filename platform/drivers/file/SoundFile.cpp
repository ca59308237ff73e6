// SPDX-License-Identifier: MIT

#include "platform/drivers/file/SoundFile.h"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "platform/drivers/file/WaveSpeakers.h"

namespace Platform {
namespace {

int containerCode(Container container) {
  return container == Container::Wav ? SF_FORMAT_RF64 : SF_FORMAT_RAW;
}

int sampleFormatCode(SampleType type) {
  switch (type) {
    case SampleType::S24:
      return SF_FORMAT_PCM_24;
    case SampleType::S32:
      return SF_FORMAT_PCM_32;
    case SampleType::F32:
      return SF_FORMAT_FLOAT;
    default:
      return SF_FORMAT_PCM_16;
  }
}

std::string errorText(int error) { return std::generic_category().message(error); }

constexpr const char* kChooseAnother = "Choose another path.";
constexpr const char* kMakeRoom = "Make room or choose another path.";

constexpr std::uint16_t kPcmTag = 1;
constexpr std::uint16_t kFloatTag = 3;

/// The library's header names the speakers in a format chunk of 40 bytes, which many readers
/// refuse. Shortens it to 16 bytes and makes the rest a chunk of padding. RF64 is left as it is.
/// Returns false if writing fails.
bool simplifyHeader(int descriptor, std::uint16_t tag) {
  constexpr std::string_view kLong("fmt \x28\0\0\0\xfe\xff", 10);
  constexpr std::string_view kPadding("JUNK\x10\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 24);
  constexpr std::size_t kShortBytes = 8 + 16;
  std::array<char, 92> memory{};
  const ssize_t count = ::pread(descriptor, memory.data(), memory.size(), 0);
  const std::string_view header(memory.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  const std::size_t at = header.find(kLong);
  if (!header.starts_with("RIFF") || at + 2 * kShortBytes > header.size()) {
    return true;
  }
  memory[at + 4] = 16;
  memory[at + 8] = static_cast<char>(tag);
  memory[at + 9] = 0;
  std::ranges::copy(kPadding, memory.begin() + static_cast<std::ptrdiff_t>(at + kShortBytes));
  return ::pwrite(descriptor, memory.data(), header.size(), 0) == count;
}

/// Returns why the library failed: the system's error if there is one, else its own message.
std::string reasonOf(int error, SNDFILE* file) {
  std::string reason = error != 0 ? errorText(error) : sf_strerror(file);
  if (reason.ends_with('.')) {
    reason.pop_back();
  }
  return reason;
}

}  // namespace

void SoundFile::Close::operator()(sf_private_tag* file) const { sf_close(file); }

SoundFile::SoundFile(std::string path, Container container)
    : m_path(std::move(path)), m_container(container), m_output(m_path) {
  if (m_output.descriptor() < 0) {
    fail("cannot be created", errorText(m_output.error()), kChooseAnother);
  }
}

SoundFile::~SoundFile() { finish(); }

void SoundFile::begin(const PcmFormat& format, const Labels& labels) {
  if (failure()) {
    return;
  }
  SF_INFO info{};
  info.samplerate = static_cast<int>(format.rate);
  info.channels = static_cast<int>(format.channels);
  info.format = containerCode(m_container) | sampleFormatCode(format.sample.type);
  errno = 0;
  m_file.reset(sf_open_fd(m_output.descriptor(), SFM_WRITE, &info, SF_FALSE));
  if (!m_file) {
    const int error = errno;
    fail("cannot be written as a sound file", reasonOf(error, nullptr), kChooseAnother);
    return;
  }
  if (m_container == Container::Raw) {
    return;
  }
  sf_command(m_file.get(), SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
  std::vector<int> speakers = waveSpeakers(labels);
  if (areUsualSpeakers(speakers)) {
    m_plainTag = format.sample.type == SampleType::F32 ? kFloatTag : kPcmTag;
  }
  sf_command(m_file.get(), SFC_SET_CHANNEL_MAP_INFO, speakers.data(),
             static_cast<int>(speakers.size() * sizeof(int)));
  sf_command(m_file.get(), SFC_UPDATE_HEADER_NOW, nullptr, 0);  // so that an empty file is valid
}

void SoundFile::write(std::span<const std::byte> frames) {
  if (!m_file || frames.empty() || failure()) {
    return;
  }
  m_hasFrames = true;
  const auto count = static_cast<sf_count_t>(frames.size());
  errno = 0;
  if (sf_write_raw(m_file.get(), frames.data(), count) != count) {
    const int error = errno;
    fail("cannot be written to", reasonOf(error, m_file.get()), kMakeRoom + rest());
  }
}

void SoundFile::check() {
  if (m_file && !m_output.isDirect()) {
    sf_command(m_file.get(), SFC_UPDATE_HEADER_NOW, nullptr, 0);
  }
  if (const std::optional<int> loss = m_output.loss()) {
    fail("is no longer there",
         *loss != 0 ? errorText(*loss) : "another file has replaced its part file",
         "Play again, to a folder that is kept.");
  }
}

/// Returns a sentence on where the written data is, if there is any.
std::string SoundFile::rest() const {
  return m_hasFrames && !m_output.isDirect()
             ? " What was written is in '" + m_output.partPath() + "'."
             : "";
}

void SoundFile::closeSound() {
  errno = 0;
  const int status = sf_close(m_file.release());
  const bool isSimple = m_plainTag == 0 || simplifyHeader(m_output.descriptor(), m_plainTag);
  if (status != 0 || !isSimple || errno == ENOSPC) {
    fail("cannot be completed", errno != 0 ? errorText(errno) : sf_error_number(status),
         kMakeRoom + rest());
  }
}

void SoundFile::finish() {
  if (m_output.descriptor() < 0) {
    return;
  }
  if (m_file) {
    closeSound();
    check();
  }
  if (!m_hasFrames) {
    m_output.discard();
  } else if (failure()) {
    m_output.keep();
  } else if (const std::string reason = m_output.commit(); !reason.empty()) {
    fail("cannot be completed", reason, kChooseAnother + rest());
  }
}

AudioDevices::Failure SoundFile::failure() const {
  const Tavro::Lock lock(m_failureLock);
  return m_failure;
}

void SoundFile::fail(const std::string& what, const std::string& reason,
                     const std::string& remedy) {
  const Tavro::Lock lock(m_failureLock);
  if (!m_failure) {
    m_failure = {.status = kAudioHardwareUnspecifiedError,
                 .message = "'" + m_path + "' " + what + ": " + reason + ". " + remedy};
  }
}

}  // namespace Platform
